// Boundaries that the simulator cannot produce, against a scripted dyne stepped by the poller:
// a speed of exactly 0.5 mph, a dip under 32 mph during the hold, a device error during the coast;
// and PutDyneToSleep step by step.

#include <gtest/gtest.h>

#include <algorithm>

#include "SequenceRig.hpp"

namespace tavkelo {
namespace {

class Scripted : public ::testing::Test {
 protected:
  Scripted() {
    ReadingsStore& s = rig.f.ctx->store;
    s.DyneVersion = 3.12f;
    s.BaseInertia = 2000.0f;
    s.RollDiameter = 8.555f;
    s.TorqueSpeedFactor = static_cast<float>(8.555 * 989978.64876768 / 63360.0);
    rig.f.ctx->params.WarmupTimeSeconds = 10;
    rig.variables = {{227, "8.000 s"}};  // every window's stopwatch
    // Up at 5 mph/s to 33 mph after "Motor On", a dip to 31 mph from 8 to 9 s after it, and a
    // coast at 0.5 mph/s from "Motor Off".
    rig.speedMph = [this](double s) {
      const double on = rig.FirstTime("J"), off = rig.FirstTime("K");
      if (on < 0.0) return 0.0;
      if (off >= 0.0 && s >= off) return std::max(0.0, 33.0 - 0.5 * (s - off));
      return s - on >= 8.0 && s - on < 9.0 ? 31.0 : std::min(33.0, 5.0 * (s - on));
    };
    rig.StartPoller();
  }

  test::ScriptedRig rig;
};

TEST_F(Scripted, ExactlyHalfAMileAnHourCountsAsTurningForTheWarmup) {
  rig.speedMph = [this](double s) {  // 0.5 mph from 2 s after "Motor On" until "Motor Off"
    const double on = rig.FirstTime("J"), off = rig.FirstTime("K");
    return on >= 0.0 && s >= on + 2.0 && (off < 0.0 || s < off) ? 0.5 : 0.0;
  };
  rig.Start(test::Warmup);
  ASSERT_TRUE(rig.RunToEnd(80.0)) << "not waiting for rotation";
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  const double ran = rig.FirstTime("K") - (rig.FirstTime("J") + 2.0);
  EXPECT_GT(ran, 10.0);
  EXPECT_LT(ran, 11.2);
}

TEST_F(Scripted, FallingUnder32MphDuringTheHoldStartsTheFourSecondsAgain) {
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunUntil([this] { return rig.FirstTime("K") > 0.0; }, 60.0));
  const double backAbove = rig.FirstTime("J") + 9.0;
  EXPECT_GE(rig.FirstTime("K") - backAbove, 4.0);
  EXPECT_LT(rig.FirstTime("K") - backAbove, 5.0);
  EXPECT_TRUE(rig.f.LogContains("** PerformParasitics-Stage:005->004"));
}

TEST_F(Scripted, ADeviceErrorDuringTheCoastStopsTheParasiticsTestLikeAStopRequest) {
  rig.Start(test::Parasitics);
  ASSERT_TRUE(
      rig.RunUntil([this] { return rig.T().TestPass == 2 && rig.T().TestStage == 12; }, 200.0, 5));
  rig.statusBits = "0100001000000000";  // device error bit 6
  ASSERT_TRUE(rig.RunUntil([this] { return rig.T().TestAbortRequest; }, 5.0, 5));
  EXPECT_EQ(rig.T().TestStage, 12) << "the request is taken on the next step";
  rig.statusBits = "0100000000000000";
  ASSERT_TRUE(rig.RunToEnd(300.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
  EXPECT_TRUE(rig.f.LogContains("DynErr:True"));
}

// PutDyneToSleep after the test started (1 to 3 brake to rest; 4 to 6 do not), one step at a
// time without the poller.
class SleepAfterTest : public ::testing::TestWithParam<std::pair<int16_t, bool>> {};

TEST_P(SleepAfterTest, SendsOneCommandPerStepAndBrakesOnlyAfterTestsOneToThree) {
  const auto [startedTest, brakes] = GetParam();
  test::ScriptedRig rig;
  SharedTestState& t = rig.T();
  rig.Start(startedTest);
  t.SleepStep = 0;
  t.SleepStatus = seqstatus::Running;
  rig.f.ctx->store.DyneSpeed = 12.0f;
  for (int step = 0; step < 40 && t.SleepStatus != seqstatus::Finished; ++step) {
    if (t.SleepStep == 5 && step > 20) rig.f.ctx->store.DyneSpeed = 0.4f;  // the rolls at rest
    const int16_t before = t.SleepStep;
    const size_t sent = rig.Commands().size();
    rig.sequencer.Sleep().PutDyneToSleep();
    rig.f.loop.PumpFor(30);
    EXPECT_LE(rig.Commands().size() - sent, 1u) << "one command per step";
    if (before == 5 && rig.f.ctx->store.DyneSpeed >= 0.5f) {
      EXPECT_EQ(rig.Commands().size(), sent) << "waits for rest";
    }
  }
  EXPECT_EQ(t.SleepStatus, seqstatus::Finished);
  std::vector<std::string> expected = {"0", "K"};
  if (brakes) expected.insert(expected.end(), {"F201=", "2", "0", "F201="});
  expected.insert(expected.end(), {"B", "I", "S", "b"});
  test::ExpectCommands(rig.Commands(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    StartedTests, SleepAfterTest,
    ::testing::Values(std::pair{test::Warmup, true}, std::pair{test::Parasitics, true},
                      std::pair{test::Coastdown, true}, std::pair{test::ConstantTarget, false},
                      std::pair{test::Asm, false}, std::pair{test::VehicleSimulation, false}));

TEST(Sleep, WaitsForTheMotorToStopOnlyWhileTheReadingsRun) {
  test::ScriptedRig rig;
  SharedTestState& t = rig.T();
  rig.Start(test::Parasitics);  // the readings running
  t.SleepStatus = seqstatus::Running;
  rig.f.ctx->store.DyneStatusBits[status::MotorOn] = true;
  for (int i = 0; i < 5; ++i) rig.sequencer.Sleep().PutDyneToSleep();
  EXPECT_EQ(t.SleepStep, 2) << "\"0\" and \"K\" sent, then waiting";
  rig.f.ctx->polling.SetReadingsActive(false);  // the motor bit is not fresh: no waiting
  rig.sequencer.Sleep().PutDyneToSleep();
  EXPECT_EQ(t.SleepStep, 3);
}

}  // namespace
}  // namespace tavkelo
