#include "telemetry/StationMonitor.hpp"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <tuple>

#include "link/KeloContext.hpp"
#include "members/KeloEnums.hpp"
#include "platform/VbFormat.hpp"
#include "runtime/OleDate.hpp"

namespace tavkelo {

namespace {

const char* Outcome(int16_t completion) {
  return completion == ltcs::Completed ? "completed" : "aborted";
}

// A Single as the number its 7 significant digits show, not the double's tail of noise.
double S(float value) {
  return std::strtod(VbStr(value).c_str(), nullptr);
}

// A link that stops answering: this many time-outs in a row.
constexpr int32_t kLostAfterTimeouts = 3;

// Advances a monotonic total by what a link counter did since it was last seen. The link's
// counters go back to 0 after 999999, and a client may reset one to 0.
void Track(int32_t now, int32_t& last, uint64_t& total) {
  if (now >= last) {
    total += static_cast<uint64_t>(now - last);
  } else if (last > 900000) {
    total += static_cast<uint64_t>(1000000 - last + now);
  } else {
    total += static_cast<uint64_t>(now);
  }
  last = now;
}

}  // namespace

StationMonitor::StationMonitor(KeloContext& ctx)
    : ctx_(ctx),
      timer_(ctx.loop),
      startUs_(ctx.loop.NowUs()),
      roundTrip_({0.01, 0.02, 0.03, 0.05, 0.075, 0.1, 0.2, 0.5, 1, 2, 5}) {
  previousPollCycle_ = ctx_.onPollCycle;
  ctx_.onPollCycle = [this] {
    if (previousPollCycle_) previousPollCycle_();
    ++pollCycles_;
    Observe();
  };
  previousExchangeDone_ = ctx_.onExchangeDone;
  ctx_.onExchangeDone = [this](int32_t result, int64_t elapsedUs) {
    if (previousExchangeDone_) previousExchangeDone_(result, elapsedUs);
    ++exchanges_;
    if (result != 0) ++failedExchanges_;
    roundTrip_.Observe(static_cast<double>(elapsedUs) / 1e6);
  };
  if (ctx_.tests != nullptr) {
    testWatch_.monitor = this;
    testWatch_.inner = ctx_.tests;
    ctx_.tests = &testWatch_;
  }
  if (ctx_.calibrations != nullptr) {
    calibrationWatch_.monitor = this;
    calibrationWatch_.inner = ctx_.calibrations;
    ctx_.calibrations = &calibrationWatch_;
  }
  lastNotice_ = ctx_.host.notices.LastSequence();
  for (int16_t t = test::Warmup; t <= test::VehicleSimulation; ++t) {
    for (const char* outcome : {"completed", "aborted"}) testRuns_[{TestKindName(t), outcome}] = 0;
  }
  for (int32_t c : {calibration::LoadCell, calibration::WeightScales}) {
    for (const char* outcome : {"completed", "aborted"})
      calibrationRuns_[{CalibrationKindName(c), outcome}] = 0;
  }
  timer_.SetHandler([this] { Observe(); });
  timer_.SetInterval(200);
  timer_.SetEnabled(true);
}

StationMonitor::~StationMonitor() {
  if (ctx_.tests == &testWatch_) ctx_.tests = testWatch_.inner;
  if (ctx_.calibrations == &calibrationWatch_) ctx_.calibrations = calibrationWatch_.inner;
  ctx_.onPollCycle = previousPollCycle_;
  ctx_.onExchangeDone = previousExchangeDone_;
}

const char* StationMonitor::LinkState() const {
  if (!ctx_.polling.Connected()) return "closed";
  return ctx_.store.counters.consecutiveTimeouts >= kLostAfterTimeouts ? "lost" : "up";
}

void StationMonitor::Observe() {
  const LinkCounters& c = ctx_.store.counters;
  const std::array<int32_t, 6> now = {c.deviceErrors, c.checksumErrors, c.timeoutErrors,
                                      c.nakCount,     c.parseErrors,    c.commEvents};
  for (size_t k = 0; k < now.size(); ++k) Track(now[k], lastCounters_[k], errorTotals_[k]);

  const std::string link = LinkState();
  if (link != linkState_) {
    if (link == "lost") {
      Emit({{"type", "linkLost"}, {"consecutiveTimeouts", c.consecutiveTimeouts}});
    } else if (link == "up" && linkState_ == "lost") {
      Emit({{"type", "linkRestored"}});
    }
    linkState_ = link;
  }
  ObserveRuns();
  for (const Notice& notice : ctx_.host.notices.Since(lastNotice_)) {
    lastNotice_ = notice.sequence;
    Emit({{"type", "notice"}, {"text", notice.text}, {"style", notice.style}});
  }
}

bool StationMonitor::TestWatch::Start(int16_t index) {
  monitor->ObserveRuns();  // a run that ended since the last look ends first
  const bool started = inner->Start(index);
  if (started && monitor->runningTest_ != index) monitor->TestStarted(index);
  return started;
}

bool StationMonitor::CalibrationWatch::Start(int32_t kind) {
  monitor->ObserveRuns();
  const bool started = inner->Start(kind);
  if (started && monitor->runningCalibration_ != kind) monitor->CalibrationStarted(kind);
  return started;
}

void StationMonitor::TestStarted(int16_t test) {
  runningTest_ = test;
  Emit({{"type", "testStarted"}, {"test", test}, {"testName", TestIndexToString(test)}});
}

void StationMonitor::CalibrationStarted(int32_t kind) {
  runningCalibration_ = kind;
  Emit(
      {{"type", "calibrationStarted"}, {"calibration", kind}, {"kind", CalibrationKindName(kind)}});
}

void StationMonitor::ObserveRuns() {
  const SharedTestState& t = ctx_.test;
  if (runningTest_ != test::None && t.CurTest != runningTest_) {
    const std::string kind = TestKindName(runningTest_);
    const std::string outcome = Outcome(t.LastTestCompletionStatus);
    ++testRuns_[{kind, outcome}];
    if (outcome == "completed") lastPassUs_[kind] = ctx_.loop.NowUs();
    nlohmann::json event = {{"type", "testEnded"},
                            {"test", runningTest_},
                            {"testName", TestIndexToString(runningTest_)},
                            {"outcome", outcome}};
    nlohmann::json results = TestResultsJson(runningTest_);
    if (!results.is_null()) event["results"] = std::move(results);
    runningTest_ = test::None;
    Emit(std::move(event));
  }
  if (runningTest_ == test::None && t.CurTest != test::None) TestStarted(t.CurTest);
  if (runningCalibration_ != calibration::None && t.CurCalibration != runningCalibration_) {
    const std::string kind = CalibrationKindName(runningCalibration_);
    const std::string outcome = Outcome(t.LastTestCompletionStatus);
    ++calibrationRuns_[{kind, outcome}];
    if (outcome == "completed") lastPassUs_["calibration"] = ctx_.loop.NowUs();
    nlohmann::json event = {{"type", "calibrationEnded"},
                            {"calibration", runningCalibration_},
                            {"kind", kind},
                            {"outcome", outcome}};
    runningCalibration_ = calibration::None;
    Emit(std::move(event));
  }
  if (runningCalibration_ == calibration::None && t.CurCalibration != calibration::None)
    CalibrationStarted(t.CurCalibration);
}

nlohmann::json StationMonitor::TestResultsJson(int16_t test) const {
  const ReadingsStore& s = ctx_.store;
  if (test == test::Coastdown) {
    nlohmann::json windows = nlohmann::json::array();
    for (size_t w = 1; w <= 2; ++w) {
      const CoastdownResult& r = ctx_.results.Coastdown[w];
      windows.push_back({{"window", w == 1 ? "high" : "low"},
                         {"run", r.Run},
                         {"calculatedSeconds", r.CCDT},
                         {"actualSeconds", r.ACDT},
                         {"topSpeedMph", r.TopSpeed},
                         {"bottomSpeedMph", r.BotSpeed},
                         {"actualHp", r.ActualHP},
                         {"timeDeltaSeconds", r.TimeDelta},
                         {"percentDelta", r.PercentDelta}});
    }
    return {{"coastdown", windows}};
  }
  if (test == test::Parasitics) {
    return {{"parasitics",
             {{"coefK", s.ParasiticCoefK},
              {"coefA", s.ParasiticCoefA},
              {"coefB", s.ParasiticCoefB},
              {"losses15MphHp", s.Losses15MphHP},
              {"losses25MphHp", s.Losses25MphHP}}}};
  }
  return nullptr;
}

std::string StationMonitor::TimeText() const {
  const DateParts p = OleDateToParts(ctx_.loop.Now());
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", p.year, p.month, p.day,
                p.hour, p.minute, p.second, p.millisecond);
  return text;
}

