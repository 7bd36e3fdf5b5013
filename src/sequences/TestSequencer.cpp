#include "sequences/TestSequencer.hpp"

#include "link/KeloContext.hpp"

namespace tavkelo {

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
  ctx_.polling.SetReadingsActive(true);
  t.TestAbortRequest = false;
  t.TestCommandPending = false;
  t.StartedTestIndex = index;
  t.CurTest = index;
  t.LastTestCompletionStatus = ltcs::InProgress;
  t.TestStage = 0;
  t.TestStageLogged = 0;
  return true;
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
