// The warm-up test against the controller simulator: the motor runs just over the set time after
// the rolls first turn; with a motor that cannot drive, the test shows aborted after four minutes
// and goes on waiting until stopped.

#include <gtest/gtest.h>

#include "SequenceRig.hpp"

namespace tavkelo {
namespace {

TEST(SimWarmup, TheMotorRunsJustOverTheSetTimeOnceTheRollsTurn) {
  test::SimRig rig;
  rig.f.ctx->params.WarmupTimeSeconds = 10;
  rig.Connect();
  rig.Start(test::Warmup);
  ASSERT_TRUE(rig.RunToEnd(120.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  const double motorOnS = rig.FirstTime("J"), motorOffS = rig.FirstTime("K");
  ASSERT_GT(motorOnS, 0.0);
  // The set time counts from the first sample at 0.5 mph, which the rolls reach within a second.
  EXPECT_GT(motorOffS - motorOnS, 10.0);
  EXPECT_LT(motorOffS - motorOnS, 12.2);
  EXPECT_LT(rig.sim.SpeedMph(), 0.5) << "braked to rest";
  EXPECT_FALSE(rig.sim.StatusWord() & (1u << status::MotorOn));
  EXPECT_TRUE(rig.f.LogContains("**** Warm-Up Parameters ****\r\n"));
  EXPECT_TRUE(rig.f.LogContains("           Warm-Up Time: 10 Seconds\r\n"));
  EXPECT_TRUE(rig.f.LogContains("**** Warm-Up Completed ****\r\n"));
}

TEST(SimWarmup, AMotorThatCannotTurnTheRollsShowsAbortedAfterFourMinutesAndKeepsWaiting) {
  KeloSimOptions options;
  options.physics.motorMaxForceLbf = 0.0;  // the motor runs but cannot drive the rolls
  test::SimRig rig(options);
  rig.f.ctx->params.WarmupTimeSeconds = 10;
  rig.Connect();
  rig.Start(test::Warmup);
  ASSERT_TRUE(rig.RunUntil([&] { return rig.FirstTime("J") > 0.0; }, 5.0));
  const double motorOnS = rig.FirstTime("J");
  ASSERT_TRUE(rig.RunUntil([&] { return rig.Now() > motorOnS + 239.0; }, 300.0, 500));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::InProgress);
  ASSERT_TRUE(rig.RunUntil([&] { return rig.Now() > motorOnS + 242.0; }, 10.0, 500));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
  EXPECT_EQ(rig.T().CurTest, test::Warmup);
  EXPECT_EQ(rig.T().TestStage, 2);
  rig.f.loop.PumpFor(30000);
  EXPECT_EQ(rig.T().CurTest, test::Warmup) << "still waiting";
  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(60.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
  EXPECT_GT(rig.FirstTime("K"), motorOnS + 242.0);
}

}  // namespace
}  // namespace tavkelo