void StationMonitor::Emit(nlohmann::json event) {
  event["time"] = TimeText();
  for (const auto& [number, listener] : listeners_) listener(event);
}

nlohmann::json StationMonitor::Readings() const {
  const ReadingsStore& s = ctx_.store;
  return {{"time", TimeText()},
          {"connected", ctx_.polling.Connected()},
          {"speedMph", S(s.DyneSpeed)},
          {"accelerationMphPerS", S(s.DyneAcceleration)},
          {"powerHp", S(s.DynePower)},
          {"torqueFtLb", S(s.DyneTorque)},
          {"frameTempF", S(s.ForceTemp)},
          {"bearingTempF", S(s.BearingTemp)},
          {"leftWeightLb", S(s.LeftWeight)},
          {"rightWeightLb", S(s.RightWeight)},
          {"totalWeightLb", S(s.TotalWeight)},
          {"distanceMiles", S(s.DyneDistance)},
          {"pollCycles", pollCycles_}};
}

nlohmann::json StationMonitor::State() const {
  const SharedTestState& t = ctx_.test;
  return {{"connected", ctx_.polling.Connected()},
          {"link", LinkState()},
          {"autoUpdate", ctx_.polling.ReadingsActive()},
          {"test",
           {{"current", t.CurTest},
            {"name", TestIndexToString(t.CurTest)},
            {"stage", t.TestStage},
            {"lastCompletion", t.LastTestCompletionStatus}}},
          {"calibration", t.CurCalibration},
          {"sequences",
           {{"sleep", t.SleepStatus == seqstatus::Running ? "running" : "idle"},
            {"calibrationWizard", t.LcwsStatus == seqstatus::Running ? "running" : "idle"}}},
          {"version", ctx_.host.ProgramVersionText}};
}

