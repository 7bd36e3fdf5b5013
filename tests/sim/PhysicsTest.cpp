// The rolls judged against closed forms: coasts, regulated coasts, the stop watch, the motor,
// braking, the vehicle simulation and the slow things (lifts, distance, temperatures).

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

constexpr double kFtPerMph = 5280.0 / 3600.0;
constexpr double kG = 32.174;

// Base inertia 907 kg as the equivalent weight the controller simulates.
constexpr double kBaseKg = 907.0;
constexpr double kBaseLb = kBaseKg * 2.20462;

// Time (s) to coast from v1 to v2 mph when the loss power is hp(v): dt = m v dv / (550 P(v)),
// integrated with Simpson's rule.
double CoastSeconds(double v1Mph, double v2Mph, const std::function<double(double)>& hp) {
  const int n = 4000;
  const double a = v2Mph * kFtPerMph, b = v1Mph * kFtPerMph, h = (b - a) / n;
  const double mass = kBaseLb / kG;
  auto f = [&](double v) { return mass * v / (550.0 * hp(v / kFtPerMph)); };
  double sum = f(a) + f(b);
  for (int i = 1; i < n; ++i) sum += f(a + i * h) * (i % 2 ? 4.0 : 2.0);
  return sum * h / 3.0;
}

// The speed trajectory of the rolls, one sample per integration step.
struct Trajectory {
  std::vector<std::pair<double, double>> samples;  // (s, mph)
  // When the speed first fell through mph (linear between samples), or -1.
  double FallThrough(double mph) const {
    for (size_t i = 1; i < samples.size(); ++i) {
      auto [t0, v0] = samples[i - 1];
      auto [t1, v1] = samples[i];
      if (v0 > mph && v1 <= mph) return t0 + (v0 - mph) / (v0 - v1) * (t1 - t0);
    }
    return -1.0;
  }
};

KeloSimOptions Options(double topSpeedMph = 40.0) {
  KeloSimOptions options;
  options.setup[6] = kBaseKg;
  options.physics.motorTopSpeedMph = topSpeedMph;
  return options;
}

// Spins the rolls up with the motor to above `mph` and holds them there a moment.
void SpinUp(SimBench& bench, double mph) {
  ASSERT_EQ(bench.Exchange(Action('J')), kAck);
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() > mph; }, 120'000));
  bench.Run(2000);
}

// Reads stop watch 1 through the wire, as the host does.
double StopWatchOverTheWire(SimBench& bench) { return GroupValue(bench.Ask(GetVariable("227"))); }

TEST(SimPhysics, AFreeCoastTakesWindowByWindowWhatTheLossCurveAndInertiaGive) {
  SimBench bench(Options());
  Trajectory trajectory;
  SpinUp(bench, 33.0);
  bench.controller.Plant().SetStepObserver([&](double t, double mph) { trajectory.samples.emplace_back(t, mph); });
  ASSERT_EQ(bench.Exchange(Action('K')), kAck);
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 5.0; }, 600'000));

  const LossCurve loss = bench.controller.Options().physics.loss;
  const double windows[][2] = {{30, 26}, {25, 21}, {20, 16}, {15, 11}, {10, 6}};
  for (const auto& w : windows) {
    const double expected = CoastSeconds(w[0], w[1], [&](double v) { return loss.PowerHp(v); });
    const double actual = trajectory.FallThrough(w[1]) - trajectory.FallThrough(w[0]);
    EXPECT_NEAR(actual, expected, expected * 0.005) << w[0] << "-" << w[1] << " mph";
  }
}

