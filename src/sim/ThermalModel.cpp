#include "sim/ThermalModel.hpp"

#include <cmath>

namespace tavkelo {

ThermalModel::ThermalModel(const Config& config)
    : config_(config), bearingF_(config.ambientF), forceF_(config.ambientF) {}

void ThermalModel::Advance(double dtS, double speedMph, bool motorOn, double machinePowerHp) {
  auto relax = [dtS](double& value, double target, double timeS) {
    if (timeS <= 0.0) {
      value = target;
      return;
    }
    value += (target - value) * (1.0 - std::exp(-dtS / timeS));
  };
  double bearingTarget = config_.ambientF + config_.bearingRisePerMphF * std::fabs(speedMph) +
                         (motorOn ? config_.bearingMotorRiseF : 0.0);
  relax(bearingF_, bearingTarget, config_.bearingTimeS);
  relax(forceF_, config_.ambientF + config_.forceRisePerHpF * std::fabs(machinePowerHp),
        config_.forceTimeS);
}

}  // namespace tavkelo
