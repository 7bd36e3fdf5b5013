#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "platform/VbError.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {
namespace {

// ---- CoastdownHP ----

// Kinetic energy of the equivalent mass between the two speeds (in ft/s), per second, in HP.
double CoastPowerHp(double topMph, double bottomMph, double seconds, double weightLb) {
  const double ftPerSPerMph = 22.0 / 15.0;  // 5280 ft / 3600 s
  const double massSlug = weightLb / 32.17405;
  const double vTop = topMph * ftPerSPerMph;
  const double vBottom = bottomMph * ftPerSPerMph;
  const double joulesLikeFtLb = 0.5 * massSlug * (vTop * vTop - vBottom * vBottom);
  return joulesLikeFtLb / seconds / 550.0;
}

struct CoastCase {
  double top, bottom, seconds, weight;
};

class CoastdownPower : public ::testing::TestWithParam<CoastCase> {};

TEST_P(CoastdownPower, IsTheKineticEnergyChangeOverTheTime) {
  const CoastCase& c = GetParam();
  const float hp = modMath::CoastdownHP(c.top, c.bottom, c.seconds, c.weight);
  EXPECT_FLOAT_EQ(hp, static_cast<float>(CoastPowerHp(c.top, c.bottom, c.seconds, c.weight)));
}

INSTANTIATE_TEST_SUITE_P(Windows, CoastdownPower,
                         ::testing::Values(CoastCase{55.0, 45.0, 12.3, 2000.0},
                                           CoastCase{30.0, 20.0, 8.25, 2450.0},
                                           CoastCase{15.0, 5.0, 3.0, 4000.0},
                                           CoastCase{40.0, 50.0, 10.0, 2000.0},  // speeding up
                                           CoastCase{22.0, 18.0, -4.0, 3000.0}));

TEST(CoastdownHP, ZeroSecondsGiveZero) {
  EXPECT_EQ(modMath::CoastdownHP(55.0, 45.0, 0.0, 2000.0), 0.0f);
  EXPECT_EQ(modMath::CoastdownHP(55.0, 45.0, -0.0, 2000.0), 0.0f);
}

TEST(CoastdownHP, EqualSpeedsGiveZero) {
  EXPECT_EQ(modMath::CoastdownHP(30.0, 30.0, 7.0, 2500.0), 0.0f);
}

TEST(CoastdownHP, PowerInPlaceOfTimeGivesTheTime) {
  // t = E / P and P = E / t: feeding the power back gives the seconds it was computed from.
  const double seconds = 9.75;
  const float hp = modMath::CoastdownHP(50.0, 40.0, seconds, 2600.0);
  const float back = modMath::CoastdownHP(50.0, 40.0, hp, 2600.0);
  EXPECT_NEAR(back, seconds, seconds * 1e-6);
}

TEST(CoastdownHP, ResultBeyondSingleRangeIsOverflow) {
  try {
    modMath::CoastdownHP(60.0, 0.0, 1e-300, 3000.0);
    FAIL() << "no error raised";
  } catch (const VbRuntimeError& e) {
    EXPECT_EQ(e.Number(), kVbErrOverflow);
  }
}

// ---- evalcurve ----

struct CurveCase {
  double c0, c1, c2, x;
};

class CurveValue : public ::testing::TestWithParam<CurveCase> {};

TEST_P(CurveValue, IsTheQuadraticRoundedToSingle) {
  const CurveCase& c = GetParam();
  const double horner = c.c0 + c.x * (c.c1 + c.x * c.c2);
  EXPECT_FLOAT_EQ(modMath::evalcurve(c.c0, c.c1, c.c2, c.x), static_cast<float>(horner));
}

INSTANTIATE_TEST_SUITE_P(Curves, CurveValue,
                         ::testing::Values(CurveCase{1.0, 2.0, 3.0, 2.0},      // 17
                                           CurveCase{0.5, -0.25, 0.125, 4.0},  // 1.5
                                           CurveCase{4.2, 0.031, 0.0012, 15.0},
                                           CurveCase{4.2, 0.031, 0.0012, 25.0},
                                           CurveCase{-3.0, 0.0, 0.0, 99.0},
                                           CurveCase{0.0, 0.0, 1.0, -7.0}));  // 49

TEST(evalcurve, ExactValuesAndSingleRounding) {
  EXPECT_EQ(modMath::evalcurve(1.0, 2.0, 3.0, 2.0), 17.0f);
  EXPECT_EQ(modMath::evalcurve(0.0, 0.0, 1.0, -7.0), 49.0f);
  // 0.1 is not a Single: the Double sum is rounded to the nearest Single.
  EXPECT_EQ(modMath::evalcurve(0.1, 0.0, 0.0, 0.0), 0.1f);
}

// ---- TorqueSpeedFactor ----

struct RollCase {
  float diameter;
  float used;  // the diameter after the call
};

class RollFactorOfDiameter : public ::testing::TestWithParam<RollCase> {};

TEST_P(RollFactorOfDiameter, KeepsOrReplacesTheDiameterAndScalesIt) {
  const RollCase& c = GetParam();
  float diameter = c.diameter;
  const float k = modMath::TorqueSpeedFactor(diameter);
  EXPECT_EQ(diameter, c.used);
  EXPECT_EQ(k, static_cast<float>(static_cast<double>(c.used) * 989978.64876768 / 63360.0));
  // The constant is 5252 x 60 x pi: HP = torque x rpm / 5252 with rpm = mph x 63360 / 60 / (pi d).
  const double fromRpm = static_cast<double>(c.used) * 5252.0 * 60.0 * std::numbers::pi / 63360.0;
  EXPECT_NEAR(k, fromRpm, fromRpm * 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Diameters, RollFactorOfDiameter,
                         ::testing::Values(RollCase{6.5f, 6.5f}, RollCase{10.5f, 10.5f},
                                           RollCase{8.625f, 8.625f}, RollCase{6.4f, 8.555f},
                                           RollCase{10.6f, 8.555f}, RollCase{0.0f, 8.555f},
                                           RollCase{-8.0f, 8.555f}, RollCase{85.55f, 8.555f}));

TEST(TorqueSpeedFactor, NotANumberIsReplacedToo) {
  float diameter = std::numeric_limits<float>::quiet_NaN();
  const float k = modMath::TorqueSpeedFactor(diameter);
  EXPECT_EQ(diameter, 8.555f);
  EXPECT_TRUE(std::isfinite(k));
}

}  // namespace
}  // namespace tavkelo
