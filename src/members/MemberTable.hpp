#pragma once
// The one description of clsKeloInterface's published members: name, kind (method, property get,
// property put), parameters with their names, automation types and by-reference flags, result
// type, and whether the member talks to the dyne (and so can wait). The enumerations it names are
// in members/KeloEnums.hpp. Nothing here knows the engine: the remote API, the client, its code
// generator and the type library are all made from this list; automation/MemberBinding.hpp binds
// each member to clsKeloInterface.

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tavkelo {

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
  // The member talks to the dyne: it can wait, so it runs only at the loop's top level, one at a
  // time.
  bool canWait = false;
  // The member only reads (a property, a text, a computed or placeholder value), so it may also
  // run inside another call's wait. Every other member changes the link's, the tests' or the
  // settings' state and queues at the top level too, even when it never waits: a test started
  // inside a disconnect's wait would be stranded by it.
  bool readsOnly = false;
};

// Runs only at the loop's top level, in arrival order.
inline bool RunsAtTopLevel(const MemberInfo& member) {
  return member.canWait || !member.readsOnly;
}

// The published class and its default interface, whose members these are.
inline constexpr const char* kPublishedClass = "clsKeloInterface";
inline constexpr const char* kPublishedInterface = "_clsKeloInterface";

const std::vector<MemberInfo>& MemberTable();
const MemberInfo* FindMember(std::string_view name, MemberKind kind);
// The dispatch id of a member name: 1 for the first name of the table, counting each name once
// (a property's get and put share it); 0 for a name that is not in the table. Members are only
// ever appended to the table, so a name keeps its id from one version to the next.
int32_t DispatchId(std::string_view name);
// The automation name of a type ("Single", "Integer", ..., or the enumeration's name).
std::string AutoTypeName(const AutoTypeRef& type);

}  // namespace tavkelo
