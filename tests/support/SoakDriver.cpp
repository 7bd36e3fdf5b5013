#include "support/SoakDriver.hpp"

#ifdef _WIN32
#include <windows.h>
// after windows.h, which it needs
#include <psapi.h>
#else
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>

#include "support/InterfaceFixture.hpp"
#include "support/ScriptedOperator.hpp"

#if defined(__SANITIZE_ADDRESS__)
// From the AddressSanitizer runtime (g++ ships no header for it).
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace tavkelo::test {

const char* SoakCounterName(int counter) {
  static const char* const kNames[kSoakCounters] = {
      "deviceErrors", "checksumErrors", "timeoutErrors", "nakCount", "parseErrors", "commEvents"};
  return kNames[counter];
}

namespace {

const char* const kFaultNames[kFaultKinds] = {"LoseByte",      "CorruptByte", "LateReply",
                                              "WrongChecksum", "Nak",         "Silence"};

CounterArray Snapshot(const LinkCounters& c) {
  return {c.deviceErrors, c.checksumErrors, c.timeoutErrors,
          c.nakCount,     c.parseErrors,    c.commEvents};
}

CounterArray Minus(const CounterArray& a, const CounterArray& b) {
  CounterArray d{};
  for (int i = 0; i < kSoakCounters; ++i) d[i] = a[i] - b[i];
  return d;
}

void Add(CounterArray& to, const CounterArray& d) {
  for (int i = 0; i < kSoakCounters; ++i) to[i] += d[i];
}

// Under AddressSanitizer freed blocks sit in a quarantine of up to 256 MB, so resident memory
// grows for hours whatever the program does; the sanitizer's count of live heap bytes is what
// can be compared there. Everywhere else: the resident set (the working set on Windows).
uint64_t MemoryBytes(bool& heap) {
#if defined(__SANITIZE_ADDRESS__)
  heap = true;
  return __sanitizer_get_current_allocated_bytes();
#elif defined(_WIN32)
  heap = false;
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  ::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
  return counters.WorkingSetSize;
#else
  heap = false;
  std::ifstream statm("/proc/self/statm");
  uint64_t size = 0, resident = 0;
  statm >> size >> resident;
  return resident * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
#endif
}

// What an exchange spoilt from its first reply to its end must do to the counters. The link
// tries an exchange three times (two resends after a time-out, a NAK or a bad frame; two NAKs
// after a bad checksum), and a fault that stays on spoils every try, so each spoilt exchange
// ends failed and moves exactly one counter by one, the one of its last try:
//   Nak           the controller refuses each try: nakCount.
//   Silence       no try is answered: timeoutErrors.
//   WrongChecksum each data frame fails its check: checksumErrors. An exchange answered with a
//                 bare ACK has no checksum to spoil; the injector applies nothing and no counter
//                 may move (masked, told apart by the injector's own count).
//   LateReply     every reply is held back 150 ms, inside the 300 ms reply time: the link waits
//                 for it and no counter may move (masked by design: a slow controller is not a
//                 fault of the line).
//   LoseByte      which counter depends on the byte: a lost STX is a bad start (deviceErrors), a
//                 lost payload, ETB or checksum byte fails the checksum (checksumErrors), a lost
//                 "$" or a lost ACK leaves the reply unfinished (timeoutErrors).
//   CorruptByte   as LoseByte, and an ACK turned into a NAK is a refusal (nakCount). A data
//                 frame whose STX turns into an ACK (0x02 to 0x06) is masked: a lone ACK ends
//                 any exchange as a success, as the link is documented to take it, so nothing
//                 moves. Told apart exactly: the exchange succeeded on one received byte while
//                 the controller had answered its request with a data frame.
// The kinds whose counter depends on the damaged byte are still held to exactly one counter
// and one move per spoilt exchange, so summed over the run each counter equals the spoilt
// exchanges that ended on it; the figures show that split by kind. No counter may move on an
// exchange that was not spoilt, except while the line is hung up: a hang-up is one commEvents
// and the exchanges it cuts fail on a closed port. Faults are never armed from the moment a
// hang-up is due until the link is restored, so no fault is cut by a hang-up and every counter
// move belongs to exactly one spoilt exchange or one hang-up.
struct KindRule {
  std::array<bool, kSoakCounters> may{};
  bool maskedWhenNotApplied = false;  // no counter when the injector applied nothing
  bool maskedWhenAckForData = false;  // no counter when a lone ACK answered a data request
  bool alwaysMasked = false;
};

KindRule RuleFor(FaultKind kind) {
  KindRule r;
  auto allow = [&r](std::initializer_list<SoakCounter> counters) {
    for (SoakCounter c : counters) r.may[static_cast<size_t>(c)] = true;
  };
  switch (kind) {
    case FaultKind::LoseByte:
      allow({SoakCounter::Device, SoakCounter::Checksum, SoakCounter::Timeout});
      break;
    case FaultKind::CorruptByte:
      allow({SoakCounter::Device, SoakCounter::Checksum, SoakCounter::Timeout, SoakCounter::Nak});
      r.maskedWhenAckForData = true;
      break;
    case FaultKind::LateReply:
      r.alwaysMasked = true;
      break;
    case FaultKind::WrongChecksum:
      allow({SoakCounter::Checksum});
      r.maskedWhenNotApplied = true;
      break;
    case FaultKind::Nak:
      allow({SoakCounter::Nak});
      break;
    case FaultKind::Silence:
      allow({SoakCounter::Timeout});
      break;
  }
  return r;
}

struct Run {
  const char* name;
  std::function<QRTXErrorConstants(clsKeloInterface&)> start;
  const char* completed;
  const char* aborted;
};

const Run kRuns[] = {
    {"warm-up", [](clsKeloInterface& k) { return k.StartTest(gQRTXTIWarmup); },
     "**** Warm-Up Completed ****", "**** Warm-Up Aborted ****"},
    {"parasitics", [](clsKeloInterface& k) { return k.StartTest(gQRTXTIParasitics); },
     "**** Parasitics Results ****", "**** Parasitics Aborted ****"},
    {"coastdown", [](clsKeloInterface& k) { return k.StartTest(gQRTXTICoastDown); },
     "**** Coastdown Results ****", "**** Coastdown Aborted ****"},
    {"load-cell calibration",
     [](clsKeloInterface& k) { return k.SpanAnalogInput(gQRTXAIIPAU1Torque); },
     "**** Load Cell Calibration Completed ****", "**** Load Cell Calibration Aborted ****"},
    {"weight-scale calibration",
     [](clsKeloInterface& k) { return k.SpanAnalogInput(gQRTXAIILeftScale); },
     "**** Weight Scale Calibration Completed ****", "**** Weight Scale Calibration Aborted ****"},
};
constexpr int kRunKinds = static_cast<int>(std::size(kRuns));

class Soak {
 public:
  explicit Soak(const SoakOptions& o) : o_(o), f_(SimOptions(o), kLogFamilies), rng_(o.seed) {
    f_.host->notices.SetEchoToStderr(false);
    f_.ctx->recovery.SetEnabled(true);
    previousDone_ = f_.ctx->onExchangeDone;
    f_.ctx->onExchangeDone = [this](int32_t result, int64_t us) {
      if (previousDone_) previousDone_(result, us);
      ExchangeDone(result);
    };
    k_ = f_.NewInterface();
    op_ = std::make_unique<ScriptedOperator>(f_.sim, f_.calibrations.Forms());
  }
  ~Soak() { f_.ctx->onExchangeDone = previousDone_; }

  SoakFigures Go();

 private:
  // The client's calls, the link's errors, the test sequences and the link recovery; not the
  // raw bytes.
  static constexpr int16_t kLogFamilies = 1 | 2 | 8;

  static KeloSimOptions SimOptions(const SoakOptions& o) {
    KeloSimOptions s;
    s.faults.seed = o.seed;
    s.faults.lateReplyUs = 150'000;
    s.requestLogLimit = 100;
    return s;
  }

  void Violation(const std::string& what) {
    if (fig_.violations.size() < 50) {
      char at[32];
      std::snprintf(at, sizeof at, "[%.3f h] ", Hours());
      fig_.violations.push_back(at + what);
    }
  }
  double Hours() const { return static_cast<double>(f_.loop.NowUs()) / 3.6e9; }
  CounterArray Counters() const { return Snapshot(f_.ctx->store.counters); }
  uint64_t Applied(FaultKind kind) { return f_.sim.Faults().Applied(kind); }

  void ExchangeDone(int32_t result);
  void Arm();
  void HangUpStep();
  void SequenceStep();
  void ClientStep(int64_t second);
  void EndRun();
  std::string NewLog();
  void ScanLog();

  template <class Call>
  auto Timed(const char* name, bool command, Call&& call) {
    const int64_t t0 = f_.loop.NowUs();
    auto result = call();
    const int64_t us = f_.loop.NowUs() - t0;
    if (command) {
      ++fig_.commands;
      if (us > fig_.worstCommandUs) {
        fig_.worstCommandUs = us;
        fig_.worstCommand = name;
      }
    } else {
      ++fig_.properties;
      fig_.worstPropertyUs = std::max(fig_.worstPropertyUs, us);
    }
    if (us > kCallBoundUs) Violation(std::string(name) + " took " + std::to_string(us) + " us");
    return result;
  }

  SoakOptions o_;
  InterfaceFixture f_;
  std::unique_ptr<clsKeloInterface> k_;
  std::unique_ptr<ScriptedOperator> op_;
  std::function<void(int32_t, int64_t)> previousDone_;
  std::mt19937 rng_;
  SoakFigures fig_;

  // The spoilt exchange in progress.
  bool armed_ = false;
  FaultKind armedKind_ = FaultKind::Nak;
  CounterArray armedCounters_{};
  uint64_t armedApplied_ = 0;
  // Hang-ups: none armed from `hangUpDue_` on until the link is back.
  bool outage_ = false, hangUpDue_ = false;
  int64_t nextHangUpUs_ = 0, plugInUs_ = 0;
  int64_t restoredBefore_ = 0;
  CounterArray outageCounters_{};
  // The sequence in progress.
  int runIndex_ = 0;
  bool running_ = false, stopAsked_ = false, lostDuringRun_ = false;
  int64_t runStartUs_ = 0, nextRunUs_ = 0, stopAtUs_ = 0;
  bool noNewRuns_ = false;
  // What the log said since the run started, read as it goes (only the marks are kept, so the
  // driver's own memory does not grow with a run's log).
  enum Mark { Completed, Aborted, StopCall, LinkLost, TimedOut, kMarks };
  std::array<bool, kMarks> marks_{};
  std::string logTail_;  // the end of the last piece read, for a line read in two pieces
  std::streamoff logOffset_ = 0;
};

void Soak::ExchangeDone(int32_t result) {
  ++fig_.exchanges;
  const auto& requests = f_.sim.Requests();
  const bool ackForData = result == xr::Success && f_.ctx->exchange.ReceiveCount() == 1 &&
                          !requests.empty() && requests.back().reply == ReplyKind::Data;
  if (armed_) {
    armed_ = false;
    f_.sim.Faults().SetProbability(armedKind_, 0.0);
    const size_t kind = static_cast<size_t>(armedKind_);
    const uint64_t applied = Applied(armedKind_) - armedApplied_;
    const CounterArray moved = Minus(Counters(), armedCounters_);
    ++fig_.faultEvents[kind];
    fig_.faultsApplied[kind] += applied;
    Add(fig_.countersByFault[kind], moved);
    const KindRule rule = RuleFor(armedKind_);
    const bool masked = rule.alwaysMasked || (rule.maskedWhenNotApplied && applied == 0) ||
                        (rule.maskedWhenAckForData && ackForData);
    if (masked) ++fig_.faultsMasked[kind];
    int total = 0, allowed = 0;
    for (int c = 0; c < kSoakCounters; ++c) {
      total += static_cast<int>(moved[c]);
      if (rule.may[c]) allowed += static_cast<int>(moved[c]);
    }
    const bool ok = masked ? total == 0 : (total == 1 && allowed == 1);
    if (!ok) {
      std::string text = std::string("an exchange spoilt by ") + kFaultNames[kind] + " (" +
                         std::to_string(applied) + " replies) moved";
      for (int c = 0; c < kSoakCounters; ++c) {
        if (moved[c] != 0)
          text += " " + std::string(SoakCounterName(c)) + "+" + std::to_string(moved[c]);
      }
      Violation(text + (total == 0 ? " nothing" : ""));
    }
  }
  if (!outage_ && !hangUpDue_ &&
      std::uniform_real_distribution<double>(0.0, 1.0)(rng_) < o_.faultPerExchange) {
    Arm();
  }
}

void Soak::Arm() {
  armedKind_ = static_cast<FaultKind>(std::uniform_int_distribution<int>(0, kFaultKinds - 1)(rng_));
  armedCounters_ = Counters();
  armedApplied_ = Applied(armedKind_);
  armed_ = true;
  f_.sim.Faults().SetProbability(armedKind_, 1.0);
}

void Soak::HangUpStep() {
  const int64_t now = f_.loop.NowUs();
  if (!outage_ && now >= nextHangUpUs_) hangUpDue_ = true;
  if (hangUpDue_ && !armed_ && !outage_) {
    // Only between exchanges that no fault spoils.
    hangUpDue_ = false;
    outage_ = true;
    outageCounters_ = Counters();
    restoredBefore_ = f_.ctx->recovery.Restored();
    lostDuringRun_ = lostDuringRun_ || running_;
    f_.line->Unplug();
    ++fig_.hangUps;
    plugInUs_ = now + static_cast<int64_t>(o_.outageSeconds * 1e6);
  }
  if (outage_ && f_.line->Unplugged() && now >= plugInUs_) f_.line->PlugIn();
  if (outage_ && !f_.line->Unplugged() && f_.ctx->recovery.Restored() > restoredBefore_ &&
      !f_.ctx->recovery.Reconnecting()) {
    outage_ = false;
    ++fig_.reconnects;
    const CounterArray moved = Minus(Counters(), outageCounters_);
    Add(fig_.countersByHangUps, moved);
    if (moved[static_cast<size_t>(SoakCounter::CommEvent)] != 1)
      Violation("a hang-up moved commEvents by " +
                std::to_string(moved[static_cast<size_t>(SoakCounter::CommEvent)]));
    nextHangUpUs_ = now + static_cast<int64_t>(o_.hangUpEveryHours * 3.6e9);
  }
  if (outage_ && now - plugInUs_ > 120'000'000)
    Violation("the link did not come back within 2 minutes of the device");
}

std::string Soak::NewLog() {
  std::ifstream in(f_.host->log.LogFileName(), std::ios::binary);
  in.seekg(logOffset_);
  std::stringstream text;
  text << in.rdbuf();
  logOffset_ = in.tellg() < 0 ? logOffset_ + static_cast<std::streamoff>(text.str().size())
                              : static_cast<std::streamoff>(in.tellg());
  return text.str();
}

void Soak::ScanLog() {
  const Run& run = kRuns[runIndex_ % kRunKinds];
  const std::string text = logTail_ + NewLog();
  const char* const needles[kMarks] = {run.completed, run.aborted, "StopTest(",
                                       "LinkRecovery - link lost: ", "not settled within"};
  for (int m = 0; m < kMarks; ++m) {
    if (text.find(needles[m]) != std::string::npos) marks_[m] = true;
  }
  logTail_ = text.substr(text.size() > 80 ? text.size() - 80 : 0);
}

void Soak::EndRun() {
  const Run& run = kRuns[runIndex_ % kRunKinds];
  running_ = false;
  ScanLog();
  const int16_t status = f_.ctx->test.LastTestCompletionStatus;
  const std::string what = std::string("the ") + run.name + " started at " +
                           std::to_string(runStartUs_ / 1'000'000) + " s";
  if (status == ltcs::Completed && marks_[Completed]) {
    ++fig_.sequencesCompleted;
  } else if (status == ltcs::Aborted && marks_[Aborted]) {
    ++fig_.sequencesAborted;
    // The reason: the client's stop, the link lost under it, or the run's own time-out.
    const bool stopped = stopAsked_ && marks_[StopCall];
    const bool lost = lostDuringRun_ && marks_[LinkLost];
    if (!stopped && !lost && !marks_[TimedOut])
      Violation(what + " ended aborted with no reason in the log");
  } else {
    Violation(what + " ended with status " + std::to_string(status) + " and no closing line");
  }
  // The technician clears the rolls after every run, finished or not.
  DynePlant& plant = f_.sim.Plant();
  plant.PlaceCalibrationWeights(0);
  plant.ConnectCalibrationDevice(false);
  for (ScaleSide side : {ScaleSide::Left, ScaleSide::Right}) {
    plant.PlaceScaleWeights(side, 0);
    plant.ConnectScaleDevice(side, false);
  }
  op_ = std::make_unique<ScriptedOperator>(f_.sim, f_.calibrations.Forms());
  ++runIndex_;
  nextRunUs_ = f_.loop.NowUs() + 20'000'000;
}

void Soak::SequenceStep() {
  const SharedTestState& t = f_.ctx->test;
  const int64_t now = f_.loop.NowUs();
  if (running_) {
    op_->Act();
    if (t.CurTest == test::None && t.CurCalibration == calibration::None) {
      EndRun();
    } else {
      // The log is read as the run goes, so that a day's log is never read at once.
      ScanLog();
      // Every fourth run is stopped by the client a minute in; any run still going after 15
      // minutes waits for something that will not come (a calibration whose "Raise Lifts" was
      // spoilt waits for the lifts for ever, as the technician would see) and is stopped too.
      const bool planned = runIndex_ % 4 == 3 && now - runStartUs_ > 60'000'000;
      const bool stalled = now - runStartUs_ > 900'000'000;
      if (!stopAsked_ && (planned || stalled)) {
        if (!planned) ++fig_.sequencesStalled;
        stopAsked_ = true;
        stopAtUs_ = now;
        Timed("StopTest", true, [&] { return k_->StopTest(); });
      }
      if (stopAsked_ && now - stopAtUs_ > 600'000'000) {
        Violation(std::string("the ") + kRuns[runIndex_ % kRunKinds].name +
                  " did not end within 10 minutes of its stop, stage " +
                  std::to_string(t.TestStage));
        running_ = false;
        ++runIndex_;
      }
    }
    return;
  }
  if (outage_ || noNewRuns_ || now < nextRunUs_) return;
  const Run& run = kRuns[runIndex_ % kRunKinds];
  NewLog();  // what came before is not this run's
  marks_ = {};
  logTail_.clear();
  // The calibrations leave the lifts up, and no test starts with them up; a calibration
  // started while they travel would wait for them for ever. Lowered, they get 10 s.
  if (k_->LiftEnable()) {
    Timed("LowerLifts", true, [&] { return k_->LowerLifts(true, false); });
    nextRunUs_ = now + 10'000'000;
    return;
  }
  const QRTXErrorConstants started = Timed(run.name, true, [&] { return run.start(*k_); });
  if (started != gQRTXErrNoError) {
    // Refused (the link was busy or just lost): try again a little later.
    ++fig_.startsRefused;
    nextRunUs_ = now + 10'000'000;
    return;
  }
  running_ = true;
  stopAsked_ = false;
  lostDuringRun_ = outage_;
  runStartUs_ = now;
  ++fig_.sequencesStarted;
}

void Soak::ClientStep(int64_t second) {
  clsKeloInterface& k = *k_;
  Timed("PrimarySpeedMPH", false, [&] { return k.PrimarySpeedMPH(); });
  Timed("AutoUpdateErrorCount", false, [&] { return k.AutoUpdateErrorCount(); });
  Timed("CurTest", false, [&] { return k.CurTest(); });
  Timed("LeftWeight", false, [&] { return k.LeftWeight(); });
  Timed("TimeSinceLastUpdate", false, [&] { return k.TimeSinceLastUpdate(); });
  switch (second % 60) {
    case 7:
      Timed("ResetTestDistance", true, [&] { return k.ResetTestDistance(); });
      break;
    case 19:
      Timed("GetWarmupTestParameters", true, [&] { return k.GetWarmupTestParameters(); });
      break;
    case 31:
      Timed("GetSlaveVersion", true, [&] { return k.GetSlaveVersion(); });
      break;
    case 43:
      Timed("SetWarmupTestParameters", true, [&] { return k.SetWarmupTestParameters(90.0f); });
      break;
    case 55:
      Timed("GetParasiticsCurves", true, [&] { return k.GetParasiticsCurves(); });
      break;
    default:
      break;
  }
}

SoakFigures Soak::Go() {
  fig_.simulatedHours = o_.hours;
  fig_.baselineHours = o_.baselineHours;
  if (!k_->Connect()) Violation("the first Connect failed");
  k_->SetWarmupTestParameters(90.0f);
  nextHangUpUs_ = static_cast<int64_t>(o_.hangUpEveryHours * 3.6e9 / 2);
  const CounterArray start = Counters();
  const int64_t seconds = static_cast<int64_t>(o_.hours * 3600.0);
  const int64_t baselineS = static_cast<int64_t>(o_.baselineHours * 3600.0);
  // Memory is taken when the station is idle (no run, the line up), the state it comes back to
  // between runs: first after the baseline hour, last after the whole run, once the run in
  // progress has ended (no new one starts then; half an hour at most).
  auto idle = [this] { return !running_ && !outage_; };
  int64_t s = 0;
  for (; s < seconds || (!idle() && s < seconds + 1800); ++s) {
    noNewRuns_ = s >= seconds;
    f_.loop.PumpFor(1000);
    HangUpStep();
    SequenceStep();
    ClientStep(s);
    if (s + 1 >= baselineS && fig_.memoryAtBaseline == 0 && idle())
      fig_.memoryAtBaseline = MemoryBytes(fig_.memoryIsHeap);
  }
  fig_.memoryAtEnd = MemoryBytes(fig_.memoryIsHeap);
  fig_.sequenceRunningAtEnd = running_;
  if (fig_.memoryAtBaseline == 0) fig_.memoryAtBaseline = fig_.memoryAtEnd;

  // Every counter move belongs to a spoilt exchange or a hang-up.
  fig_.countersTotal = Minus(Counters(), start);
  for (int c = 0; c < kSoakCounters; ++c) {
    int64_t attributed = fig_.countersByHangUps[c];
    for (const CounterArray& byKind : fig_.countersByFault) attributed += byKind[c];
    if (fig_.countersTotal[c] != attributed)
      Violation(std::string(SoakCounterName(c)) + " moved " +
                std::to_string(fig_.countersTotal[c]) +
                " times, spoilt exchanges and hang-ups account for " + std::to_string(attributed));
  }
  const ControllerCounters& sim = f_.sim.Counters();
  fig_.frames = sim.requests + sim.resends;
  for (int kind = 0; kind < kFaultKinds; ++kind)
    fig_.faultyFrames += f_.sim.Faults().Applied(static_cast<FaultKind>(kind));
  return fig_;
}

}  // namespace

std::string SoakFigures::Report() const {
  std::ostringstream out;
  char line[512];
  std::snprintf(
      line, sizeof line,
      "soak: %.1f simulated hours, %llu frames, %llu exchanges, %llu faulty frames "
      "(%.2f%%)\n",
      simulatedHours, static_cast<unsigned long long>(frames),
      static_cast<unsigned long long>(exchanges), static_cast<unsigned long long>(faultyFrames),
      frames ? 100.0 * static_cast<double>(faultyFrames) / static_cast<double>(frames) : 0.0);
  out << line;
  out << "  fault kind      spoilt exchanges (masked)  faulty frames  counters moved\n";
  auto counters = [](const CounterArray& a) {
    std::string text;
    for (int c = 0; c < kSoakCounters; ++c) {
      if (a[c] != 0) text += " " + std::string(SoakCounterName(c)) + "=" + std::to_string(a[c]);
    }
    return text.empty() ? std::string(" none") : text;
  };
  for (int kind = 0; kind < kFaultKinds; ++kind) {
    std::snprintf(line, sizeof line, "  %-14s  %16llu %8s  %13llu ", kFaultNames[kind],
                  static_cast<unsigned long long>(faultEvents[kind]),
                  ("(" + std::to_string(faultsMasked[kind]) + ")").c_str(),
                  static_cast<unsigned long long>(faultsApplied[kind]));
    out << line << counters(countersByFault[kind]) << "\n";
  }
  std::snprintf(line, sizeof line, "  hang-ups %llu, reconnects %llu, counters moved:",
                static_cast<unsigned long long>(hangUps),
                static_cast<unsigned long long>(reconnects));
  out << line << counters(countersByHangUps) << "\n";
  out << "  link counters at the end:" << counters(countersTotal) << "\n";
  std::snprintf(
      line, sizeof line,
      "  sequences: %llu started, %llu completed, %llu aborted (%llu stalled and stopped, %llu "
      "starts refused)\n"
      "  client: %llu commands (worst %.3f s, %s), %llu property reads (worst %.3f s)\n"
      "  memory (%s): %.0f KiB after the first %.0f h, %.0f KiB at the end (%+.2f%%)\n",
      static_cast<unsigned long long>(sequencesStarted),
      static_cast<unsigned long long>(sequencesCompleted),
      static_cast<unsigned long long>(sequencesAborted),
      static_cast<unsigned long long>(sequencesStalled),
      static_cast<unsigned long long>(startsRefused), static_cast<unsigned long long>(commands),
      static_cast<double>(worstCommandUs) / 1e6, worstCommand.c_str(),
      static_cast<unsigned long long>(properties), static_cast<double>(worstPropertyUs) / 1e6,
      memoryIsHeap ? "live heap" : "resident", static_cast<double>(memoryAtBaseline) / 1024.0,
      baselineHours, static_cast<double>(memoryAtEnd) / 1024.0,
      memoryAtBaseline
          ? 100.0 * (static_cast<double>(memoryAtEnd) - static_cast<double>(memoryAtBaseline)) /
                static_cast<double>(memoryAtBaseline)
          : 0.0);
  out << line;
  for (const std::string& v : violations) out << "  VIOLATION " << v << "\n";
  return out.str();
}

SoakFigures RunSoak(const SoakOptions& options) {
  Soak soak(options);
  return soak.Go();
}

}  // namespace tavkelo::test
