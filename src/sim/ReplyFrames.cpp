#include "sim/ReplyFrames.hpp"

#include "link/DyneUnits.hpp"
#include "link/DyneVocabulary.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

std::vector<uint8_t> BuildDataFrame(std::string_view payload) {
  std::vector<uint8_t> bytes;
  bytes.reserve(payload.size() + 5);
  bytes.push_back(frame::STX);
  bytes.insert(bytes.end(), payload.begin(), payload.end());
  bytes.push_back(frame::ETB);
  const std::string sum = ChecksumText(XorChecksum(bytes.data(), bytes.data() + bytes.size()));
  bytes.insert(bytes.end(), sum.begin(), sum.end());
  bytes.push_back(frame::End);
  return bytes;
}

std::string StatusPayload(uint16_t word) {
  std::string text(16, '0');
  for (int bit = 0; bit < 16; ++bit) {
    if ((word >> bit) & 1u) text[bit] = '1';
  }
  return text;
}

std::string ControllerValueText(uint8_t variable, double value) {
  const DyneValueFormat format = FormatDyneValue(variable);
  std::string number = VbFormat(value, format.format);
  if (value < 0.0 && VbVal(number) == 0.0) number = VbFormat(0.0, format.format);  // no "-0.0"
  return number + format.unit;
}

std::string VariableGroup(uint8_t variable, double value) {
  std::string group(1, ' ');
  group += std::to_string(variable);
  group.push_back('=');
  group += ControllerValueText(variable, value);
  group.push_back('\r');
  return group;
}

}  // namespace tavkelo
