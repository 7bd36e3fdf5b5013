#include "sequences/WarmupTest.hpp"

#include <exception>

#include "link/KeloContext.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/DyneSleepSequence.hpp"

namespace tavkelo {

void WarmupTest::PerformWarmup() {
  RunStep("PerformWarmup", [this] { Step(); });
}

void WarmupTest::Step() {
  SharedTestState& t = ctx_.test;
  const ReadingsStore& s = ctx_.store;
  t.TestCommandPending = false;

  // A stop request is taken once; before the closing stages it goes straight to them.
  if (t.TestAbortRequest) {
    if (!aborted_) {
      aborted_ = true;
      if (t.TestStage < 4) t.TestStage = 4;
    }
  } else if (s.DeviceError()) {
    t.TestAbortRequest = true;
  }

  if (t.TestStage != t.TestStageLogged && TestLogging()) {
    TestLog("** Warm-Up-Stage:" + VbFormat(static_cast<int>(t.TestStageLogged), "000") + "->" +
            VbFormat(static_cast<int>(t.TestStage), "000") +
            "  AbortReq:" + BoolText(t.TestAbortRequest) + "  Aborted:" + BoolText(aborted_) +
            "  DynError:" + BoolText(s.DeviceError()));
    t.TestStageLogged = t.TestStage;
  }

  auto advance = [&t] { t.TestStage = static_cast<int16_t>(t.TestStage + 1); };
  switch (t.TestStage) {
    case 0:
      aborted_ = false;
      TestLog("**** Warm-Up Parameters ****\r\n           Warm-Up Time: " +
              VbFormat(static_cast<int>(ctx_.params.WarmupTimeSeconds), "0") + " Seconds");
      advance();
      break;
    case 1:
      mark1Ms_ = ctx_.Tick();
      SendTestCommand(cmd::MotorOn);
      advance();
      break;
    case 2:
      if (s.DyneSpeed < 0.5f) {
        // Still standing: after four minutes the test shows itself aborted but keeps waiting.
        mark2Ms_ = ctx_.Tick();
        if (TickDiff(mark2Ms_, mark1Ms_) > kNoRotationMs)
          t.LastTestCompletionStatus = ltcs::Aborted;
      } else {
        mark1Ms_ = ctx_.Tick();
        advance();
      }
      break;
    case 3:
      mark2Ms_ = ctx_.Tick();
      if (static_cast<int64_t>(TickDiff(mark2Ms_, mark1Ms_)) >
          static_cast<int64_t>(ctx_.params.WarmupTimeSeconds) * 1000) {
        advance();
      }
      break;
    case 4:
      t.SleepStep = 0;
      t.SleepStatus = seqstatus::Running;
      advance();
      break;
    case 5:
      if (t.SleepStatus == seqstatus::Finished) {
        t.TestStage = 999;
      } else {
        sleep_.PutDyneToSleep();
      }
      break;
    default:  // 6 and up: finish
      if (aborted_) {
        TestLog("**** Warm-Up Aborted ****");
        t.LastTestCompletionStatus = ltcs::Aborted;
      } else {
        TestLog("**** Warm-Up Completed ****");
        t.LastTestCompletionStatus = ltcs::Completed;
      }
      t.CurTest = test::None;
      break;
  }

  TestLog("PerformWarmup_B-Case:" + std::to_string(t.TestStage) + "  bAbort:" + BoolText(aborted_));
}

}  // namespace tavkelo
