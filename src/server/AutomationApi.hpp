#pragma once
// The remote automation API: clsKeloInterface objects with leases, their properties and methods,
// and the type library of the bound members, with arguments converted by the described parameter
// types.

#include <memory>
#include <string>
#include <vector>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "automation/MemberBinding.hpp"
#include "runtime/LoopTimer.hpp"
#include "server/ApiRequest.hpp"
#include "server/ObjectRegistry.hpp"

namespace tavkelo {

class AutomationApi {
 public:
  AutomationApi(RouteContext& context, int leaseSeconds);
  AutomationApi(const AutomationApi&) = delete;
  AutomationApi& operator=(const AutomationApi&) = delete;

  // /automation/objects[/{id}[/ping|/properties/{Name}|/methods/{Name}]] and /automation/typelib.
  void AddRoutes(httplib::Server& http);
  ObjectRegistry& Objects() { return registry_; }
  // Releases every object (loop thread, top level).
  void ReleaseAll();

 private:
  // Runs fn on the object as one call of its client (see ObjectRegistry::BeginCall): at the loop's
  // top level, in arrival order, or (a call that only reads) also inside another call's wait. A
  // top-level call renews the lease as soon as it arrives, too. ApiError(404) when there is no
  // such object.
  nlohmann::json CallOnObject(const std::string& id, bool topLevel,
                              const std::function<nlohmann::json(clsKeloInterface&)>& fn);
  void ReleaseLater(std::vector<std::unique_ptr<clsKeloInterface>> objects);

  RouteContext& context_;
  ObjectRegistry registry_;
  LoopTimer leaseTimer_;
  std::string typeLibrary_;
};

// The value in the parameter's automation type; ApiError(400) when it does not fit.
AutoValue ArgumentFromJson(const nlohmann::json& value, const ParamInfo& param);
nlohmann::json ValueToJson(const AutoValue& value);
// The arguments of a call from {"args": [...]} (positional) or {"args": {"Name": value}} (named).
// By-reference parameters may be left out; they start at zero.
std::vector<AutoValue> ArgumentsFromJson(const MemberInfo& member, const nlohmann::json& args);
// {"result": ..., "byRef": {"Name": value, ...}}.
nlohmann::json CallResultJson(const MemberInfo& member, const AutoValue& result,
                              const std::vector<AutoValue>& args);
// Every member with its kind, parameters and result type, and every enumeration. Fails (at the
// server's start-up) when the binding does not cover exactly the described members.
nlohmann::json TypeLibraryJson();

}  // namespace tavkelo
