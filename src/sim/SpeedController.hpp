#pragma once
// A proportional-integral speed loop with a force limit, as the machine's speed regulator and a
// simulated driver use it. The integral is updated once per step (outside the integration), so
// within a step the force depends on the speed alone.

namespace tavkelo {

class SpeedController {
 public:
  // massSlugs sets the loop's stiffness: a speed error closes with time constant timeS.
  void Configure(double massSlugs, double timeS, double minForceLbf, double maxForceLbf);
  // Force (lbf, positive drives the rolls forward) towards targetFtS at speedFtS, with a known
  // load to carry (feed-forward).
  double Force(double targetFtS, double speedFtS, double feedForwardLbf) const;
  // Accumulates the error of a step; stops integrating while the force is at its limit.
  void Integrate(double targetFtS, double speedFtS, double feedForwardLbf, double dtS);
  void Reset() { integralLbf_ = 0.0; }

 private:
  double Unlimited(double targetFtS, double speedFtS, double feedForwardLbf) const;

  double gainLbfPerFtS_ = 0.0;
  double integralRatePerS_ = 0.0;
  double minForceLbf_ = 0.0;
  double maxForceLbf_ = 0.0;
  double integralLbf_ = 0.0;
};

}  // namespace tavkelo
