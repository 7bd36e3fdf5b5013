#pragma once
// The one list of clsKeloInterface's published members: name, kind, parameters with their
// automation types and by-reference flags, result type, whether the member can wait (pump the
// loop), and how to call it. The remote API dispatches and describes its type library from here.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tavkelo {

class clsKeloInterface;

// Automation types: Single = float, Integer = int16, Long = int32, Byte = uint8, Boolean, String;
// an enumeration travels as a Long.
enum class AutoType : uint8_t { Void, Boolean, Byte, Integer, Long, Single, String, Enum };

struct AutoTypeRef {
  AutoType type = AutoType::Void;
  const char* enumName = nullptr;  // for AutoType::Enum
};

using AutoValue = std::variant<std::monostate, bool, uint8_t, int16_t, int32_t, float, std::string>;

struct ParamInfo {
  std::string name;
  AutoTypeRef type;
  bool byRef = false;
};

enum class MemberKind { Method, PropertyGet, PropertyPut };

struct MemberInfo {
  std::string name;
  MemberKind kind = MemberKind::Method;
  std::vector<ParamInfo> params;
  AutoTypeRef result;
  // A member that can wait runs only at the loop's top level, one at a time.
  bool canWait = false;
  // Calls the member; the arguments are converted to the parameter types already, and a
  // by-reference argument carries the output back.
  std::function<AutoValue(clsKeloInterface&, std::vector<AutoValue>&)> invoke;
};

const std::vector<MemberInfo>& MemberTable();
const MemberInfo* FindMember(std::string_view name, MemberKind kind);
// The automation name of a type ("Single", "Integer", ..., or the enumeration's name).
std::string AutoTypeName(const AutoTypeRef& type);

}  // namespace tavkelo
