#include "history/HistoryRecorder.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "link/KeloContext.hpp"
#include "runtime/OleDate.hpp"

namespace tavkelo {

namespace {

constexpr const char* kCounterNames[] = {"deviceErrors", "checksumErrors", "timeoutErrors",
                                         "nakCount",     "parseErrors",    "commEvents"};

nlohmann::json ValuesJson(const RunValues& values) {
  nlohmann::json j = nlohmann::json::object();
  // Exactly the numbers the run left (a Single widened to a double), so that a reader that
  // narrows them again gets what the interface returned.
  for (const auto& [name, value] : values) j[name] = std::isfinite(value) ? value : 0.0;
  return j;
}

}  // namespace

double LocalOleToUnix(double oleDate) {
  const DateParts p = OleDateToParts(oleDate);
  struct tm t {};
  t.tm_year = p.year - 1900;
  t.tm_mon = p.month - 1;
  t.tm_mday = p.day;
  t.tm_hour = p.hour;
  t.tm_min = p.minute;
  t.tm_sec = p.second;
  t.tm_isdst = -1;
  return static_cast<double>(std::mktime(&t)) + p.millisecond / 1000.0;
}

std::string LocalText(double oleDate) {
  const DateParts p = OleDateToParts(oleDate);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", p.year, p.month, p.day,
                p.hour, p.minute, p.second, p.millisecond);
  return text;
}

HistoryRecorder::HistoryRecorder(KeloContext& ctx, HistoryStore& store, PassRules rules)
    : ctx_(ctx), store_(store), rules_(rules) {
  ctx_.runObserver = this;
}

HistoryRecorder::~HistoryRecorder() {
  if (ctx_.runObserver == this) ctx_.runObserver = nullptr;
  if (running_) {
    row_.status = "interrupted";
    row_.reason = "the server stopped during the run";
    row_.endUnix = LocalOleToUnix(ctx_.loop.Now());
    row_.endLocal = LocalText(ctx_.loop.Now());
    store_.FinishRun(row_, PackTrace(samples_), static_cast<int64_t>(samples_.size()));
  }
}

std::array<int32_t, 6> HistoryRecorder::Counters() const {
  const LinkCounters& c = ctx_.store.counters;
  return {c.deviceErrors, c.checksumErrors, c.timeoutErrors,
          c.nakCount,     c.parseErrors,    c.commEvents};
}

void HistoryRecorder::RunStarted(const std::string& kind, const RunValues& parameters) {
  if (running_) RunFinished(false, "a new run started before this one ended", {});
  const ReadingsStore& s = ctx_.store;
  running_ = true;
  startUs_ = ctx_.loop.NowUs();
  countersAtStart_ = Counters();
  samples_.clear();
  samples_.reserve(4096);
  row_ = RunRow{};
  row_.id = store_.NextId();
  row_.kind = kind;
  row_.status = "in_progress";
  const double now = ctx_.loop.Now();
  row_.startUnix = LocalOleToUnix(now);
  row_.startLocal = LocalText(now);
  row_.parameters = ValuesJson(parameters);
  row_.firmware = s.DyneVersion;
  row_.rollDiameter = s.RollDiameter;
  row_.baseInertia = s.BaseInertia;
  store_.InsertRun(row_);
}

void HistoryRecorder::RunSample(int16_t stage) {
  if (!running_) return;
  const ReadingsStore& s = ctx_.store;
  TraceSample sample;
  sample.ms = static_cast<uint32_t>((ctx_.loop.NowUs() - startUs_) / 1000);
  sample.speedMph = s.DyneSpeed;
  sample.accelerationMphPerS = s.DyneAcceleration;
  sample.torqueFtLb = s.DyneTorque;
  sample.powerHp = s.DynePower;
  for (size_t b = 0; b < 16; ++b)
    if (s.StatusBitsCopy[b]) sample.statusBits = static_cast<uint16_t>(sample.statusBits | 1u << b);
  sample.stage = stage;
  samples_.push_back(sample);
}

