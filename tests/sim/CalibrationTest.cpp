// The load cell and the wheel scales through a calibration, judged by what the host would read.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

// lbf at the roll surface to ft-lb for 8.555 in rolls, as the host converts.
const double kRollFactor = 8.555 * 989978.64876768 / 63360.0;
double FtLb(double lbf) { return lbf * kRollFactor / 375.0; }

double TorqueLbf(SimBench& bench) { return GroupValue(bench.Ask(GetVariable("231"))); }
double Display(SimBench& bench, const char* number) { return GroupValue(bench.Ask(GetVariable(number))); }

// Auto offset on: the reading must be inside ±0.05 ft-lb within a few seconds and stay there.
void SettleOffset(SimBench& bench) {
  ASSERT_EQ(bench.Exchange(Action('T')), kAck);
  bench.Run(4000);
  for (int i = 0; i < 6; ++i) {
    EXPECT_LE(std::fabs(FtLb(TorqueLbf(bench))), 0.05);
    bench.Run(1000);
  }
  ASSERT_EQ(bench.Exchange(Action('U')), kAck);
}

TEST(SimLoadCell, ACalibrationAsTheWizardRunsItEndsWithTheRightGain) {
  SimBench bench;
  DynePlant& plant = bench.controller.Plant();
  const double calLbf = bench.controller.VariableValue(88).value() / 10.0 / 4.4482197761535645;

  // Zero point with nothing on the cell.
  bench.Exchange(Action('U'));
  bench.Exchange(Action('L'));
  EXPECT_NEAR(TorqueLbf(bench), 0.0, 0.05);

  // The device with its tray: ready band of the "connect devices" prompt.
  plant.ConnectCalibrationDevice(true);
  const double withDevice = FtLb(TorqueLbf(bench));
  EXPECT_GE(withDevice, 20.0);
  EXPECT_LE(withDevice, 70.0);
  SettleOffset(bench);

  // Three weights: close to the expected torque but visibly off before the calibration.
  plant.PlaceCalibrationWeights(3);
  const double before = TorqueLbf(bench);
  EXPECT_NEAR(FtLb(before), FtLb(calLbf), 25.0);
  EXPECT_GT(std::fabs(before - calLbf), 1.0);
  ASSERT_EQ(bench.Exchange(Action('M')), kAck);
  EXPECT_NEAR(TorqueLbf(bench), calLbf, 0.051);

  plant.PlaceCalibrationWeights(0);
  EXPECT_LE(FtLb(TorqueLbf(bench)), 25.0);
  SettleOffset(bench);
  plant.PlaceCalibrationWeights(3);
  EXPECT_NEAR(TorqueLbf(bench), calLbf, 0.051);
  EXPECT_EQ(bench.Exchange(Action('N')), kAck);
  plant.PlaceCalibrationWeights(5);
  EXPECT_NEAR(TorqueLbf(bench), calLbf * 5.0 / 3.0, 0.051);

  // Everything off: the device's weight shows negative until the offset is taken again.
  plant.PlaceCalibrationWeights(0);
  plant.ConnectCalibrationDevice(false);
  EXPECT_LE(FtLb(TorqueLbf(bench)), 75.0);
  EXPECT_LT(TorqueLbf(bench), -10.0);
  SettleOffset(bench);
  EXPECT_EQ(bench.Exchange(Action('V')), kAck);
}

TEST(SimLoadCell, AmplificationIsRefusedWithoutALoad) {
  SimBench bench;
  bench.Exchange(Action('L'));
  const double before = bench.controller.Plant().GetLoadCell().Gain();
  EXPECT_EQ(bench.Exchange(Action('M')), kNak);
  EXPECT_EQ(bench.controller.Plant().GetLoadCell().Gain(), before);
}

