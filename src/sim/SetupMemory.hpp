#pragma once
// The controller's set-up and calibration parameters (variables 1 to 99), kept as its EEPROM
// keeps them: they survive a restart of the controller, and EEPROM_RESET brings back the values
// it left the factory with.

#include <cstdint>
#include <map>

#include "sim/LossCurve.hpp"

namespace tavkelo {

class SetupMemory {
 public:
  // The factory values: the given overrides on top of the defaults, where the parasitic-loss
  // words describe `loss` and CAL_WEIGHT is 150 lbf in tenths of a newton.
  static std::map<uint8_t, double> FactoryValues(const LossCurve& loss,
                                                 const std::map<uint8_t, double>& overrides);

  explicit SetupMemory(std::map<uint8_t, double> factory);

  bool Has(uint8_t variable) const { return values_.count(variable) != 0; }
  double Get(uint8_t variable) const;
  // Stores a value of a known set-up variable; false for any other number.
  bool Set(uint8_t variable, double value);
  void RestoreFactory() { values_ = factory_; }

  // The parasitic loss as the calibration words 51 to 53 describe it.
  LossCurve CalibratedLoss() const;
  // Base inertia as an equivalent weight in lb.
  double BaseWeightLb() const;

 private:
  std::map<uint8_t, double> factory_;
  std::map<uint8_t, double> values_;
};

}  // namespace tavkelo
