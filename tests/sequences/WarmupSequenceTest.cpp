// The warm-up test stepped by the poller against a scripted dyne: when the warm-up time starts,
// the four-minute no-rotation rule, stops and device errors, and its log lines.

#include <gtest/gtest.h>

#include "SequenceRig.hpp"
#include "sequences/TestSequencer.hpp"

namespace tavkelo {
namespace {

using test::ScriptedDyne;

class Warmup : public ::testing::Test {
 protected:
  Warmup() : dyne(f), sequencer(*f.ctx) {
    f.ConnectLink();
    f.ctx->store.DyneVersion = 3.12f;
    f.ctx->params.WarmupTimeSeconds = 10;
    // The rolls turn 2 s after "Motor On" (speed rising 1 mph/s from 0.5) and stop with "Motor
    // Off".
    dyne.speedMph = [this](double s) {
      const double on = dyne.FirstTime("J");
      const double off = dyne.FirstTime("K");
      if (on < 0.0 || (off >= 0.0 && s >= off) || s < on + rotationDelayS) return 0.0;
      return std::min(0.5 + (s - on - rotationDelayS), 30.0);
    };
    test::StartPoller(*f.ctx);
  }
  void Start() { test::StartTestLikeTheInterface(*f.ctx, test::Warmup); }
  bool RunToEnd(double limitS) {
    return test::RunUntil(
        f, [this] { return f.ctx->test.CurTest == test::None; }, limitS);
  }

  test::LinkFixture f{8};  // test logging only
  ScriptedDyne dyne;
  TestSequencer sequencer;
  double rotationDelayS = 2.0;
};

TEST_F(Warmup, ExactlyHalfAMileAnHourCountsAsTurning) {
  // The speed jumps to 0.5 and stays there.
  dyne.speedMph = [this](double s) {
    const double on = dyne.FirstTime("J");
    const double off = dyne.FirstTime("K");
    return on >= 0.0 && s >= on + 2.0 && (off < 0.0 || s < off) ? 0.5 : 0.0;
  };
  Start();
  ASSERT_TRUE(RunToEnd(80.0));
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  const double ran = dyne.FirstTime("K") - dyne.FirstSpeedAtOrAbove(0.5);
  EXPECT_GT(ran, 10.0);
  EXPECT_LT(ran, 11.2);
}

TEST_F(Warmup, AStopWhileTheMotorRunsGoesStraightToTheClosingSequence) {
  Start();
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return f.ctx->test.TestStage == 3; }, 30.0));
  f.loop.PumpFor(2000);
  test::StopTestLikeTheInterface(*f.ctx);
  const double stoppedAt = dyne.Seconds();
  ASSERT_TRUE(RunToEnd(30.0));
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  EXPECT_LT(dyne.FirstTime("K") - stoppedAt, 0.5) << "well before the warm-up time is up";
  const auto commands = dyne.Commands();
  const std::vector<std::string> expected = {"J",     "0", "K", "F201=", "2", "0",
                                             "F201=", "B", "I", "S",     "b"};
  ASSERT_EQ(commands.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(commands[i].rfind(expected[i], 0), 0u) << i << " " << commands[i];
}

TEST_F(Warmup, ADeviceErrorBecomesAStopOnTheNextStep) {
  Start();
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return f.ctx->test.TestStage == 3; }, 30.0));
  dyne.statusBits = "0100000010000000";  // motor fault (bit 8)
  ASSERT_TRUE(test::RunUntil(
      f, [this] { return f.ctx->test.TestAbortRequest; }, 5.0, 5));
  EXPECT_EQ(f.ctx->test.TestStage, 3) << "taken on the next step";
  dyne.statusBits = "0100000000000000";
  ASSERT_TRUE(RunToEnd(30.0));
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
}

TEST_F(Warmup, LogsItsParametersStagesAndEveryStep) {
  int steps = 0;
  auto inner = f.ctx->runTestStep;
  f.ctx->runTestStep = [&](int16_t t) {
    ++steps;
    inner(t);
  };
  Start();
  ASSERT_TRUE(RunToEnd(60.0));
  const auto lines = test::LogLinesWithoutStamps(f);
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "**** Warm-Up Parameters ****");
  EXPECT_EQ(lines[1], "           Warm-Up Time: 10 Seconds");
  EXPECT_EQ(f.LogCount("PerformWarmup_B-Case:"), steps);
  EXPECT_TRUE(f.LogContains("PerformWarmup_B-Case:1  bAbort:False"));
  EXPECT_TRUE(
      f.LogContains("** Warm-Up-Stage:000->001  AbortReq:False  Aborted:False  DynError:False"));
  EXPECT_TRUE(
      f.LogContains("** Warm-Up-Stage:004->005  AbortReq:False  Aborted:False  DynError:False"));
  EXPECT_TRUE(f.LogContains("** Warm-Up-Stage:005->999"));
  EXPECT_TRUE(f.LogContains("**** Warm-Up Completed ****\r\n"));
  // The finishing step writes its line too, with the stage it finished at.
  EXPECT_EQ(lines.back(), "PerformWarmup_B-Case:999  bAbort:False");
}

TEST_F(Warmup, WithoutTestLoggingNothingIsWritten) {
  f.host->log.SetLogControlValue(64);  // logging on, no family
  Start();
  ASSERT_TRUE(RunToEnd(60.0));
  EXPECT_EQ(f.LogCount("Warm-Up"), 0);
  EXPECT_EQ(f.LogCount("PerformWarmup"), 0);
}

}  // namespace
}  // namespace tavkelo