TEST(SimLoadCell, StartsMiscalibrated) {
  SimBench bench;
  // Nothing on the cell, yet it shows a force; with three weights it shows them wrongly.
  EXPECT_GT(std::fabs(TorqueLbf(bench)), 1.0);
  bench.Exchange(Action('L'));
  bench.controller.Plant().ConnectCalibrationDevice(true);
  SettleOffset(bench);
  bench.controller.Plant().PlaceCalibrationWeights(3);
  const double calLbf = bench.controller.VariableValue(88).value() / 10.0 / 4.4482197761535645;
  EXPECT_GT(std::fabs(TorqueLbf(bench) - calLbf), 1.0);
}

TEST(SimLoadCell, NoiseIsReproducibleFromItsSeed) {
  auto readings = [](unsigned seed) {
    KeloSimOptions options;
    options.physics.loadCell.noiseLbf = 0.5;
    options.physics.loadCell.noiseSeed = seed;
    SimBench bench(options);
    std::vector<double> values;
    for (int i = 0; i < 20; ++i) values.push_back(TorqueLbf(bench));
    return values;
  };
  const auto first = readings(7);
  EXPECT_EQ(first, readings(7));
  EXPECT_NE(first, readings(8));
  const auto [lo, hi] = std::minmax_element(first.begin(), first.end());
  EXPECT_GT(*hi - *lo, 0.2);
  EXPECT_LE(*hi - *lo, 1.0);
}

struct ScaleCase {
  ScaleSide side;
  const char* weightVariable;
  const char* scaleVariable;
};

class SimScales : public ::testing::TestWithParam<ScaleCase> {};

TEST_P(SimScales, TheWeightScaleCalibrationFixesTheAmplificationScale) {
  SimBench bench;
  DynePlant& plant = bench.controller.Plant();
  const ScaleCase& c = GetParam();
  const double nominal = 440.8;

  // The empty device on the scale is the offset.
  plant.ConnectScaleDevice(c.side, true);
  const double offset = Display(bench, c.weightVariable);
  EXPECT_GE(offset, 50.0);
  EXPECT_LE(offset, 65.0);

  // Five weights: before the calibration the scale is visibly off.
  plant.PlaceScaleWeights(c.side, 5);
  const double loaded = Display(bench, c.weightVariable) - offset;
  EXPECT_GT(std::fabs(loaded - nominal), 5.0);

  const double scale = bench.controller.VariableValue(static_cast<uint8_t>(std::atoi(c.scaleVariable))).value();
  const double newScale = nominal / loaded * scale;
  ASSERT_EQ(bench.Exchange(WriteVariable("000", "4127.00")), kAck);
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", newScale);
  ASSERT_EQ(bench.Exchange(WriteVariable(c.scaleVariable, text)), kAck);

  // Now the five weights read their nominal load over the device (whose own reading has moved
  // with the scale), and a wheel reads its true weight.
  plant.PlaceScaleWeights(c.side, 0);
  const double newOffset = Display(bench, c.weightVariable);
  plant.PlaceScaleWeights(c.side, 5);
  EXPECT_NEAR(Display(bench, c.weightVariable) - newOffset, nominal, 1.5);
  plant.PlaceScaleWeights(c.side, 0);
  plant.ConnectScaleDevice(c.side, false);
  plant.SetScaleLoad(c.side, 800.0);
  EXPECT_NEAR(Display(bench, c.weightVariable), 800.0, 2.5);
}

INSTANTIATE_TEST_SUITE_P(BothSides, SimScales,
                         ::testing::Values(ScaleCase{ScaleSide::Left, "217", "061"},
                                           ScaleCase{ScaleSide::Right, "216", "059"}),
                         [](const auto& info) { return info.param.side == ScaleSide::Left ? "Left" : "Right"; });

TEST(SimScales, TotalWeightIsBothSides) {
  SimBench bench;
  bench.controller.Plant().SetScaleLoad(ScaleSide::Left, 700.0);
  bench.controller.Plant().SetScaleLoad(ScaleSide::Right, 650.0);
  const double left = Display(bench, "217"), right = Display(bench, "216");
  EXPECT_GT(left, 0.0);
  EXPECT_NEAR(Display(bench, "238"), left + right, 1.0);
}

}  // namespace
}  // namespace tavkelo::test
