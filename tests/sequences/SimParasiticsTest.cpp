// The parasitic-loss test run whole against the controller simulator: the losses it finds are
// the simulator's own loss curve, its log is the golden one, and a stop during the coast ends it
// through the remaining windows and PutDyneToSleep.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "SequenceRig.hpp"

namespace tavkelo {
namespace {

TEST(SimParasitics, RecoversTheSimulatorsLossCurveAndWritesTheGoldenLog) {
  KeloSimOptions options;
  options.physics.loss = LossCurve{0.0, 0.05, 0.0012, 0.00002};
  test::SimRig rig(options);
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunToEnd(400.0));
  ASSERT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  test::ExpectGoldenLog(rig.f, "parasitics.log");
  const LossCurve& loss = options.physics.loss;
  const ReadingsStore& s = rig.f.ctx->store;
  for (auto [mph, device] : {std::pair{15.0, s.Losses15Mph}, std::pair{25.0, s.Losses25Mph}}) {
    EXPECT_NEAR(device / 74.57, loss.PowerHp(mph), 0.03 * loss.PowerHp(mph)) << mph;
    std::printf("loss at %.0f mph: recovered %.4f HP, simulator's curve %.4f HP (%+.2f%%)\n", mph,
                device / 74.57, loss.PowerHp(mph),
                (device / 74.57 / loss.PowerHp(mph) - 1.0) * 100.0);
  }
  const ParasiticsOutputs& o = rig.sequencer.Parasitics().Outputs;
  // The device words describe the simulator's curve term by term (HP at 50 mph x 74.57).
  EXPECT_NEAR(o.Var51, loss.b * 50 * 74.57, 0.03 * loss.b * 50 * 74.57);
  EXPECT_NEAR(o.Var52, loss.c * 2500 * 74.57, 0.03 * loss.c * 2500 * 74.57);
  EXPECT_NEAR(o.Var53, loss.d * 125000 * 74.57, 0.05 * loss.d * 125000 * 74.57);
}

TEST(SimParasitics, AStopDuringTheCoastRunsTheRemainingWindowsSleepsAndEndsAborted) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(
      rig.RunUntil([&] { return rig.T().TestPass == 3 && rig.T().TestStage == 12; }, 200.0, 5));
  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(300.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
  // All five windows were armed on the one coast; the one cut short by the stop (25-21 mph) was
  // not read back. Then PutDyneToSleep, with the motor going off a second time.
  std::vector<std::string> expected = {"b", "0", "J", "K"};
  for (auto [top, bottom] : {std::pair<std::string, std::string>{"30.0", "26.0"},
                             {"25.0", "21.0"},
                             {"20.0", "16.0"},
                             {"15.0", "11.0"},
                             {"10.0", "6.0"}}) {
    expected.insert(expected.end(), {"I", "F207=" + top + " mph", "F208=" + bottom + " mph", "H"});
    if (top != "25.0") expected.push_back("E227");
  }
  expected.insert(expected.end(), {"0", "K", "F201=", "2", "0", "F201=", "B", "I", "S", "b"});
  test::ExpectCommands(rig.Commands(), expected);
  EXPECT_EQ(rig.sequencer.Parasitics().ParasiticsResults.CoastMs[3], 0.0f)
      << "its bottom was never crossed";
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  EXPECT_EQ(rig.f.ctx->store.ParasiticLossA, 0.0f) << "no results from an aborted test";
  EXPECT_TRUE(rig.f.LogContains("**** Parasitics Aborted ****"));
}

}  // namespace
}  // namespace tavkelo