TEST(SimPhysics, ACoastWithTheAsmRegulatorTakesTheTimeOfTheSetPower) {
  for (double hp : {6.0, 10.0, 20.0}) {
    SimBench bench(Options(40.0));
    ASSERT_EQ(bench.Exchange(WriteVariable("228", std::to_string(hp).substr(0, 4) + " Hp")), kAck);
    ASSERT_EQ(bench.Exchange(WriteVariable("207", "30.0 mph")), kAck);
    ASSERT_EQ(bench.Exchange(WriteVariable("208", "20.0 mph")), kAck);
    SpinUp(bench, 32.0);
    ASSERT_EQ(bench.Exchange(Action('H')), kAck);
    ASSERT_EQ(bench.Exchange(Action('4')), kAck);  // ASM on: the motor goes off
    EXPECT_EQ(bench.controller.StatusWord() & 0x8000, 0);
    ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 19.0; }, 120'000));

    const double v1 = 30.0 * kFtPerMph, v2 = 20.0 * kFtPerMph;
    const double expected = 0.5 * (kBaseLb / kG) * (v1 * v1 - v2 * v2) / (hp * 550.0);
    EXPECT_NEAR(StopWatchOverTheWire(bench), expected, expected * 0.01) << hp << " HP";
  }
}

TEST(SimPhysics, TheAsmRegulatorAbsorbsTheSetPowerLessTheLosses) {
  SimBench bench(Options(40.0));
  bench.Exchange(WriteVariable("228", "10.0 Hp"));
  SpinUp(bench, 30.0);
  bench.Exchange(Action('4'));
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 25.0; }, 60'000));
  const double mph = bench.controller.SpeedMph();
  const double lossHp = bench.controller.Options().physics.loss.PowerHp(mph);
  EXPECT_NEAR(bench.controller.Plant().MachinePowerHp(), 10.0 - lossHp, 0.05);
}

TEST(SimPhysics, TheStopWatchMeasuresTheWindowItWasGiven) {
  SimBench bench(Options());
  Trajectory trajectory;
  ASSERT_EQ(bench.Exchange(WriteVariable("207", "25.0 mph")), kAck);
  ASSERT_EQ(bench.Exchange(WriteVariable("208", "21.0 mph")), kAck);
  SpinUp(bench, 28.0);
  ASSERT_EQ(bench.Exchange(Action('H')), kAck);
  bench.controller.Plant().SetStepObserver([&](double t, double mph) { trajectory.samples.emplace_back(t, mph); });
  ASSERT_EQ(bench.Exchange(Action('K')), kAck);
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 23.0; }, 120'000));
  // Running: the time so far.
  const double partial = StopWatchOverTheWire(bench);
  EXPECT_GT(partial, 0.0);
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 20.0; }, 120'000));

  const double onTrajectory = trajectory.FallThrough(21.0) - trajectory.FallThrough(25.0);
  const LossCurve loss = bench.controller.Options().physics.loss;
  const double closedForm = CoastSeconds(25.0, 21.0, [&](double v) { return loss.PowerHp(v); });
  const double measured = StopWatchOverTheWire(bench);
  EXPECT_NEAR(measured, onTrajectory, 0.0015);  // the wire shows milliseconds
  EXPECT_NEAR(measured, closedForm, closedForm * 0.005);
  EXPECT_GT(measured, partial);
  // It keeps its time until armed again.
  bench.Run(5000);
  EXPECT_EQ(StopWatchOverTheWire(bench), measured);
  bench.Exchange(Action('H'));
  EXPECT_EQ(StopWatchOverTheWire(bench), 0.0);
}

TEST(SimPhysics, StopWatchTwoRunsOnItsOwnSpeeds) {
  SimBench bench(Options());
  bench.Exchange(WriteVariable("234", "20.0 mph"));
  bench.Exchange(WriteVariable("235", "15.0 mph"));
  SpinUp(bench, 22.0);
  bench.Exchange(Action('R'));
  bench.Exchange(Action('K'));
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 14.0; }, 120'000));
  const LossCurve loss = bench.controller.Options().physics.loss;
  const double expected = CoastSeconds(20.0, 15.0, [&](double v) { return loss.PowerHp(v); });
  EXPECT_NEAR(GroupValue(bench.Ask(GetVariable("236"))), expected, expected * 0.005);
  EXPECT_EQ(GroupValue(bench.Ask(GetVariable("227"))), 0.0);  // stop watch 1 was never armed
}

