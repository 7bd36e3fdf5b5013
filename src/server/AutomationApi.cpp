#include "server/AutomationApi.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "members/KeloEnums.hpp"
#include "platform/VbFormat.hpp"
#include "server/KeloEngine.hpp"

namespace tavkelo {

namespace {

std::string TypeText(const ParamInfo& p) {
  return AutoTypeName(p.type);
}

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
    case AutoType::Boolean:
      return false;
    case AutoType::Byte:
      return uint8_t{0};
    case AutoType::Integer:
      return int16_t{0};
    case AutoType::Long:
    case AutoType::Enum:
      return int32_t{0};
    case AutoType::Single:
      return 0.0f;
    case AutoType::String:
      return std::string();
    case AutoType::Void:
      return AutoValue();
  }
  return AutoValue();
}

}  // namespace

AutoValue ArgumentFromJson(const nlohmann::json& v, const ParamInfo& p) {
  switch (p.type.type) {
    case AutoType::Boolean:
      if (!v.is_boolean()) Bad(p, "expected true or false, got " + v.dump());
      return v.get<bool>();
    case AutoType::Byte:
      return static_cast<uint8_t>(WholeNumber(v, p, 0, 255));
    case AutoType::Integer:
      return static_cast<int16_t>(WholeNumber(v, p, -32768, 32767));
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
    case AutoType::Void:
      break;
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
      throw ApiError(400, m.name + " takes " +
                              (required == params.size() ? "" : std::to_string(required) + " to ") +
                              std::to_string(params.size()) + " arguments, got " +
                              std::to_string(args.size()));
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

nlohmann::json CallResultJson(const MemberInfo& m, const AutoValue& result,
                              const std::vector<AutoValue>& args) {
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
    for (const auto& [name, value] : e.members)
      values.push_back({{"name", name}, {"value", value}});
    enums.push_back({{"name", e.name}, {"members", values}});
  }
  return {{"class", kPublishedClass},
          {"interface", kPublishedInterface},
          {"members", members},
          {"enumerations", enums}};
}

namespace {

std::string UnknownObject(const std::string& id) {
  return "unknown object " + id + " (released, or its lease ran out)";
}

// The arguments of a property read from its query (?WhichWin=1): each parameter by name, its
// text read as JSON when it is JSON and as a string otherwise.
std::vector<AutoValue> ArgumentsFromQuery(const MemberInfo& m, const httplib::Request& req) {
  std::vector<AutoValue> args;
  for (const ParamInfo& p : m.params) {
    if (!req.has_param(p.name.c_str())) {
      throw ApiError(400, m.name + " needs the query parameter " + p.name);
    }
    std::string text = req.get_param_value(p.name.c_str());
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    if (value.is_discarded()) value = text;
    args.push_back(ArgumentFromJson(value, p));
  }
  for (const auto& [key, value] : req.params) {
    bool known = false;
    for (const ParamInfo& p : m.params) known = known || p.name == key;
    if (!known) throw ApiError(400, m.name + " takes no query parameter " + key);
  }
  return args;
}

}  // namespace

AutomationApi::AutomationApi(RouteContext& context, int leaseSeconds)
    : context_(context),
      registry_(context.Engine().Context(), leaseSeconds),
      leaseTimer_(context.Loop()),
      typeLibrary_(TypeLibraryJson().dump()) {
  leaseTimer_.SetHandler([this] {
    auto expired = registry_.TakeExpired();
    if (!expired.empty()) ReleaseLater(std::move(expired));
  });
  leaseTimer_.SetInterval(1000);
  leaseTimer_.SetEnabled(true);
}

void AutomationApi::ReleaseLater(std::vector<std::unique_ptr<clsKeloInterface>> objects) {
  // A release can wait (it disconnects), so it runs at the loop's top level.
  auto shared =
      std::make_shared<std::vector<std::unique_ptr<clsKeloInterface>>>(std::move(objects));
  context_.Loop().Post([shared] { shared->clear(); }, CallKind::CanWait);
}

void AutomationApi::ReleaseAll() {
  leaseTimer_.SetEnabled(false);
  auto all = registry_.TakeAll();
  all.clear();
}

nlohmann::json AutomationApi::CallOnObject(
    const std::string& id, bool topLevel,
    const std::function<nlohmann::json(clsKeloInterface&)>& fn) {
  struct EndCall {
    ObjectRegistry& registry;
    const std::string& id;
    ~EndCall() { registry.EndCall(id); }
  };
  if (!topLevel) {
    return context_.OnLoop(CallKind::NeverWaits, [&] {
      clsKeloInterface* object = registry_.BeginCall(id);
      if (object == nullptr) throw ApiError(404, UnknownObject(id));
      EndCall end{registry_, id};
      return fn(*object);
    });
  }
  // A call that can wait may queue behind another client's long call: it is under way from the
  // moment it arrives, so the object does not expire while it waits its turn.
  if (!context_.OnLoop(CallKind::NeverWaits, [&] { return registry_.BeginCall(id) != nullptr; })) {
    throw ApiError(404, UnknownObject(id));
  }
  return context_.OnLoop(CallKind::CanWait, [&] {
    EndCall end{registry_, id};
    clsKeloInterface* object = registry_.Find(id);
    if (object == nullptr) throw ApiError(404, UnknownObject(id));
    return fn(*object);
  });
}

void AutomationApi::AddRoutes(httplib::Server& http) {
  using Request = httplib::Request;
  using Response = httplib::Response;
  http.Post("/automation/objects", [this](const Request& req, Response& res) {
    Answer(res, [&] {
      int lease = static_cast<int>(IntField(ParseBody(req), "leaseSeconds", 0, 1, 3600));
      return std::make_pair(201, context_.OnLoop(CallKind::CanWait, [&] {
        ObjectRegistry::Created c = registry_.Create(lease);
        return nlohmann::json{{"id", c.id}, {"leaseSeconds", c.leaseSeconds}};
      }));
    });
  });

  http.Delete(R"(/automation/objects/([^/]+))", [this](const Request& req, Response& res) {
    Answer(res, [&] {
      const std::string id = req.matches[1];
      bool released = context_.OnLoop(CallKind::CanWait, [&] {
        auto object = registry_.Take(id);
        if (object == nullptr) return false;
        object.reset();  // Class_Terminate: disconnects and closes
        return true;
      });
      if (!released) throw ApiError(404, "unknown object " + id);
      return std::make_pair(200, nlohmann::json{{"released", true}});
    });
  });

  http.Post(R"(/automation/objects/([^/]+)/ping)", [this](const Request& req, Response& res) {
    Answer(res, [&] {
      const std::string id = req.matches[1];
      int seconds = 0;
      if (!context_.OnLoop(CallKind::NeverWaits, [&] { return registry_.Ping(id, seconds); })) {
        throw ApiError(404, UnknownObject(id));
      }
      return std::make_pair(200, nlohmann::json{{"leaseSeconds", seconds}});
    });
  });

  const char* property = R"(/automation/objects/([^/]+)/properties/([A-Za-z0-9_]+))";
  http.Get(property, [this](const Request& req, Response& res) {
    Answer(res, [&] {
      const std::string id = req.matches[1];
      const std::string name = req.matches[2];
      const BoundMember* m = FindBoundMember(name, MemberKind::PropertyGet);
      if (m == nullptr) throw ApiError(404, "clsKeloInterface has no property " + name);
      std::vector<AutoValue> args = ArgumentsFromQuery(*m, req);
      return std::make_pair(
          200, CallOnObject(id, RunsAtTopLevel(*m), [&](clsKeloInterface& object) {
            return nlohmann::json{{"value", ValueToJson(m->invoke(object, args))}};
          }));
    });
  });

  http.Put(property, [this](const Request& req, Response& res) {
    Answer(res, [&] {
      const std::string id = req.matches[1];
      const std::string name = req.matches[2];
      const BoundMember* m = FindBoundMember(name, MemberKind::PropertyPut);
      if (m == nullptr && FindMember(name, MemberKind::PropertyGet) != nullptr) {
        throw ApiError(405, "property " + name + " is read-only");
      }
      if (m == nullptr) throw ApiError(404, "clsKeloInterface has no property " + name);
      nlohmann::json body = ParseBody(req);
      if (!body.contains("value")) throw ApiError(400, "the body needs {\"value\": ...}");
      std::vector<AutoValue> args{ArgumentFromJson(body["value"], m->params[0])};
      CallOnObject(id, RunsAtTopLevel(*m), [&](clsKeloInterface& object) {
        m->invoke(object, args);
        return nlohmann::json();
      });
      return std::make_pair(200, nlohmann::json{{"value", body["value"]}});
    });
  });

  http.Post(R"(/automation/objects/([^/]+)/methods/([A-Za-z0-9_]+))", [this](const Request& req,
                                                                             Response& res) {
    Answer(res, [&] {
      const std::string id = req.matches[1];
      const std::string name = req.matches[2];
      const BoundMember* m = FindBoundMember(name, MemberKind::Method);
      if (m == nullptr) throw ApiError(404, "clsKeloInterface has no method " + name);
      nlohmann::json body = ParseBody(req);
      std::vector<AutoValue> args =
          ArgumentsFromJson(*m, body.contains("args") ? body["args"] : nlohmann::json());
      return std::make_pair(200, CallOnObject(id, RunsAtTopLevel(*m), [&](clsKeloInterface& o) {
                              AutoValue result = m->invoke(o, args);
                              return CallResultJson(*m, result, args);
                            }));
    });
  });

  http.Get("/automation/typelib", [this](const Request&, Response& res) {
    res.set_content(typeLibrary_, "application/json");
  });
}

}  // namespace tavkelo
