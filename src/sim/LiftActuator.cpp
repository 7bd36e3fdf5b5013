#include "sim/LiftActuator.hpp"

#include <algorithm>

namespace tavkelo {

LiftActuator::LiftActuator(double travelS, bool up)
    : travelS_(travelS), position_(up ? 1.0 : 0.0), direction_(up ? +1 : -1) {}

void LiftActuator::Advance(double dtS) {
  if (travelS_ <= 0.0) {
    position_ = direction_ > 0 ? 1.0 : 0.0;
    return;
  }
  position_ = std::clamp(position_ + direction_ * dtS / travelS_, 0.0, 1.0);
}

}  // namespace tavkelo
