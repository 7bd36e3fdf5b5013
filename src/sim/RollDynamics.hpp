#pragma once
// The rolls as one rotating mass seen at the roll surface: speed (ft/s) and distance (ft),
// integrated with a fourth-order Runge-Kutta step. The rolls only turn forwards: a step that would
// take the speed below zero ends at rest, and at rest a net force backwards holds them still.

#include <functional>

namespace tavkelo {

class RollDynamics {
 public:
  // Acceleration in ft/s² at a speed in ft/s (never called with a negative speed).
  using AccelFn = std::function<double(double speedFtS)>;

  struct Step {
    double fromFtS;
    double toFtS;
  };

  double SpeedFtS() const { return speedFtS_; }
  double DistanceFt() const { return distanceFt_; }
  // The acceleration at the end of the last step (0 while held at rest).
  double AccelFtS2() const { return accelFtS2_; }

  Step Advance(double dtS, const AccelFn& accel);
  void ResetDistance() { distanceFt_ = 0.0; }
  void SetSpeedFtS(double speedFtS) { speedFtS_ = speedFtS > 0.0 ? speedFtS : 0.0; }

 private:
  double speedFtS_ = 0.0;
  double distanceFt_ = 0.0;
  double accelFtS2_ = 0.0;
};

}  // namespace tavkelo
