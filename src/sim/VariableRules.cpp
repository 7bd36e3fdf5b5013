#include "sim/VariableRules.hpp"

#include "link/DyneVocabulary.hpp"

namespace tavkelo {

VariableKind KindOfVariable(uint8_t v) {
  if (DyneVariableBareName(v) == "??") return VariableKind::Unknown;
  if (v == var::VERSION) return VariableKind::Version;
  if (v < 100) return VariableKind::Setup;
  if ((v >= 200 && v <= 208) || (v >= 212 && v <= 214) || (v >= 228 && v <= 230) || v == 234 ||
      v == 235)
    return VariableKind::Target;
  return VariableKind::Live;
}

double DecodeWrittenValue(uint8_t v, double received) {
  switch (v) {
    case 6:
    case 36:
    case 51:
    case 52:
    case 53:
    case 88:
    case 98:
    case 99:
      return received >= 32768.0 ? received - 65536.0 : received;
    case 203:
    case 204:
    case 205:
    case 212:
    case 213:
    case 214:
      return received >= 878.85 / 2.0 ? received - 878.85 : received;
    default:
      return received;
  }
}

}  // namespace tavkelo
