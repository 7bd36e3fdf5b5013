#include "sequences/TestSequencer.hpp"

#include "link/KeloContext.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {

namespace {

bool IsTargetTest(int16_t index) {
  return index == test::ConstantTarget || index == test::Asm || index == test::VehicleSimulation;
}

}  // namespace

TestSequencer::TestSequencer(KeloContext& ctx)
    : ctx_(ctx),
      sleep_(ctx),
      warmup_(ctx, sleep_),
      parasitics_(ctx, sleep_),
      coastdown_(ctx, sleep_),
      target_(ctx),
      coastdownResults_(ctx) {
  ctx_.tests = this;
  ctx_.runTestStep = [this](int16_t curTest) { RunTestStep(curTest); };
  // The interface's GetLastCoastdownTestResults reloads the stored records through this.
  ctx_.loadCoastdownResults = [this] { coastdownResults_.LoadSaveCoastdownResults(false); };
}

TestSequencer::~TestSequencer() {
  if (ctx_.tests == this) ctx_.tests = nullptr;
  ctx_.runTestStep = nullptr;
  ctx_.loadCoastdownResults = nullptr;
}

bool TestSequencer::Start(int16_t index) {
  SharedTestState& t = ctx_.test;
  const ReadingsStore& s = ctx_.store;
  if (t.LastTestCompletionStatus == ltcs::InProgress || t.CurTest != test::None ||
      t.SleepStatus == seqstatus::Running || t.LcwsStatus == seqstatus::Running ||
      s.StatusBitsCopy[status::MotorOn] || s.LiftsUp || s.DeviceError()) {
    return false;
  }
  if (IsTargetTest(index) && ctx_.startRefusal) {
    if (const std::string why = ctx_.startRefusal(index); !why.empty()) {
      ctx_.log.WriteLog("StartTest refused: " + why);
      return false;
    }
  }
  ctx_.polling.SetReadingsActive(true);
  t.TestAbortRequest = false;
  t.TestCommandPending = false;
  t.StartedTestIndex = index;
  t.CurTest = index;
  t.LastTestCompletionStatus = ltcs::InProgress;
  t.TestStage = 0;
  t.TestStageLogged = 0;
  startUs_ = ctx_.loop.NowUs();
  observed_ = ctx_.runObserver;
  if (observed_ != nullptr) observed_->RunStarted(TestKindName(index), Parameters(index));
  return true;
}

RunValues TestSequencer::Parameters(int16_t index) const {
  const TestParameters& p = ctx_.params;
  switch (index) {
    case test::Warmup:
      return {{"warmupTimeSeconds", p.WarmupTimeSeconds}};
    case test::Parasitics:
      return {{"topSpeedMph", p.ParasiticsTopSpeedMPH},
              {"bottomSpeedMph", p.ParasiticsBottomSpeedMPH}};
    case test::Coastdown:
      return {{"highWindowTopMph", p.CoastdownHi.HiSpeed},
              {"highWindowBottomMph", p.CoastdownHi.LoSpeed},
              {"highWindowLoadHp", p.CoastdownHi.LoadHP},
              {"lowWindowTopMph", p.CoastdownLo.HiSpeed},
              {"lowWindowBottomMph", p.CoastdownLo.LoSpeed},
              {"lowWindowLoadHp", p.CoastdownLo.LoadHP}};
    case test::ConstantTarget:
      return {{"mode", p.ConstantTargetTestMode},
              {"speedTarget", p.ConstantTargetTestSpeedTarget},
              {"torqueTarget", p.ConstantTargetTestTorqueTarget},
              {"powerTarget", p.ConstantTargetTestPowerTarget}};
    case test::Asm:
      return {{"mode", p.ASMTestMode},
              {"asm5015TrlHp", p.ASM5015TRLHP},
              {"asm5015GtrlHp", p.ASM5015GTRLHP},
              {"asm2525TrlHp", p.ASM2525TRLHP},
              {"asm2525GtrlHp", p.ASM2525GTRLHP}};
    case test::VehicleSimulation:
      return {{"vehicleWeight", p.VehSimTestVehicleWeight},
              {"trlHpAt50", p.VehSimTestTRLHPAt50},
              {"gtrlHpAt50", p.VehSimTestGTRLHPAt50}};
    default:
      return {};
  }
}