TEST(SimPhysics, StopWatchOffFreezesTheTimeSoFar) {
  SimBench bench(Options());
  bench.Exchange(WriteVariable("207", "30.0 mph"));
  bench.Exchange(WriteVariable("208", "10.0 mph"));
  SpinUp(bench, 32.0);
  bench.Exchange(Action('H'));
  bench.Exchange(Action('K'));
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < 25.0; }, 120'000));
  bench.Exchange(Action('I'));
  const double frozen = StopWatchOverTheWire(bench);
  bench.Run(3000);
  EXPECT_GT(frozen, 1.0);
  EXPECT_EQ(StopWatchOverTheWire(bench), frozen);
}

class SimMotor : public ::testing::TestWithParam<double> {};

TEST_P(SimMotor, RunsTheRollsUpToItsTopSpeedAndHoldsIt) {
  SimBench bench(Options(GetParam()));
  bench.Exchange(Action('J'));
  bench.Run(60'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), GetParam(), 0.05);
  EXPECT_EQ(bench.Ask(Enquiry('D')), DataFrame("0100000000000001"));
  bench.Run(10'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), GetParam(), 0.05);
}

INSTANTIATE_TEST_SUITE_P(TopSpeeds, SimMotor, ::testing::Values(30.0, 45.0, 65.0));

TEST(SimPhysics, ARegulatorSwitchesTheMotorOffAndMotorOnSwitchesTheRegulatorOff) {
  SimBench bench(Options());
  bench.Exchange(WriteVariable("200", "20.0 mph"));
  bench.Exchange(Action('J'));
  bench.Run(20'000);
  bench.Exchange(Action('1'));
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Speed);
  EXPECT_EQ(bench.controller.StatusWord() & 0x8000, 0);
  bench.Run(30'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), 20.0, 0.05);
  bench.Exchange(Action('J'));
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
  bench.Exchange(Action('0'));  // "Regulator Off" leaves the motor running
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
}

TEST(SimPhysics, TheSpeedRegulatorHoldsItsTargetAgainstAVehicle) {
  SimBench bench(Options());
  bench.Exchange(WriteVariable("200", "25.0 mph"));
  bench.Exchange(Action('1'));
  bench.controller.Plant().DriveVehicleWithForce(300.0);
  bench.Run(60'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), 25.0, 0.05);
  // The machine brakes with the vehicle's push less the rolls' own loss.
  const double lossLbf = bench.controller.Options().physics.loss.PowerHp(25.0) * 550.0 / (25.0 * kFtPerMph);
  EXPECT_NEAR(bench.controller.Plant().MachineForceLbf(), 300.0 - lossLbf, 1.0);
}

TEST(SimPhysics, TheTorqueRegulatorBrakesTheRollsToRest) {
  SimBench bench(Options(40.0));
  bench.Exchange(WriteVariable("201", "90.0 lbf"));
  SpinUp(bench, 39.0);
  const double from = bench.controller.SpeedMph();
  const double start = bench.loop.NowUs() / 1e6;
  bench.Exchange(Action('2'));
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() <= 0.0; }, 120'000));
  const double took = bench.loop.NowUs() / 1e6 - start;
  // dt = m dv / (T + F_loss(v)) from the speed at switch-on down to rest.
  const LossCurve loss = bench.controller.Options().physics.loss;
  const int n = 4000;
  double expected = 0.0;
  for (int i = 0; i < n; ++i) {
    const double mph = from * (i + 0.5) / n;
    const double force = 90.0 + loss.ForceLbf(mph);
    expected += (kBaseLb / kG) * (from * kFtPerMph / n) / force;
  }
  EXPECT_NEAR(took, expected, expected * 0.01);
  EXPECT_EQ(bench.controller.Plant().MachineForceLbf(), 0.0);  // at rest the brake carries nothing
}

TEST(SimPhysics, TheDriveRegulatorSimulatesTheVehiclesRoadLoadAndInertia) {
  SimBench bench(Options());
  const double a = 30.0, b = 0.5, c = 0.03;  // road load lbf = a + b v + c v^2 (v in mph)
  bench.Exchange(WriteVariable("202", "3000 lb"));
  bench.Exchange(WriteVariable("205", "30.00000"));
  bench.Exchange(WriteVariable("204", "0.50000"));
  bench.Exchange(WriteVariable("203", "0.03000"));
  bench.Exchange(Action('3'));
  const double push = 80.0;
  bench.controller.Plant().DriveVehicleWithForce(push);
  bench.Run(50);
  // Setting off: the vehicle's whole mass, not the rolls', resists.
  const double expectedAccel = (push - a) / (3000.0 / kG) * 0.3048;  // m/s²
  EXPECT_NEAR(GroupValue(bench.Ask(GetVariable("210"))), expectedAccel, 0.002);
  // Then the speed settles where the push equals the road load.
  bench.Run(400'000);
  const double steady = (-b + std::sqrt(b * b + 4 * c * (push - a))) / (2 * c);
  EXPECT_NEAR(bench.controller.SpeedMph(), steady, 0.05);
}

TEST(SimPhysics, LiftsTakeTheirTravelTimeAndRefuseToRiseWhileTheRollsTurn) {
  SimBench bench(Options());
  EXPECT_EQ(bench.Exchange(Action('5'), 10), kAck);
  bench.Run(2800);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0);  // neither up nor down while moving
  bench.Run(300);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0x1);
  EXPECT_EQ(bench.Exchange(Action('6'), 3200), kAck);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0x2);

  bench.Exchange(Action('J'));
  bench.Run(2000);
  EXPECT_EQ(bench.Exchange(Action('5')), kNak);
  bench.Run(4000);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0x2);
}

