#include "sequences/modMath.hpp"

#include <cmath>

#include "link/DyneUnits.hpp"
#include "platform/VbError.hpp"

namespace tavkelo::modMath {

namespace {

// The smallest magnitude that no longer rounds to a finite Single: FLT_MAX plus half its ulp.
constexpr double kSingleOverflow = 0x1.ffffffp127;

// Double to Single with the classic overflow check.
float ToSingle(double value) {
  if (std::fabs(value) >= kSingleOverflow) throw VbOverflow();
  return static_cast<float>(value);
}

constexpr double kGravityFtPerS2 = 32.17405;
constexpr double kFtLbPerSecondPerHp = 550.0;
constexpr float kDefaultRollDiameter = 8.555f;

}  // namespace

float CoastdownHP(double topMph, double bottomMph, double seconds, double weightLb) {
  if (seconds == 0.0) return 0.0f;
  const double energy =
      (topMph * topMph - bottomMph * bottomMph) * (weightLb / kGravityFtPerS2 * 0.5);
  const double mphToFtPerS = 5280.0 / 3600.0;
  return ToSingle(mphToFtPerS * mphToFtPerS * energy / (seconds * kFtLbPerSecondPerHp));
}

float evalcurve(double c0, double c1, double c2, double x) {
  return ToSingle(x * x * c2 + (c1 * x + c0));
}

float TorqueSpeedFactor(float& rollDiameterInches) {
  if (!(rollDiameterInches >= 6.5f && rollDiameterInches <= 10.5f)) {
    rollDiameterInches = kDefaultRollDiameter;
  }
  return RollFactor(rollDiameterInches);
}

}  // namespace tavkelo::modMath
