#include "sim/LoadCell.hpp"

#include <algorithm>
#include <cmath>

namespace tavkelo {

LoadCell::LoadCell(const Config& config)
    : config_(config), zeroLbf_(config.zeroLbf), gain_(config.gain), noise_(config.noiseSeed) {}

void LoadCell::PlaceWeights(int count) {
  weights_ = std::clamp(count, 0, kMaxWeights);
}

double LoadCell::RawLbf() const {
  double arm = 0.0;
  if (deviceConnected_) arm = config_.deviceLbf + weights_ * config_.weightLbf;
  return config_.biasLbf + machineLbf_ + arm;
}

double LoadCell::SampleLbf() {
  double reading = ReadingLbf();
  if (config_.noiseLbf > 0.0) {
    std::uniform_real_distribution<double> noise(-config_.noiseLbf, config_.noiseLbf);
    reading += noise(noise_);
  }
  return reading;
}

void LoadCell::Advance(double dtS) {
  if (offsetMode_ != OffsetMode::AutoAdjust || dtS <= 0.0) return;
  // The zero closes on the raw value exponentially.
  const double timeS = std::max(config_.autoOffsetTimeS, 1e-3);
  zeroLbf_ += (RawLbf() - zeroLbf_) * (1.0 - std::exp(-dtS / timeS));
}

bool LoadCell::CalibrateAmplification(double calForceLbf) {
  const double load = RawLbf() - zeroLbf_;
  if (calForceLbf <= 0.0 || std::fabs(load) < 0.1 * calForceLbf) return false;
  gain_ = calForceLbf / load;
  return true;
}

}  // namespace tavkelo
