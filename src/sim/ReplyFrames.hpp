#pragma once
// The controller's side of the replies: data frames around a payload, the status payload, and the
// variable groups of "Get Variable" and "Get Test Values".

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavkelo {

// STX, payload, ETB, the XOR of STX..ETB as two upper-case hexadecimal characters, "$".
std::vector<uint8_t> BuildDataFrame(std::string_view payload);
// 16 characters "0"/"1"; character k (1..16) is bit k-1.
std::string StatusPayload(uint16_t word);
// A value in the variable's number format followed by its unit text ("12.5 mph"). A value that
// rounds to zero is written without a sign.
std::string ControllerValueText(uint8_t variable, double value);
// One group of a variable payload: a blank, the number, "=", the value text, CR.
std::string VariableGroup(uint8_t variable, double value);

}  // namespace tavkelo