TEST(SimPhysics, DistanceAddsUpAndResets) {
  SimBench bench(Options(45.0));
  bench.Exchange(Action('J'));
  bench.Run(60'000);
  bench.Exchange(Action('9'));
  bench.Run(80'000);
  const double miles = GroupValue(bench.Ask(GetVariable("225")));
  // At 45 mph from the reset's arrival to the read's.
  const auto& log = bench.controller.Requests();
  const double seconds = (log[log.size() - 1].atUs - log[log.size() - 2].atUs) / 1e6;
  EXPECT_NEAR(miles, 45.0 * seconds / 3600.0, 0.0015);
  EXPECT_GT(miles, 0.99);
  // Reset and read back to back.
  EXPECT_EQ(bench.Exchange(Action('9') + GetVariable("225")), kAck + DataFrame(" 225=0.000 miles\r"));
}

TEST(SimPhysics, TheBearingWarmsWhileTheMotorRunsAndCoolsAfterwards) {
  SimBench bench(Options(45.0));
  const double cold = GroupValue(bench.Ask(GetVariable("224")));
  bench.Exchange(Action('J'));
  bench.Run(600'000);
  const double warm = GroupValue(bench.Ask(GetVariable("224")));
  EXPECT_GT(warm, cold + 10.0);
  EXPECT_LT(warm, cold + 60.0);  // slowly, not at once
  bench.Exchange(Action('K'));
  bench.Run(900'000);
  EXPECT_LT(GroupValue(bench.Ask(GetVariable("224"))), warm - 10.0);
}

TEST(SimPhysics, AMotorFaultStopsTheMachineAndRefusesItUntilCleared) {
  SimBench bench(Options());
  bench.Exchange(Action('J'));
  bench.Run(5000);
  bench.controller.Plant().RaiseFault(DyneFault::MotorFault);
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Off);
  EXPECT_EQ(bench.Exchange(Action('J')), kNak);
  EXPECT_EQ(bench.Exchange(Action('2')), kNak);
  EXPECT_EQ(bench.Exchange(Action('0')), kAck);
  bench.controller.Plant().ClearFault(DyneFault::MotorFault);
  EXPECT_EQ(bench.Exchange(Action('J')), kAck);
}

}  // namespace
}  // namespace tavkelo::test
