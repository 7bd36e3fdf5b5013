#pragma once
// Which controller variables exist, which may be written, and how a written value is read back
// from the unsigned form in which the host sends negative numbers.

#include <cstdint>

namespace tavkelo {

enum class VariableKind {
  Unknown,  // no such variable: reads and writes are refused
  Version,  // 0: reads give the firmware version, writes set the write-access code
  Setup,    // 1 to 99: set-up memory, writable with write access only
  Target,   // targets and test parameters, always writable
  Live,     // measurements, read-only
};

VariableKind KindOfVariable(uint8_t variable);

// The write-access code that opens the set-up variables for writing.
inline constexpr double kWriteAccessCode = 4127.0;

// The value meant by a written value. The host adds 65536 to a negative value of the 16-bit
// calibration words (6, 36, 51, 52, 53, 88, 98, 99): 32768 and above are read as negative. It
// adds 878.85 to a negative value of variables 200 to 238; where a negative value makes sense
// (the road-load terms 203 to 205 and 212 to 214), 439.425 (half of 878.85) and above are read as
// negative. Every other value is taken as it comes.
double DecodeWrittenValue(uint8_t variable, double received);

}  // namespace tavkelo
