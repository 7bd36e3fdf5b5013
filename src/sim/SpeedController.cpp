#include "sim/SpeedController.hpp"

#include <algorithm>

namespace tavkelo {

void SpeedController::Configure(double massSlugs, double timeS, double minForceLbf,
                                double maxForceLbf) {
  gainLbfPerFtS_ = timeS > 0.0 ? massSlugs / timeS : 0.0;
  integralRatePerS_ = timeS > 0.0 ? 0.25 / timeS : 0.0;
  minForceLbf_ = minForceLbf;
  maxForceLbf_ = maxForceLbf;
}

double SpeedController::Unlimited(double targetFtS, double speedFtS, double feedForwardLbf) const {
  return gainLbfPerFtS_ * (targetFtS - speedFtS) + integralLbf_ + feedForwardLbf;
}

double SpeedController::Force(double targetFtS, double speedFtS, double feedForwardLbf) const {
  return std::clamp(Unlimited(targetFtS, speedFtS, feedForwardLbf), minForceLbf_, maxForceLbf_);
}

void SpeedController::Integrate(double targetFtS, double speedFtS, double feedForwardLbf,
                                double dtS) {
  const double force = Unlimited(targetFtS, speedFtS, feedForwardLbf);
  const double delta = gainLbfPerFtS_ * integralRatePerS_ * (targetFtS - speedFtS) * dtS;
  // Anti-windup: never integrate further into a limit.
  if ((force >= maxForceLbf_ && delta > 0.0) || (force <= minForceLbf_ && delta < 0.0)) return;
  integralLbf_ += delta;
}

}  // namespace tavkelo
