#pragma once
// Unit constants of the controller's physics: the rolls are computed in feet, seconds and
// pounds-force; speeds on the wire are mph.

namespace tavkelo::sim {

inline constexpr double kFtPerSPerMph = 5280.0 / 3600.0;
inline constexpr double kGravityFtPerS2 = 32.174;
inline constexpr double kHpFtLbPerS = 550.0;
inline constexpr double kLbPerKg = 2.20462;
inline constexpr double kNewtonPerLbf = 4.4482197761535645;
inline constexpr double kMetrePerFt = 0.3048;
inline constexpr double kFeetPerMile = 5280.0;
// Calibration words of the losses are whole numbers of HP x 74.57.
inline constexpr double kLossWordPerHp = 74.57;

inline double MphToFtPerS(double mph) {
  return mph * kFtPerSPerMph;
}
inline double FtPerSToMph(double fts) {
  return fts / kFtPerSPerMph;
}
// Mass in slugs of an equivalent weight in lb.
inline double SlugsOf(double weightLb) {
  return weightLb / kGravityFtPerS2;
}

}  // namespace tavkelo::sim
