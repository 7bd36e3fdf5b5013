#include "sim/LossCurve.hpp"

#include <algorithm>

#include "sim/SimUnits.hpp"

namespace tavkelo {

double LossCurve::PowerHp(double mph) const {
  return a + mph * (b + mph * (c + mph * d));
}

double LossCurve::ForceLbf(double mph, double taperMph) const {
  // P/v written out so the b term stays finite (a Coulomb force) right down to rest.
  double v = std::max(mph, 0.0);
  double constant = a / std::max(v, taperMph);
  return (constant + b + v * (c + v * d)) * sim::kHpFtLbPerS / sim::kFtPerSPerMph;
}

}  // namespace tavkelo