void StationMonitor::WriteMetrics(MetricsText& out) {
  using T = MetricsText::Type;
  Observe();
  const ReadingsStore& s = ctx_.store;
  out.Family("tavkelo_build_info", "The server's version; always 1", T::Gauge);
  out.Sample("tavkelo_build_info", 1, {{"version", ctx_.host.ProgramVersionText}});
  out.Family("tavkelo_uptime_seconds", "Seconds since the server started", T::Gauge);
  out.Sample("tavkelo_uptime_seconds", static_cast<double>(ctx_.loop.NowUs() - startUs_) / 1e6);

  out.Family("tavkelo_link_connected", "1 while the link to the controller is open", T::Gauge);
  out.Sample("tavkelo_link_connected", ctx_.polling.Connected() ? 1 : 0);
  out.Family("tavkelo_link_up",
             "1 while the link is open and the controller answers (fewer than three time-outs "
             "in a row)",
             T::Gauge);
  out.Sample("tavkelo_link_up", std::string(LinkState()) == "up" ? 1 : 0);
  out.Family("tavkelo_link_consecutive_timeouts", "Time-outs in a row on the link", T::Gauge);
  out.Sample("tavkelo_link_consecutive_timeouts", s.counters.consecutiveTimeouts);
  out.Family("tavkelo_link_errors_total", "Failed exchanges and line events, by kind", T::Counter);
  for (size_t k = 0; k < kErrorKinds.size(); ++k) {
    out.Sample("tavkelo_link_errors_total", static_cast<double>(errorTotals_[k]),
               {{"kind", kErrorKinds[k]}});
  }
  out.Family("tavkelo_link_exchanges_total", "Finished request-reply exchanges, by result",
             T::Counter);
  out.Sample("tavkelo_link_exchanges_total", static_cast<double>(exchanges_ - failedExchanges_),
             {{"result", "success"}});
  out.Sample("tavkelo_link_exchanges_total", static_cast<double>(failedExchanges_),
             {{"result", "failure"}});
  out.Family("tavkelo_link_exchange_duration_seconds",
             "Time from a request's first frame to the end of its exchange, resends included",
             T::Histogram);
  roundTrip_.Write(out, "tavkelo_link_exchange_duration_seconds");
  out.Family("tavkelo_poll_cycles_total", "Completed cycles of the readings poller", T::Counter);
  out.Sample("tavkelo_poll_cycles_total", static_cast<double>(pollCycles_));

  // In base units, as Prometheus names them; the dashboards convert for display.
  constexpr double kMph = 0.44704, kHp = 745.69987158227, kFtLb = 1.3558179483314, kMile = 1609.344,
                   kPound = 453.59237;
  auto celsius = [](float f) { return (static_cast<double>(f) - 32.0) * 5.0 / 9.0; };
  const std::vector<std::tuple<const char*, const char*, double>> gauges = {
      {"tavkelo_speed_meters_per_second", "Roll speed", s.DyneSpeed * kMph},
      {"tavkelo_acceleration_meters_per_second_squared", "Roll acceleration",
       s.DyneAcceleration * kMph},
      {"tavkelo_power_watts", "Absorbed power", s.DynePower * kHp},
      {"tavkelo_torque_newton_meters", "Torque", s.DyneTorque * kFtLb},
      {"tavkelo_frame_temperature_celsius", "Frame temperature", celsius(s.ForceTemp)},
      {"tavkelo_bearing_temperature_celsius", "Bearing temperature", celsius(s.BearingTemp)},
      {"tavkelo_distance_meters", "Distance the rolls travelled", s.DyneDistance * kMile},
  };
  for (const auto& [name, help, value] : gauges) {
    out.Family(name, help, T::Gauge);
    out.Sample(name, value);
  }
  out.Family("tavkelo_weight_grams", "Wheel-scale weights", T::Gauge);
  out.Sample("tavkelo_weight_grams", s.LeftWeight * kPound, {{"side", "left"}});
  out.Sample("tavkelo_weight_grams", s.RightWeight * kPound, {{"side", "right"}});
  out.Sample("tavkelo_weight_grams", s.TotalWeight * kPound, {{"side", "total"}});
  out.Family("tavkelo_status_bit", "The controller's 16 status bits, 1 when set", T::Gauge);
  for (size_t b = 0; b < 16; ++b) {
    out.Sample("tavkelo_status_bit", s.StatusBitsCopy[b] ? 1 : 0, {{"bit", std::to_string(b)}});
  }

  const SharedTestState& t = ctx_.test;
  out.Family("tavkelo_test_running", "The test index now running (0: none)", T::Gauge);
  out.Sample("tavkelo_test_running", t.CurTest);
  out.Family("tavkelo_calibration_running", "The calibration now running (0: none)", T::Gauge);
  out.Sample("tavkelo_calibration_running", t.CurCalibration);
  out.Family("tavkelo_test_runs_total", "Tests ended, by test and outcome", T::Counter);
  for (const auto& [key, count] : testRuns_) {
    out.Sample("tavkelo_test_runs_total", static_cast<double>(count),
               {{"test", key.first}, {"outcome", key.second}});
  }
  out.Family("tavkelo_calibration_runs_total", "Calibrations ended, by kind and outcome",
             T::Counter);
  for (const auto& [key, count] : calibrationRuns_) {
    out.Sample("tavkelo_calibration_runs_total", static_cast<double>(count),
               {{"kind", key.first}, {"outcome", key.second}});
  }
  if (lastPassFromHistory_) return;
  // The stored coastdown has its date; the others are known from the runs of this process.
  std::map<std::string, double> since;
  for (const auto& [kind, us] : lastPassUs_)
    since[kind] = static_cast<double>(ctx_.loop.NowUs() - us) / 1e6;
  const CoastdownResult& stored = ctx_.results.Coastdown[1];
  if (since.count("coastdown") == 0 && stored.Run && stored.Date > 0)
    since["coastdown"] = (ctx_.loop.Now() - stored.Date) * 86400.0;
  out.Family("tavkelo_seconds_since_last_pass",
             "Seconds since the last completed run of a kind (coastdown, parasitics, "
             "calibration, ...)",
             T::Gauge);
  for (const auto& [kind, seconds] : since)
    out.Sample("tavkelo_seconds_since_last_pass", seconds, {{"kind", kind}});
}

}  // namespace tavkelo
