#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "SequenceRig.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {
namespace {

TEST(CoastdownHP, IsTheKineticEnergyChangeOverTheTime) {
  for (auto [top, bottom, seconds, weight] : {std::array<double, 4>{55.0, 45.0, 12.3, 2000.0},
                                              {30.0, 20.0, 8.25, 2450.0},
                                              {40.0, 50.0, 10.0, 2000.0}}) {  // speeding up
    EXPECT_FLOAT_EQ(modMath::CoastdownHP(top, bottom, seconds, weight),
                    static_cast<float>(test::CoastPowerHp(top, bottom, seconds, weight)));
  }
  EXPECT_EQ(modMath::CoastdownHP(55.0, 45.0, 0.0, 2000.0), 0.0f) << "zero seconds";
  EXPECT_EQ(modMath::CoastdownHP(30.0, 30.0, 7.0, 2500.0), 0.0f) << "equal speeds";
}

TEST(TorqueSpeedFactor, ReplacesADiameterOutside6_5To10_5InchesBy8_555) {
  for (auto [given, used] : {std::pair{6.5f, 6.5f},
                             {10.5f, 10.5f},
                             {8.625f, 8.625f},
                             {6.4f, 8.555f},
                             {10.6f, 8.555f},
                             {0.0f, 8.555f},
                             {std::numeric_limits<float>::quiet_NaN(), 8.555f}}) {
    float diameter = given;
    const float k = modMath::TorqueSpeedFactor(diameter);
    EXPECT_EQ(diameter, used) << given;
    // 5252 x 60 x pi: HP = torque x rpm / 5252 with rpm = mph x 63360 / 60 / (pi d).
    const double fromRpm = static_cast<double>(used) * 5252.0 * 60.0 * std::numbers::pi / 63360.0;
    EXPECT_NEAR(k, fromRpm, fromRpm * 1e-6) << given;
  }
}

}  // namespace
}  // namespace tavkelo
