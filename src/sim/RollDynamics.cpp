#include "sim/RollDynamics.hpp"

#include <algorithm>

namespace tavkelo {

RollDynamics::Step RollDynamics::Advance(double dtS, const AccelFn& accel) {
  const double v0 = speedFtS_;
  if (dtS <= 0.0) return {v0, v0};
  auto a = [&](double v) { return accel(std::max(v, 0.0)); };

  if (v0 <= 0.0 && a(0.0) <= 0.0) {  // held at rest
    speedFtS_ = 0.0;
    accelFtS2_ = 0.0;
    return {0.0, 0.0};
  }
  const double k1 = a(v0);
  const double k2 = a(v0 + 0.5 * dtS * k1);
  const double k3 = a(v0 + 0.5 * dtS * k2);
  const double k4 = a(v0 + dtS * k3);
  double v1 = v0 + dtS * (k1 + 2.0 * k2 + 2.0 * k3 + k4) / 6.0;
  if (v1 <= 0.0) {
    // Came to rest inside the step: the distance is that of a uniform stop.
    const double stopS = k1 < 0.0 ? std::min(dtS, -v0 / k1) : dtS;
    distanceFt_ += 0.5 * v0 * stopS;
    speedFtS_ = 0.0;
    accelFtS2_ = 0.0;
    return {v0, 0.0};
  }
  distanceFt_ += 0.5 * (v0 + v1) * dtS;
  speedFtS_ = v1;
  accelFtS2_ = a(v1);
  return {v0, v1};
}

}  // namespace tavkelo
