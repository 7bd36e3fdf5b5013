#include "sim/SetupMemory.hpp"

#include <cmath>

#include "link/DyneVocabulary.hpp"
#include "sim/SimUnits.hpp"

namespace tavkelo {

std::map<uint8_t, double> SetupMemory::FactoryValues(const LossCurve& loss,
                                                     const std::map<uint8_t, double>& overrides) {
  auto word = [](double hp) { return std::round(hp * sim::kLossWordPerHp); };
  std::map<uint8_t, double> values = {
      {var::ROLLDIAMETER, 2173},  // 0.1 mm: 8.555 in
      {var::BASEINERTIA, 907},    // kg: about 2000 lb
      {var::TORQUE_REG_RELEASE, 10},
      {var::TORQUE_CAL_FACTOR, 1600},
      {var::EEPROM_RESET, 0},
      // Each loss term as HP at 50 mph, in words of HP x 74.57.
      {var::PARASITIC_LOSSES_A, word(loss.b * 50.0)},
      {var::PARASITIC_LOSSES_B, word(loss.c * 2500.0)},
      {var::PARASITIC_LOSSES_C, word(loss.d * 125000.0)},
      {var::AMPLIFICATION_SCALE1, 970.0},   // right scale, 3 % low
      {var::AMPLIFICATION_SCALE2, 1030.0},  // left scale, 3 % high
      {var::PARASITIC_TEMP_COMP, 0.0},
      {var::PARASITIC_TEMP_DEGC, 20.0},
      {var::CAL_WEIGHT, std::round(150.0 * sim::kNewtonPerLbf * 10.0)},
      {var::LOSSES_15MPH, word(loss.PowerHp(15.0))},
      {var::LOSSES_25MPH, word(loss.PowerHp(25.0))},
  };
  for (const auto& [number, value] : overrides) {
    if (values.count(number) != 0) values[number] = value;
  }
  return values;
}

SetupMemory::SetupMemory(std::map<uint8_t, double> factory)
    : factory_(std::move(factory)), values_(factory_) {}

double SetupMemory::Get(uint8_t variable) const {
  auto it = values_.find(variable);
  return it == values_.end() ? 0.0 : it->second;
}

bool SetupMemory::Set(uint8_t variable, double value) {
  auto it = values_.find(variable);
  if (it == values_.end()) return false;
  it->second = value;
  return true;
}

LossCurve SetupMemory::CalibratedLoss() const {
  // Each word is its term's HP at 50 mph.
  LossCurve curve;
  curve.a = 0.0;
  curve.b = Get(var::PARASITIC_LOSSES_A) / sim::kLossWordPerHp / 50.0;
  curve.c = Get(var::PARASITIC_LOSSES_B) / sim::kLossWordPerHp / 2500.0;
  curve.d = Get(var::PARASITIC_LOSSES_C) / sim::kLossWordPerHp / 125000.0;
  return curve;
}

double SetupMemory::BaseWeightLb() const {
  return Get(var::BASEINERTIA) * sim::kLbPerKg;
}

}  // namespace tavkelo
