// The rolls judged against closed forms: coasts, regulated coasts, the stop watches, the
// regulators, the vehicle simulation and the slow things (lifts, distance, temperature, faults).

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <tuple>
#include <vector>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

constexpr double kFtPerMph = 5280.0 / 3600.0;
constexpr double kG = 32.174;
constexpr double kBaseLb =
    907.0 * 2.20462;  // base inertia 907 kg as the weight the controller simulates

// Seconds from v1 down to v2 mph with the rolls braked by lbf(mph): dt = m dv / F, midpoint rule.
double Seconds(double v1, double v2, const std::function<double(double)>& lbf) {
  const int n = 4000;
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += 1.0 / lbf(v2 + (v1 - v2) * (i + 0.5) / n);
  return kBaseLb / kG * (v1 - v2) * kFtPerMph / n * sum;
}
// The loss curve's power as a force at the roll surface.
std::function<double(double)> LossLbf(const SimBench& bench) {
  return [loss = bench.controller.Options().physics.loss](double mph) {
    return loss.PowerHp(mph) * 550.0 / (mph * kFtPerMph);
  };
}

// When the speed first fell through mph, linear between integration steps; -1 if never.
struct Trajectory {
  std::vector<std::pair<double, double>> samples;  // (s, mph)
  explicit Trajectory(SimBench& bench) {
    bench.controller.Plant().SetStepObserver(
        [this](double t, double mph) { samples.emplace_back(t, mph); });
  }
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
  options.setup[6] = 907.0;
  options.physics.motorTopSpeedMph = topSpeedMph;
  return options;
}

// Spins the rolls up with the motor to above `mph` and holds them there a moment.
void SpinUp(SimBench& bench, double mph) {
  ASSERT_EQ(bench.Exchange(Action('J')), kAck);
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() > mph; }, 120'000));
  bench.Run(2000);
}
bool CoastBelow(SimBench& bench, double mph) {
  return bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() < mph; }, 600'000);
}

TEST(SimPhysics, AFreeCoastTakesWindowByWindowWhatTheLossCurveAndInertiaGive) {
  SimBench bench(Options());
  SpinUp(bench, 33.0);
  Trajectory trajectory(bench);
  ASSERT_EQ(bench.Exchange(Action('K')), kAck);
  ASSERT_TRUE(CoastBelow(bench, 5.0));
  for (auto [v1, v2] :
       {std::pair{30.0, 26.0}, {25.0, 21.0}, {20.0, 16.0}, {15.0, 11.0}, {10.0, 6.0}}) {
    const double expected = Seconds(v1, v2, LossLbf(bench));
    EXPECT_NEAR(trajectory.FallThrough(v2) - trajectory.FallThrough(v1), expected, expected * 0.005)
        << v1;
  }
}

// Stop watch one (window in 207 and 208, armed by 'H', read in 227) and two (234, 235, 'R', 236).
TEST(SimPhysics, AStopWatchMeasuresTheWindowItWasGivenAndKeepsItUntilArmedAgain) {
  for (auto [from, to, arm, result] :
       {std::tuple{"207", "208", 'H', "227"}, std::tuple{"234", "235", 'R', "236"}}) {
    SCOPED_TRACE(result);
    SimBench bench(Options());
    ASSERT_EQ(bench.Exchange(WriteVariable(from, "25.0 mph")), kAck);
    ASSERT_EQ(bench.Exchange(WriteVariable(to, "21.0 mph")), kAck);
    SpinUp(bench, 28.0);
    ASSERT_EQ(bench.Exchange(Action(arm)), kAck);
    Trajectory trajectory(bench);
    ASSERT_EQ(bench.Exchange(Action('K')), kAck);
    ASSERT_TRUE(CoastBelow(bench, 20.0));
    const double measured = bench.Read(result);
    EXPECT_NEAR(measured, trajectory.FallThrough(21.0) - trajectory.FallThrough(25.0),
                0.0015);  // ms on the wire
    const double closedForm = Seconds(25.0, 21.0, LossLbf(bench));
    EXPECT_NEAR(measured, closedForm, closedForm * 0.005);
    bench.Run(5000);
    EXPECT_EQ(bench.Read(result), measured);
    ASSERT_EQ(bench.Exchange(Action(arm)), kAck);
    EXPECT_EQ(bench.Read(result), 0.0);
  }
}

