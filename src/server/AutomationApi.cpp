#include "server/AutomationApi.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "members/KeloEnums.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {

std::string TypeText(const ParamInfo& p) { return AutoTypeName(p.type); }

[[noreturn]] void Bad(const ParamInfo& p, const std::string& why) {
  throw ApiError(400, "argument " + p.name + " (" + TypeText(p) + "): " + why);
}

int64_t WholeNumber(const nlohmann::json& v, const ParamInfo& p, int64_t lo, int64_t hi) {
  if (!v.is_number()) Bad(p, "expected a number, got " + std::string(v.type_name()));
  double d = v.get<double>();
  if (!std::isfinite(d) || d != std::floor(d)) Bad(p, "expected a whole number, got " + v.dump());
  if (d < static_cast<double>(lo) || d > static_cast<double>(hi)) {
    Bad(p, v.dump() + " is out of range " + std::to_string(lo) + " to " + std::to_string(hi));
  }
  return static_cast<int64_t>(d);
}

AutoValue ZeroOf(const ParamInfo& p) {
  switch (p.type.type) {
    case AutoType::Boolean: return false;
    case AutoType::Byte: return uint8_t{0};
    case AutoType::Integer: return int16_t{0};
    case AutoType::Long:
    case AutoType::Enum: return int32_t{0};
    case AutoType::Single: return 0.0f;
    case AutoType::String: return std::string();
    case AutoType::Void: return AutoValue();
  }
  return AutoValue();
}

}  // namespace

AutoValue ArgumentFromJson(const nlohmann::json& v, const ParamInfo& p) {
  switch (p.type.type) {
    case AutoType::Boolean:
      if (!v.is_boolean()) Bad(p, "expected true or false, got " + v.dump());
      return v.get<bool>();
    case AutoType::Byte: return static_cast<uint8_t>(WholeNumber(v, p, 0, 255));
    case AutoType::Integer: return static_cast<int16_t>(WholeNumber(v, p, -32768, 32767));
    case AutoType::Long:
    case AutoType::Enum:
      return static_cast<int32_t>(WholeNumber(v, p, std::numeric_limits<int32_t>::min(),
                                              std::numeric_limits<int32_t>::max()));
    case AutoType::Single: {
      if (!v.is_number()) Bad(p, "expected a number, got " + std::string(v.type_name()));
      double d = v.get<double>();
      if (!std::isfinite(d) || std::fabs(d) > std::numeric_limits<float>::max()) {
        Bad(p, v.dump() + " does not fit a Single");
      }
      return static_cast<float>(d);
    }
    case AutoType::String:
      if (!v.is_string()) Bad(p, "expected a string, got " + std::string(v.type_name()));
      return v.get<std::string>();
    case AutoType::Void: break;
  }
  Bad(p, "has no type");
}

nlohmann::json ValueToJson(const AutoValue& value) {
  return std::visit(
      [](const auto& v) -> nlohmann::json {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<T, float>) {
          // A Single shown with its own 7 significant digits, not the double's noise.
          if (!std::isfinite(v)) return nullptr;
          return std::strtod(VbStr(v).c_str(), nullptr);
        } else {
          return v;
        }
      },
      value);
}

std::vector<AutoValue> ArgumentsFromJson(const MemberInfo& m, const nlohmann::json& given) {
  // No "args" at all is the same as an empty list.
  const nlohmann::json args = given.is_null() ? nlohmann::json::array() : given;
  std::vector<AutoValue> out;
  const auto& params = m.params;
  if (args.is_array()) {
    size_t required = 0;
    for (size_t i = 0; i < params.size(); ++i) {
      if (!params[i].byRef) required = i + 1;
    }
    if (args.size() < required || args.size() > params.size()) {
      throw ApiError(400, m.name + " takes " + (required == params.size() ? "" : std::to_string(required) + " to ") +
                              std::to_string(params.size()) + " arguments, got " + std::to_string(args.size()));
    }
    for (size_t i = 0; i < params.size(); ++i) {
      out.push_back(i < args.size() ? ArgumentFromJson(args[i], params[i]) : ZeroOf(params[i]));
    }
    return out;
  }
  if (args.is_object()) {
    for (const auto& [key, value] : args.items()) {
      bool known = false;
      for (const ParamInfo& p : params) known = known || p.name == key;
      if (!known) throw ApiError(400, m.name + " has no parameter " + key);
    }
    for (const ParamInfo& p : params) {
      auto it = args.find(p.name);
      if (it == args.end()) {
        if (!p.byRef) throw ApiError(400, m.name + " needs argument " + p.name);
        out.push_back(ZeroOf(p));
      } else {
        out.push_back(ArgumentFromJson(*it, p));
      }
    }
    return out;
  }
  throw ApiError(400, "\"args\" must be an array or an object");
}

nlohmann::json CallResultJson(const MemberInfo& m, const AutoValue& result, const std::vector<AutoValue>& args) {
  nlohmann::json byRef = nlohmann::json::object();
  for (size_t i = 0; i < m.params.size() && i < args.size(); ++i) {
    if (m.params[i].byRef) byRef[m.params[i].name] = ValueToJson(args[i]);
  }
  return {{"result", ValueToJson(result)}, {"byRef", byRef}};
}

nlohmann::json TypeLibraryJson() {
  nlohmann::json members = nlohmann::json::array();
  for (const MemberInfo& m : BoundMembers()) {
    nlohmann::json params = nlohmann::json::array();
    for (const ParamInfo& p : m.params) {
      params.push_back({{"name", p.name}, {"type", AutoTypeName(p.type)}, {"byRef", p.byRef}});
    }
    const char* kind = m.kind == MemberKind::Method        ? "method"
                       : m.kind == MemberKind::PropertyGet ? "propertyGet"
                                                           : "propertyPut";
    members.push_back({{"name", m.name},
                       {"kind", kind},
                       {"parameters", params},
                       {"result", AutoTypeName(m.result)},
                       {"canWait", m.canWait}});
  }
  nlohmann::json enums = nlohmann::json::array();
  for (const EnumerationInfo& e : Enumerations()) {
    nlohmann::json values = nlohmann::json::array();
    for (const auto& [name, value] : e.members) values.push_back({{"name", name}, {"value", value}});
    enums.push_back({{"name", e.name}, {"members", values}});
  }
  return {{"class", kPublishedClass}, {"interface", kPublishedInterface}, {"members", members},
          {"enumerations", enums}};
}

}  // namespace tavkelo
