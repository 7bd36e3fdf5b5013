#include "sim/WheelScales.hpp"

#include <algorithm>

namespace tavkelo {

void WheelScales::PlaceWeights(ScaleSide side, int count) {
  At(side).weights = std::clamp(count, 0, kMaxWeights);
}

double WheelScales::RawLb(ScaleSide side) const {
  const Side& s = At(side);
  double raw = s.loadLb;
  if (s.device) raw += config_.deviceLb + s.weights * config_.weightLb;
  return raw;
}

double WheelScales::DisplayLb(ScaleSide side, double amplificationScale) const {
  if (config_.trueScale <= 0.0) return RawLb(side);
  return RawLb(side) * amplificationScale / config_.trueScale;
}

}  // namespace tavkelo