TEST(SimPhysics, TheMotorHoldsItsTopSpeedAndTheSpeedRegulatorHoldsItsTargetAgainstAVehicle) {
  SimBench bench(Options(45.0));
  bench.Exchange(WriteVariable("200", "20.0 mph"));
  bench.Exchange(Action('J'));
  bench.Run(60'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), 45.0, 0.05);
  bench.Exchange(Action('1'));
  EXPECT_EQ(bench.controller.StatusWord() & 0x8000, 0) << "a regulator switches the motor off";
  bench.controller.Plant().DriveVehicleWithForce(300.0);
  bench.Run(60'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), 20.0, 0.05);
  // The machine brakes with the vehicle's push less the rolls' own loss.
  EXPECT_NEAR(bench.controller.Plant().MachineForceLbf(), 300.0 - LossLbf(bench)(20.0), 1.0);
  bench.Exchange(Action('J'));
  bench.Exchange(Action('0'));  // "Regulator Off" leaves the motor running
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
}

TEST(SimPhysics, TheTorqueRegulatorBrakesTheRollsToRest) {
  SimBench bench(Options());
  bench.Exchange(WriteVariable("201", "90.0 lbf"));
  SpinUp(bench, 39.0);
  const double from = bench.controller.SpeedMph();
  const int64_t startUs = bench.loop.NowUs();
  bench.Exchange(Action('2'));
  ASSERT_TRUE(bench.loop.PumpUntil([&] { return bench.controller.SpeedMph() <= 0.0; }, 120'000));
  const double expected =
      Seconds(from, 0.0, [loss = LossLbf(bench)](double mph) { return 90.0 + loss(mph); });
  EXPECT_NEAR((bench.loop.NowUs() - startUs) / 1e6, expected, expected * 0.01);
  EXPECT_EQ(bench.controller.Plant().MachineForceLbf(), 0.0) << "at rest the brake carries nothing";
}

TEST(SimPhysics, TheDriveRegulatorSimulatesTheVehiclesRoadLoadAndInertia) {
  SimBench bench(Options());
  const double a = 30.0, b = 0.5, c = 0.03,
               push = 80.0;  // road load lbf = a + b v + c v^2 (v in mph)
  bench.Exchange(WriteVariable("202", "3000 lb"));
  bench.Exchange(WriteVariable("205", "30.00000"));
  bench.Exchange(WriteVariable("204", "0.50000"));
  bench.Exchange(WriteVariable("203", "0.03000"));
  bench.Exchange(Action('3'));
  bench.controller.Plant().DriveVehicleWithForce(push);
  bench.Run(50);
  // Setting off, the vehicle's whole mass, not the rolls', resists (acceleration in m/s²).
  EXPECT_NEAR(bench.Read("210"), (push - a) / (3000.0 / kG) * 0.3048, 0.002);
  bench.Run(400'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), (-b + std::sqrt(b * b + 4 * c * (push - a))) / (2 * c),
              0.05);
}

TEST(SimPhysics, LiftsTakeTheirTravelTimeAndInterlocksRefuseWhatIsUnsafe) {
  SimBench bench(Options());
  EXPECT_EQ(bench.Exchange(Action('5'), 10), kAck);
  bench.Run(2800);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0) << "neither up nor down while moving";
  bench.Run(300);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0x1);
  EXPECT_EQ(bench.Exchange(Action('6'), 3200), kAck);
  EXPECT_EQ(bench.controller.StatusWord() & 0x3, 0x2);
  bench.Exchange(Action('J'));
  bench.Run(2000);
  EXPECT_EQ(bench.Exchange(Action('5')), kNak);
  // A motor fault stops the machine and refuses it until cleared.
  bench.controller.Plant().RaiseFault(DyneFault::MotorFault);
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Off);
  EXPECT_EQ(bench.Exchange(Action('J')), kNak);
  EXPECT_EQ(bench.Exchange(Action('2')), kNak);
  bench.controller.Plant().ClearFault(DyneFault::MotorFault);
  EXPECT_EQ(bench.Exchange(Action('J')), kAck);
}

TEST(SimPhysics, DistanceAddsUpAndTheBearingWarmsWhileTheMotorRuns) {
  SimBench bench(Options(45.0));
  const double cold = bench.Read("224");
  bench.Exchange(Action('J'));
  bench.Run(60'000);
  bench.Exchange(Action('9'));
  bench.Run(540'000);
  const double miles = bench.Read("225");
  const auto& log =
      bench.controller.Requests();  // at 45 mph from the reset's arrival to the read's
  EXPECT_NEAR(miles, 45.0 * (log.back().atUs - log[log.size() - 2].atUs) / 3.6e9, 0.0015);
  const double warm = bench.Read("224");
  EXPECT_GT(warm, cold + 10.0);
  EXPECT_LT(warm, cold + 60.0) << "slowly, not at once";
  bench.Exchange(Action('K'));
  bench.Run(900'000);
  EXPECT_LT(bench.Read("224"), warm - 10.0);
  EXPECT_EQ(bench.Exchange(Action('9') + GetVariable("225")),
            kAck + DataFrame(" 225=0.000 miles\r"));
}

}  // namespace
}  // namespace tavkelo::test