RunValues TestSequencer::Results(int16_t index) const {
  RunValues r;
  if (index == test::Warmup) {
    r.emplace_back("runSeconds", static_cast<double>(ctx_.loop.NowUs() - startUs_) / 1e6);
  } else if (index == test::Coastdown) {
    for (size_t w = 1; w <= 2; ++w) {
      const CoastdownResult& c = ctx_.results.Coastdown[w];
      const std::string p = w == 1 ? "high" : "low";
      r.emplace_back(p + "Run", c.Run ? 1 : 0);
      r.emplace_back(p + "CalculatedSeconds", c.CCDT);
      r.emplace_back(p + "ActualSeconds", c.ACDT);
      r.emplace_back(p + "TopSpeedMph", c.TopSpeed);
      r.emplace_back(p + "BottomSpeedMph", c.BotSpeed);
      r.emplace_back(p + "ActualHp", c.ActualHP);
      r.emplace_back(p + "TimeDeltaSeconds", c.TimeDelta);
      r.emplace_back(p + "PercentDelta", c.PercentDelta);
    }
  } else if (index == test::Parasitics) {
    const ParasiticsResult& pr = parasitics_.ParasiticsResults;
    const ParasiticsOutputs& o = parasitics_.Outputs;
    for (size_t i = 0; i < 5; ++i) {
      const std::string w = "window" + std::to_string(i);
      r.emplace_back(w + "NominalMph", ParasiticsTest::kWindows[i].Nominal);
      r.emplace_back(w + "StopwatchSeconds", pr.StopwatchSeconds[i]);
      r.emplace_back(w + "CoastMs", pr.CoastMs[i]);
      r.emplace_back(w + "LossTorque", pr.LossTorque[i]);
      r.emplace_back(w + "LossHp", pr.LossHP[i]);
    }
    r.emplace_back("coefK", o.CoefK);
    r.emplace_back("coefA", o.CoefA);
    r.emplace_back("coefB", o.CoefB);
    r.emplace_back("losses15MphHp", o.Loss15MphHP);
    r.emplace_back("losses25MphHp", o.Loss25MphHP);
    const float k = ctx_.store.TorqueSpeedFactor;
    const double c0 = o.Coefficients[0], c1 = o.Coefficients[1], c2 = o.Coefficients[2];
    r.emplace_back("losses35MphHp",
                   k != 0.0f ? modMath::evalcurve(c0, c1, c2, 35.0) * 35.0 / k : 0.0);
  }
  return r;
}

bool TestSequencer::RequestStop() {
  if (ctx_.test.CurTest == test::None) return false;
  ctx_.test.TestAbortRequest = true;
  return true;
}

void TestSequencer::RunTestStep(int16_t curTest) {
  if (curTest != running_) {
    // The first step of a new target test: it forgets that its last run ended and takes its name.
    // (The other sequences clear their aborted flags at their own stage 0.)
    switch (curTest) {
      case test::ConstantTarget:
      case test::Asm:
      case test::VehicleSimulation:
        target_.NewRun();
        break;
      default:
        break;
    }
    running_ = curTest;
  }
  switch (curTest) {
    case test::Warmup:
      warmup_.PerformWarmup();
      break;
    case test::Parasitics:
      parasitics_.PerformParasitics();
      break;
    case test::Coastdown:
      coastdown_.PerformCoastdown();
      break;
    case test::ConstantTarget:
    case test::Asm:
    case test::VehicleSimulation:
      target_.PerformTargetTest();
      break;
    default:
      // StartTest does not check the index. A test the server has no sequence for ends at its
      // first step as aborted, instead of holding every later start and the disconnect off.
      if (ctx_.log.DynTst())
        ctx_.log.WriteLog("**** Unknown Test Index[" + std::to_string(curTest) + "] Aborted ****");
      ctx_.test.LastTestCompletionStatus = ltcs::Aborted;
      ctx_.test.CurTest = test::None;
      break;
  }
  if (observed_ != nullptr && observed_ == ctx_.runObserver) {
    observed_->RunSample(ctx_.test.TestStage);
    if (ctx_.test.CurTest == test::None) {
      const SharedTestState& t = ctx_.test;
      const bool completed = t.LastTestCompletionStatus == ltcs::Completed;
      std::string reason;
      if (!completed) {
        reason = (t.TestAbortRequest ? "stopped on request at stage " : "aborted at stage ") +
                 std::to_string(t.TestStage);
        if (ctx_.store.DeviceError()) reason += " (the dyne reported an error)";
      }
      observed_->RunFinished(completed, reason, completed ? Results(curTest) : RunValues{});
      observed_ = nullptr;
    }
  }
  if (ctx_.test.CurTest == test::None) running_ = 0;
}

MainHooks TestSequencer::StartupHooks(KeloContext& ctx) {
  MainHooks hooks;
  hooks.loadCoastdownResults = [&ctx] { return CoastdownResultsStore(ctx).LoadForStartup(); };
  hooks.enterIdleState = [&ctx] { EnterIdleState(ctx); };
  return hooks;
}

void TestSequencer::EnterIdleState(KeloContext& ctx) {
  SharedTestState& t = ctx.test;
  t.CurTest = test::None;
  t.SleepStatus = seqstatus::Finished;
  t.SleepStep = 0;
  t.SleepBusy = false;
  t.LcwsStatus = seqstatus::Finished;
  t.PeakSampleCounter = 999;
  t.PeakSampleIndex = -1;
  const double now = ctx.loop.Now();
  t.TestStartDate = now;
  t.TestEndDate = now;
}

}  // namespace tavkelo
