// The parasitic-loss test run whole against the controller simulator: the losses it finds are
// the simulator's own loss curve, and a stop during the coast ends it through the remaining
// windows and PutDyneToSleep.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "SimRig.hpp"

namespace tavkelo {
namespace {

TEST(SimParasitics, RecoversTheSimulatorsLossCurveAt15And25Mph) {
  KeloSimOptions options;
  options.physics.loss = LossCurve{0.0, 0.05, 0.0012, 0.00002};
  test::SimRig rig(options);
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunToEnd(400.0));
  ASSERT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  const ReadingsStore& s = rig.f.ctx->store;
  for (auto [mph, device] : {std::pair{15.0, s.Losses15Mph}, std::pair{25.0, s.Losses25Mph}}) {
    const double truth = options.physics.loss.PowerHp(mph);
    const double found = device / 74.57;
    ::testing::Test::RecordProperty(
        mph == 15.0 ? "loss15" : "loss25",
        std::to_string(found) + " HP found, " + std::to_string(truth) + " HP true");
    EXPECT_NEAR(found, truth, 0.03 * truth) << mph;
  }
}

TEST(SimParasitics, FitsTheLeastSquaresQuadraticThroughTheMeasuredLossTorques) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunToEnd(400.0));
  const ParasiticsResult& r = rig.sequencer.Parasitics().ParasiticsResults;
  // Normal equations of the 3x3 system, solved here by Cramer's rule in long double.
  long double s[5] = {}, t[3] = {};
  for (size_t i = 0; i < 5; ++i) {
    long double x = r.NominalSpeed[i], p = 1;
    for (int k = 0; k < 5; ++k, p *= x) s[k] += p;
    for (int k = 0; k < 3; ++k) t[k] += std::pow(x, static_cast<long double>(k)) * r.LossTorque[i];
  }
  auto det = [](long double a, long double b, long double c, long double d, long double e,
                long double f, long double g, long double h, long double i) {
    return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g);
  };
  const long double d = det(s[0], s[1], s[2], s[1], s[2], s[3], s[2], s[3], s[4]);
  const long double c0 = det(t[0], s[1], s[2], t[1], s[2], s[3], t[2], s[3], s[4]) / d;
  const long double c1 = det(s[0], t[0], s[2], s[1], t[1], s[3], s[2], t[2], s[4]) / d;
  const long double c2 = det(s[0], s[1], t[0], s[1], s[2], t[1], s[2], s[3], t[2]) / d;
  const auto& c = rig.sequencer.Parasitics().Outputs.Coefficients;
  EXPECT_NEAR(c[0], static_cast<double>(c0), 1e-9 * std::fabs(static_cast<double>(c0)));
  EXPECT_NEAR(c[1], static_cast<double>(c1), 1e-9 * std::fabs(static_cast<double>(c1)));
  EXPECT_NEAR(c[2], static_cast<double>(c2), 1e-9 * std::fabs(static_cast<double>(c2)));
  // The device words describe the simulator's curve term by term (HP at 50 mph x 74.57).
  const LossCurve loss = rig.sim.Options().physics.loss;
  const ParasiticsOutputs& o = rig.sequencer.Parasitics().Outputs;
  EXPECT_NEAR(o.Var51, loss.b * 50 * 74.57, 0.03 * loss.b * 50 * 74.57);
  EXPECT_NEAR(o.Var52, loss.c * 2500 * 74.57, 0.03 * loss.c * 2500 * 74.57);
  EXPECT_NEAR(o.Var53, loss.d * 125000 * 74.57, 0.05 * loss.d * 125000 * 74.57);
}

TEST(SimParasitics, AStopDuringTheCoastRunsTheRemainingWindowsSleepsAndEndsAborted) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunUntil(
      [&] { return rig.f.ctx->test.TestPass == 3 && rig.f.ctx->test.TestStage == 12; }, 200.0, 5));
  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(300.0));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  // All five windows were armed on the one coast; the one cut short by the stop (25-21 mph) was
  // not read back. Then PutDyneToSleep.
  std::vector<std::string> expected = {"b", "0", "J", "K"};
  for (auto [top, bottom] : {std::pair{"30.0", "26.0"},
                             {"25.0", "21.0"},
                             {"20.0", "16.0"},
                             {"15.0", "11.0"},
                             {"10.0", "6.0"}}) {
    for (const std::string& c :
         {std::string("I"), std::string("F207=") + top + " mph",
          std::string("F208=") + bottom + " mph", std::string("H"), std::string("E227")}) {
      if (!(c == "E227" && std::string(top) == "25.0")) expected.push_back(c);
    }
  }
  for (const char* c : {"0", "K", "F201=", "2", "0", "F201=", "B", "I", "S", "b"})
    expected.push_back(c);
  const auto commands = rig.Commands();
  ASSERT_EQ(commands.size(), expected.size()) << ::testing::PrintToString(commands);
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(commands[i].rfind(expected[i], 0), 0u) << i << ": " << commands[i];
  }
  EXPECT_EQ(rig.sequencer.Parasitics().ParasiticsResults.CoastMs[3], 0.0f)
      << "its bottom was never crossed";
  EXPECT_EQ(std::count(commands.begin(), commands.end(), "K"), 2)
      << "once after the hold, once to sleep";
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  EXPECT_EQ(rig.f.ctx->store.ParasiticLossA, 0.0f) << "no results from an aborted test";
  EXPECT_TRUE(rig.f.LogContains("**** Parasitics Aborted ****"));
}

TEST(SimParasitics, AStopDuringTheRunUpSwitchesTheMotorOffAndStillEnds) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Parasitics);
  ASSERT_TRUE(rig.RunUntil([&] { return rig.f.ctx->test.TestStage == 5; }, 60.0, 5));
  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(300.0)) << "the test must not wait for ever with the motor on";
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  const auto commands = rig.Commands();
  ASSERT_GE(commands.size(), 4u);
  EXPECT_EQ(commands[3], "K") << "the motor goes off as the stop is taken";
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
}

}  // namespace
}  // namespace tavkelo
