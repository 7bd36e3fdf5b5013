#pragma once
// The automation interface as JSON: argument conversion by the described parameter types, results
// and by-reference outputs, and the type library of the bound members.

#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "automation/MemberBinding.hpp"

namespace tavkelo {

// A failed call of the API itself (not of the member): its HTTP status and what was wrong.
class ApiError : public std::runtime_error {
 public:
  ApiError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int Status() const { return status_; }

 private:
  int status_;
};

// The value in the parameter's automation type; ApiError(400) when it does not fit.
AutoValue ArgumentFromJson(const nlohmann::json& value, const ParamInfo& param);
nlohmann::json ValueToJson(const AutoValue& value);
// The arguments of a call from {"args": [...]} (positional) or {"args": {"Name": value}} (named).
// By-reference parameters may be left out; they start at zero.
std::vector<AutoValue> ArgumentsFromJson(const MemberInfo& member, const nlohmann::json& args);
// {"result": ..., "byRef": {"Name": value, ...}}.
nlohmann::json CallResultJson(const MemberInfo& member, const AutoValue& result, const std::vector<AutoValue>& args);
// Every member with its kind, parameters and result type, and every enumeration. Fails (at the
// server's start-up) when the binding does not cover exactly the described members.
nlohmann::json TypeLibraryJson();

}  // namespace tavkelo
