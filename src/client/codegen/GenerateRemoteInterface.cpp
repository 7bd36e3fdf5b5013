// Writes RemoteKeloInterface.hpp and .cpp: the client library's mirror of clsKeloInterface, one
// C++ member per entry of the member table, each a call of the remote automation API.
// Usage: GenerateRemoteInterface OUTPUT_DIR

#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <string>

#include "members/MemberTable.hpp"

using namespace tavkelo;

namespace {

std::string CppType(const AutoTypeRef& t) {
  switch (t.type) {
    case AutoType::Void:
      return "void";
    case AutoType::Boolean:
      return "bool";
    case AutoType::Byte:
      return "uint8_t";
    case AutoType::Integer:
      return "int16_t";
    case AutoType::Long:
      return "int32_t";
    case AutoType::Single:
      return "float";
    case AutoType::String:
      return "std::string";
    case AutoType::Enum:
      return t.enumName;
  }
  return "void";
}

std::string ParamDecl(const ParamInfo& p) {
  std::string type = CppType(p.type);
  if (p.byRef) return type + "& " + p.name;
  if (p.type.type == AutoType::String) return "const std::string& " + p.name;
  return type + " " + p.name;
}

// C++ expression turning a JSON value j into the type.
std::string FromJson(const AutoTypeRef& t, const std::string& j) {
  if (t.type == AutoType::Enum)
    return "static_cast<" + std::string(t.enumName) + ">(" + j + ".get<int32_t>())";
  return j + ".get<" + CppType(t) + ">()";
}

std::string ToJson(const ParamInfo& p) {
  if (p.type.type == AutoType::Enum) return "static_cast<int32_t>(" + p.name + ")";
  return p.name;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: GenerateRemoteInterface OUTPUT_DIR\n";
    return 2;
  }
  std::string dir = argv[1];
  std::ofstream h(dir + "/RemoteKeloInterface.hpp");
  std::ofstream c(dir + "/RemoteKeloInterface.cpp");
  h << "#pragma once\n// Generated from the member table by GenerateRemoteInterface; do not edit.\n"
       "// clsKeloInterface seen from another process: each member calls the remote automation "
       "API.\n\n"
       "#include <cstdint>\n#include <string>\n\n#include \"members/KeloEnums.hpp\"\n"
       "#include \"client/AutomationClient.hpp\"\n\nnamespace tavkelo {\n\n"
       "class RemoteKeloInterface : public RemoteObject {\n public:\n"
       "  // Creates the object on the server (and keeps its lease while this lives).\n"
       "  explicit RemoteKeloInterface(AutomationClient& client, int leaseSeconds = 0) : "
       "RemoteObject(client, "
       "leaseSeconds) {}\n"
       "  // Takes over an object created earlier.\n"
       "  RemoteKeloInterface(AutomationClient& client, std::string id, bool releaseAtEnd) : "
       "RemoteObject(client, "
       "std::move(id), releaseAtEnd) {}\n\n";
  c << "// Generated from the member table by GenerateRemoteInterface; do not edit.\n"
       "#include \"RemoteKeloInterface.hpp\"\n\nnamespace tavkelo {\n\n";
  for (const MemberInfo& m : MemberTable()) {
    std::string result = CppType(m.result);
    std::string params;
    for (size_t i = 0; i < m.params.size(); ++i) params += (i ? ", " : "") + ParamDecl(m.params[i]);
    if (m.kind == MemberKind::PropertyPut) {
      h << "  void " << m.name << "(" << ParamDecl(m.params[0]) << ");\n";
      c << "void RemoteKeloInterface::" << m.name << "(" << ParamDecl(m.params[0])
        << ") {\n  Put(\"" << m.name << "\", nlohmann::json(" << ToJson(m.params[0])
        << "));\n}\n\n";
      continue;
    }
    h << "  " << result << " " << m.name << "(" << params << ");\n";
    c << result << " RemoteKeloInterface::" << m.name << "(" << params << ") {\n";
    if (m.kind == MemberKind::PropertyGet) {
      std::string query;
      for (const ParamInfo& p : m.params)
        query += "{\"" + p.name + "\", std::to_string(" + p.name + ")},";
      c << "  nlohmann::json value = Get(\"" << m.name << "\", {" << query << "});\n";
      c << "  return " << FromJson(m.result, "value") << ";\n}\n\n";
      continue;
    }
    c << "  nlohmann::json args = nlohmann::json::array();\n";
    for (const ParamInfo& p : m.params) c << "  args.push_back(" << ToJson(p) << ");\n";
    c << "  nlohmann::json answer = Call(\"" << m.name << "\", args);\n";
    for (const ParamInfo& p : m.params) {
      if (p.byRef)
        c << "  " << p.name << " = " << FromJson(p.type, "answer[\"byRef\"][\"" + p.name + "\"]")
          << ";\n";
    }
    if (m.result.type == AutoType::Void) {
      c << "  (void)answer;\n}\n\n";
    } else {
      c << "  return " << FromJson(m.result, "answer[\"result\"]") << ";\n}\n\n";
    }
  }
  h << "};\n\n}  // namespace tavkelo\n";
  c << "}  // namespace tavkelo\n";
  return h && c ? 0 : 1;
}
