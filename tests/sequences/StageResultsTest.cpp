// The result rules of the parasitic-loss and coastdown tests at their exact boundaries, stepped
// directly (no device: commands that cannot be put are simply not awaited).

#include <gtest/gtest.h>

#include "SequenceRig.hpp"

namespace tavkelo {
namespace {

class StageResults : public ::testing::Test {
 protected:
  StageResults() {
    f.ctx->params.InstallDefaults();  // coastdown high window 30 -> 20 mph at 8 HP
    ReadingsStore& s = f.ctx->store;
    s.BaseInertia = 2000.0f;
    s.RollDiameter = 8.555f;
    s.TorqueSpeedFactor = static_cast<float>(8.555 * 989978.64876768 / 63360.0);
  }
  // Takes `index` through its stage 0 (windows loaded, results cleared).
  void StageZero(int16_t index) {
    rig.Start(index);
    rig.sequencer.RunTestStep(index);
    ASSERT_EQ(rig.T().TestStage, 1);
  }

  test::Rig rig;
  test::LinkFixture& f = rig.f;
};

struct TimeCase {
  int16_t test;
  float stopwatch;  // the device's time, s
  float coastMs;    // the server's own, between its crossing marks
  double seconds;   // the time the window's result is computed from
};

class TimeChoice : public StageResults, public ::testing::WithParamInterface<TimeCase> {};

// The server's time replaces the stopwatch only when longer by more than 4 s (parasitics, its
// 30-26 mph window) or 1.5 s (coastdown, its high window), and never when a second or less.
TEST_P(TimeChoice, TheServerTimeReplacesTheStopwatchOnlyWhenLongerByTheMargin) {
  const TimeCase& c = GetParam();
  StageZero(c.test);
  if (c.test == test::Parasitics) {
    ParasiticsResult& r = rig.sequencer.Parasitics().ParasiticsResults;
    r.StopwatchSeconds = {8.0f, 8.0f, 8.0f, 8.0f, c.stopwatch};
    r.CoastMs[4] = c.coastMs;
    rig.T().TestStage = 17;
    rig.sequencer.RunTestStep(test::Parasitics);
    ASSERT_EQ(rig.T().TestStage, 999);
    const double hp = c.seconds > 0.0 ? test::CoastPowerHp(30.0, 26.0, c.seconds, 2000.0) : 0.0;
    EXPECT_NEAR(r.LossHP[4], hp, 1e-5 * hp + 1e-9);
  } else {
    f.ctx->store.StopWatch1 = c.stopwatch;
    f.ctx->results.Coastdown[1].CoastMs = static_cast<int32_t>(c.coastMs);
    rig.sequencer.Coastdown().ComputeWindowResult(1);
    EXPECT_FLOAT_EQ(f.ctx->results.Coastdown[1].ACDT, static_cast<float>(c.seconds));
    EXPECT_EQ(f.ctx->results.Coastdown[1].Stopwatch, c.stopwatch);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Margins, TimeChoice,
    ::testing::Values(TimeCase{test::Parasitics, 10.5f, 14500.0f, 10.5},  // longer by exactly 4 s
                      TimeCase{test::Parasitics, 10.5f, 14501.0f, 14.501},
                      TimeCase{test::Parasitics, 10.5f, 3000.0f, 10.5},
                      TimeCase{test::Parasitics, 10.5f, 0.0f, 10.5},  // no crossing marks
                      TimeCase{test::Parasitics, 0.0f, 9000.0f, 9.0},
                      TimeCase{test::Parasitics, 0.0f, 800.0f, 0.0},
                      TimeCase{test::Coastdown, 10.5f, 12000.0f, 10.5},  // longer by exactly 1.5 s
                      TimeCase{test::Coastdown, 10.5f, 12001.0f, 12.001},
                      TimeCase{test::Coastdown, 10.5f, 9000.0f, 10.5},
                      TimeCase{test::Coastdown, 10.5f, 0.0f, 10.5},
                      TimeCase{test::Coastdown, 0.0f, 7600.0f, 7.6},
                      TimeCase{test::Coastdown, 0.0f, 900.0f, 0.0}));

TEST_F(StageResults, AZeroCalculatedCoastdownTimeMakesAllOfTheActualTimeDeviation) {
  StageZero(test::Coastdown);
  f.ctx->params.CoastdownHi.LoadHP = 0.0f;
  f.ctx->store.StopWatch1 = 7.0f;
  CoastdownResult& hi = f.ctx->results.Coastdown[1];
  rig.sequencer.Coastdown().ComputeWindowResult(1);
  EXPECT_EQ(hi.CCDT, 0.0f);
  EXPECT_EQ(hi.TimeDelta, 7.0f);
  EXPECT_EQ(hi.PercentDelta, 100.0f);
  EXPECT_TRUE(hi.Run) << "the run goes on";
  f.ctx->store.StopWatch1 = 0.0f;
  rig.sequencer.Coastdown().ComputeWindowResult(1);
  EXPECT_EQ(hi.PercentDelta, 0.0f);
}

TEST_F(StageResults, TheCoastdownPowerAveragesTheLastFifteenSamplesWithin0_75MphOfTheMiddle) {
  StageZero(test::Coastdown);
  SharedTestState& t = rig.T();
  auto at = [&](float mph, float hp) {
    f.ctx->store.PreviousDyneSpeed = f.ctx->store.DyneSpeed;
    f.ctx->store.DyneSpeed = mph;
    f.ctx->store.DynePower = hp;
    rig.sequencer.RunTestStep(test::Coastdown);
  };
  auto finishWindow = [&] {
    t.TestStage = 20;
    rig.sequencer.RunTestStep(test::Coastdown);
  };
  t.TestStage = 12;  // a fresh average, then the high window's coast (middle 25 mph)
  rig.sequencer.RunTestStep(test::Coastdown);
  for (auto [mph, hp] : {std::pair{27.0f, 100.0f},
                         {25.76f, 100.0f},
                         {25.75f, 6.0f},
                         {25.0f, 7.0f},
                         {24.25f, 8.0f},
                         {24.24f, 100.0f},
                         {19.0f, 100.0f}})
    at(mph, hp);
  EXPECT_EQ(t.TestStage, 13) << "within 1 mph under the low speed the window goes on";
  at(18.9f, 100.0f);
  EXPECT_EQ(t.TestStage, 14);
  finishWindow();
  EXPECT_FLOAT_EQ(f.ctx->results.Coastdown[1].ActualHP, 7.0f);
  EXPECT_EQ(t.TestStage, 2) << "on to the low window";
  t.TestStage = 12;  // of twenty samples 1..20 at the low window's middle the last fifteen count
  rig.sequencer.RunTestStep(test::Coastdown);
  for (int i = 1; i <= 20; ++i) at(15.0f, static_cast<float>(i));
  at(8.9f, 0.0f);
  finishWindow();
  EXPECT_FLOAT_EQ(f.ctx->results.Coastdown[2].ActualHP, 13.0f);
}

}  // namespace
}  // namespace tavkelo