void HistoryRecorder::RunFinished(bool completed, const std::string& reason,
                                  const RunValues& results) {
  if (!running_) return;
  running_ = false;
  const double now = ctx_.loop.Now();
  row_.status = completed ? "completed" : "aborted";
  row_.reason = reason;
  row_.endUnix = LocalOleToUnix(now);
  row_.endLocal = LocalText(now);
  row_.results = ValuesJson(results);
  if (row_.kind == "warmup" && completed)
    row_.results["runSeconds"] = static_cast<double>(ctx_.loop.NowUs() - startUs_) / 1e6;
  const std::array<int32_t, 6> end = Counters();
  for (size_t k = 0; k < end.size(); ++k) {
    // A counter that went back (its wrap, or a client's reset) counts from 0 again.
    const int32_t delta = end[k] >= countersAtStart_[k] ? end[k] - countersAtStart_[k] : end[k];
    row_.linkCounters[kCounterNames[k]] = delta;
  }
  row_.firmware = ctx_.store.DyneVersion;
  row_.passed = completed && (row_.kind != "coastdown" ||
                              CoastdownPasses(row_.results, rules_.coastdownTolerancePercent));
  store_.FinishRun(row_, PackTrace(samples_), static_cast<int64_t>(samples_.size()));
  samples_.clear();
  samples_.shrink_to_fit();
}

bool HistoryRecorder::CoastdownPasses(const nlohmann::json& r, double tolerancePercent) {
  for (const char* w : {"high", "low"}) {
    if (r.value(std::string(w) + "Run", 0.0) == 0.0) return false;
    if (r.value(std::string(w) + "PercentDelta", 1e9) > tolerancePercent) return false;
  }
  return true;
}

bool HistoryRecorder::ImportIniCoastdown() {
  if (!store_.Meta("ini_imported").empty()) return false;
  store_.SetMeta("ini_imported", LocalText(ctx_.loop.Now()));
  // Once only, even when the next start comes at once: written before this returns (start-up).
  struct FlushAtEnd {
    HistoryStore& store;
    ~FlushAtEnd() { store.Flush(); }
  } flush{store_};
  const CoastdownResult& hi = ctx_.results.Coastdown[1];
  const CoastdownResult& lo = ctx_.results.Coastdown[2];
  // A record the file does not hold reads as dated 100 days ahead: nothing to import.
  if (!hi.Run || hi.Date <= 0.0 || hi.Date > ctx_.loop.Now() + 1.0) return false;
  RunRow row;
  row.id = store_.NextId();
  row.kind = "coastdown";
  row.status = "completed";
  row.source = "ini";
  row.reason = "imported from the INI file's stored coastdown results";
  const double date = std::max(hi.Date, lo.Date);
  row.startUnix = row.endUnix = LocalOleToUnix(date);
  row.startLocal = row.endLocal = LocalText(date);
  RunValues values;
  for (size_t w = 1; w <= 2; ++w) {
    const CoastdownResult& c = ctx_.results.Coastdown[w];
    const std::string p = w == 1 ? "high" : "low";
    const float delta = c.ACDT - c.CCDT;
    values.emplace_back(p + "Run", c.Run ? 1 : 0);
    values.emplace_back(p + "CalculatedSeconds", c.CCDT);
    values.emplace_back(p + "ActualSeconds", c.ACDT);
    values.emplace_back(p + "TopSpeedMph", c.TopSpeed);
    values.emplace_back(p + "BottomSpeedMph", c.BotSpeed);
    values.emplace_back(p + "ActualHp", c.ActualHP);
    values.emplace_back(p + "TimeDeltaSeconds", delta);
    values.emplace_back(p + "PercentDelta",
                        c.CCDT != 0.0f ? std::fabs(delta * 100.0f / c.CCDT) : 0.0f);
  }
  row.results = ValuesJson(values);
  row.rollDiameter = ctx_.store.RollDiameter;
  row.baseInertia = ctx_.store.BaseInertia;
  row.passed = CoastdownPasses(row.results, rules_.coastdownTolerancePercent);
  store_.InsertRun(row);
  return true;
}

}  // namespace tavkelo
