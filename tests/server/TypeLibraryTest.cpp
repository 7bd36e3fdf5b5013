// The type library that GET /automation/typelib answers: generated from the member table that
// dispatches the calls, so it lists every member with its kind, parameters and result, and every
// enumeration with its members and values.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "automation/KeloEnums.hpp"
#include "server/AutomationApi.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;

const json& Library() {
  static const json kLibrary = TypeLibraryJson();
  return kLibrary;
}

const json* FindIn(const json& list, const std::string& name, const std::string& kind = "") {
  for (const json& item : list) {
    if (item["name"] == name && (kind.empty() || item["kind"] == kind)) return &item;
  }
  return nullptr;
}

TEST(TypeLibrary, NamesTheClassAndItsDispatchInterface) {
  EXPECT_EQ(Library()["class"], "clsKeloInterface");
  EXPECT_EQ(Library()["interface"], "_clsKeloInterface");
}

TEST(TypeLibrary, ListsEveryMemberOfTheTableOnceWithItsKindParametersAndResult) {
  const json& members = Library()["members"];
  const auto& table = MemberTable();
  ASSERT_EQ(members.size(), table.size());
  std::set<std::pair<std::string, std::string>> seen;
  for (size_t i = 0; i < table.size(); ++i) {
    const MemberInfo& m = table[i];
    const json& j = members[i];
    const char* kind = m.kind == MemberKind::Method ? "method" : m.kind == MemberKind::PropertyGet ? "propertyGet" : "propertyPut";
    EXPECT_EQ(j["name"], m.name);
    EXPECT_EQ(j["kind"], kind) << m.name;
    EXPECT_EQ(j["result"], AutoTypeName(m.result)) << m.name;
    EXPECT_EQ(j["canWait"], m.canWait) << m.name;
    ASSERT_EQ(j["parameters"].size(), m.params.size()) << m.name;
    for (size_t p = 0; p < m.params.size(); ++p) {
      EXPECT_EQ(j["parameters"][p], (json{{"name", m.params[p].name},
                                          {"type", AutoTypeName(m.params[p].type)},
                                          {"byRef", m.params[p].byRef}}))
          << m.name;
    }
    EXPECT_TRUE(seen.insert({m.name, kind}).second) << m.name << " listed twice as " << kind;
  }
}

struct Shape {
  const char* name;
  const char* kind;
  const char* signature;  // "Type name, ByRef Type name -> Result"
  bool canWait;
};

std::string Signature(const json& member) {
  std::string s;
  for (const json& p : member["parameters"]) {
    if (!s.empty()) s += ", ";
    s += (p["byRef"].get<bool>() ? "ByRef " : "") + p["type"].get<std::string>() + " " + p["name"].get<std::string>();
  }
  return s + " -> " + member["result"].get<std::string>();
}

TEST(TypeLibrary, DescribesTheMembersClientsCallAsTheyAreDeclared) {
  const Shape shapes[] = {
      {"Init", "method", "Boolean BeActive, Integer SerialPort, Long BaudRate, String Parity -> Void", false},
      {"Connect", "method", " -> Boolean", true},
      {"DisConnect", "method", " -> Void", true},
      {"RaiseLifts", "method", "Boolean TWDLift, Boolean FWDLift -> QRTXErrorConstants", true},
      {"LowerLifts", "method", "Boolean TWDLift, Boolean FWDLift -> QRTXErrorConstants", true},
      {"StartTest", "method", "QRTXTestIndeces TestIndex -> QRTXErrorConstants", false},
      {"StopTest", "method", " -> QRTXErrorConstants", true},
      {"GetSystemParameter", "method", "Byte WhichParam -> QRTXErrorConstants", true},
      {"SetSystemParameter", "method", "QRTXSysParamIndeces WhichParam, Single NewValue -> QRTXErrorConstants", true},
      {"GetParasiticsAtSpeed", "method",
       "Single TheSpeed, ByRef Single TWDRawPara, ByRef Single FWDRawPara, ByRef Single TWDUnseenPara, "
       "ByRef Single FWDUnseenPara -> QRTXErrorConstants",
       false},
      {"GetPIDConstants", "method",
       "QRTXPIDIndeces WhichPID, ByRef Single PValue, ByRef Single IValue, ByRef Single DValue -> QRTXErrorConstants",
       false},
      {"StartFakeDataPlayBack", "method", "String FakeDataFileName -> Boolean", false},
      {"AutoUpdateEnabled", "propertyGet", " -> Boolean", false},
      {"AutoUpdateEnabled", "propertyPut", "Boolean value -> Void", false},
      {"Connected", "propertyGet", " -> Boolean", false},
      {"AvgISEPercent", "propertyGet", " -> Single", true},
      {"CurTest", "propertyGet", " -> QRTXTestIndeces", false},
      {"LastTestCompletionStatus", "propertyGet", " -> QRTXLTCSIndeces", false},
      {"ASMTestMode", "propertyGet", " -> Byte", false},
      {"SerialPort", "propertyGet", " -> Integer", false},
      {"BaudRate", "propertyGet", " -> Long", false},
      {"Parity", "propertyGet", " -> String", false},
      {"PrimarySpeedMPH", "propertyGet", " -> Single", false},
      {"VehSimTestOnlyIntegrateInWindow", "propertyGet", "Integer WhichWin -> Boolean", false},
      {"VehSimTestHPIntWinAvgHPEPercent", "propertyGet", "Integer WhichWin -> Single", false},
  };
  for (const auto& s : shapes) {
    const json* m = FindIn(Library()["members"], s.name, s.kind);
    ASSERT_NE(m, nullptr) << s.name << " " << s.kind;
    EXPECT_EQ(Signature(*m), s.signature) << s.name;
    EXPECT_EQ((*m)["canWait"], s.canWait) << s.name;
  }
}

