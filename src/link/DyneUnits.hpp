#pragma once
// Units of the controller's variables and their conversion to and from the client's units, and
// the number format and unit text with which each variable's controller value is written.

#include <cstdint>
#include <string>

namespace tavkelo {

// The roll factor: HP = torque (ft-lb) x speed (mph) / factor. A diameter outside 6.5 to 10.5
// inches is replaced by 8.555 first.
float RollFactor(float rollDiameterInches);

struct UnitConversion {
  const char* code;            // the unit code reached ("102_" ...), named in error lines
  const char* controllerUnit;  // unit text of the controller value
  const char* clientUnit;      // unit text of the client value
};

// The conversion that applies to a variable.
UnitConversion ConversionFor(uint8_t variable);
// Controller units to client units, and back (Single arithmetic).
float ToClientUnits(uint8_t variable, float controllerValue, float rollFactor);
float ToControllerUnits(uint8_t variable, float clientValue, float rollFactor);
// The unsigned shift of a negative value on its way to the controller: +65536 for the
// calibration words, +878.85 for the live values and targets, none for the rest. Returns the
// shift code ("201_", "202_", "203_") in `code` when given.
float ShiftNegativeForController(uint8_t variable, float controllerValue,
                                 const char** code = nullptr);

struct DyneValueFormat {
  std::string format;  // number format of the controller value
  std::string unit;    // unit text with its leading blank ("" for none)
};
DyneValueFormat FormatDyneValue(uint8_t variable);

}  // namespace tavkelo
