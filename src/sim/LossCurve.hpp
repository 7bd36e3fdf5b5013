#pragma once
// The rolls' own parasitic loss: power in HP over roll speed in mph,
//   HP(v) = a + b·v + c·v² + d·v³.
// The b, c and d terms are what the controller's calibration words 51, 52 and 53 describe (loss
// torque quadratic in speed); a constant-power term a is allowed but has no calibration word.

namespace tavkelo {

struct LossCurve {
  double a = 0.0;
  double b = 0.05;
  double c = 0.0012;
  double d = 0.00002;

  double PowerHp(double mph) const;
  // Force at the roll surface in lbf. Below taperMph the force stays at its value there, so a
  // constant-power term cannot grow without bound near rest.
  double ForceLbf(double mph, double taperMph = 1.0) const;
};

}  // namespace tavkelo