TEST(TypeLibrary, OnlyAutoUpdateEnabledIsWritable) {
  std::vector<std::string> writable;
  size_t methods = 0, getters = 0;
  for (const json& m : Library()["members"]) {
    if (m["kind"] == "propertyPut") writable.push_back(m["name"]);
    methods += m["kind"] == "method";
    getters += m["kind"] == "propertyGet";
  }
  EXPECT_EQ(writable, std::vector<std::string>{"AutoUpdateEnabled"});
  EXPECT_GT(methods, 60u);
  EXPECT_GT(getters, 150u);
}

TEST(TypeLibrary, EveryEnumerationComesWithItsMembersAndValues) {
  const json& enums = Library()["enumerations"];
  ASSERT_EQ(enums.size(), Enumerations().size());
  for (size_t i = 0; i < enums.size(); ++i) {
    const EnumerationInfo& e = Enumerations()[i];
    EXPECT_EQ(enums[i]["name"], e.name);
    ASSERT_EQ(enums[i]["members"].size(), e.members.size()) << e.name;
    for (size_t k = 0; k < e.members.size(); ++k) {
      EXPECT_EQ(enums[i]["members"][k], (json{{"name", e.members[k].first}, {"value", e.members[k].second}})) << e.name;
    }
  }
  struct Known {
    const char* enumeration;
    const char* member;
    int value;
  };
  const Known known[] = {{"QRTXErrorConstants", "gQRTXErrNoError", 0},
                         {"QRTXErrorConstants", "gQRTXErrCantRaiseLiftNow", 3},
                         {"QRTXErrorConstants", "gQRTXErrNoLinkToDevice", 200},
                         {"QRTXErrorConstants", "gQRTXErrCommError", 202},
                         {"QRTXTestIndeces", "gQRTXTIConstantTarget", 4},
                         {"QRTXLTCSIndeces", "gQRTXLTCSICompleted", 3},
                         {"QRTXLTCSIndeces", "gQRTXLTCSIInProgess", 1},
                         {"QRTXASMTestModeIndeces", "gQRTXASMTMI2525", 1},
                         {"QRTXSysParamIndeces", "gQRTXSPIHasActiveRestaints", 17},
                         {"QRTXAnalogInputIndeces", "gQRTXAIIRightScale", 4},
                         {"QRTXPIDIndeces", "gQRTXPISpeedPID", 2}};
  for (const auto& k : known) {
    const json* e = FindIn(enums, k.enumeration);
    ASSERT_NE(e, nullptr) << k.enumeration;
    const json* m = FindIn((*e)["members"], k.member);
    ASSERT_NE(m, nullptr) << k.member;
    EXPECT_EQ((*m)["value"], k.value) << k.member;
  }
}

TEST(TypeLibrary, EveryEnumerationThatAMemberNamesIsListed) {
  std::set<std::string> listed;
  for (const json& e : Library()["enumerations"]) listed.insert(e["name"]);
  const std::set<std::string> basic{"Void", "Boolean", "Byte", "Integer", "Long", "Single", "String"};
  for (const json& m : Library()["members"]) {
    std::vector<std::string> types{m["result"].get<std::string>()};
    for (const json& p : m["parameters"]) types.push_back(p["type"]);
    for (const std::string& t : types) {
      EXPECT_TRUE(basic.count(t) == 1 || listed.count(t) == 1) << m["name"] << " names the unknown type " << t;
    }
  }
}

}  // namespace
}  // namespace tavkelo
