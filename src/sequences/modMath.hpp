#pragma once
// Small formulas of the test sequences: the coast-down power, the evaluation of a second-degree
// loss curve and the roll factor. Arithmetic is Double; results are Single as documented. A
// result beyond the Single range raises error 6 "Overflow", as the conversion to Single does in
// the classic runtime.

namespace tavkelo::modMath {

// Power (HP) that removes the kinetic energy of `weightLb` (equivalent weight) between `topMph`
// and `bottomMph` in `seconds`: (5280/3600)^2 x (top^2 - bottom^2) x weight / 32.17405 / 2 /
// (seconds x 550). Zero seconds give 0. With the power in place of the seconds the same formula
// gives the coast time.
float CoastdownHP(double topMph, double bottomMph, double seconds, double weightLb);

// c0 + c1 x + c2 x^2, evaluated as x^2 c2 + (c1 x + c0) and rounded to Single.
float evalcurve(double c0, double c1, double c2, double x);

// The roll factor K used as TorqueSpeedFactor (HP = torque ft-lb x speed mph / K). A diameter
// outside 6.5 to 10.5 inches is replaced by 8.555 in the caller's variable before K is formed.
float TorqueSpeedFactor(float& rollDiameterInches);

}  // namespace tavkelo::modMath
