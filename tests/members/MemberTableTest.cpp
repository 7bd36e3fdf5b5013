// What a type library made from the description needs of it (the members and enumerations
// themselves are in the golden type library, tests/data/golden/typelib.json): every type it names
// exists, no name is described twice for the same kind, and a property that can be written can be
// read, in the same type.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

#include "members/KeloEnums.hpp"
#include "members/MemberTable.hpp"

namespace tavkelo {
namespace {

TEST(MemberTable, EveryTypeNamedIsAnAutomationTypeOrAListedEnumeration) {
  std::set<std::string> types{"Void", "Boolean", "Byte", "Integer", "Long", "Single", "String"};
  for (const EnumerationInfo& e : Enumerations()) types.insert(e.name);
  for (const MemberInfo& m : MemberTable()) {
    EXPECT_EQ(types.count(AutoTypeName(m.result)), 1u) << m.name << " answers an unlisted type";
    for (const ParamInfo& p : m.params) {
      EXPECT_EQ(types.count(AutoTypeName(p.type)), 1u) << m.name << "." << p.name;
      EXPECT_FALSE(p.name.empty()) << m.name;
    }
  }
}

TEST(MemberTable, NamesAreUniquePerKindAndEveryPutHasItsGet) {
  std::set<std::pair<MemberKind, std::string>> seen;
  for (const MemberInfo& m : MemberTable()) {
    EXPECT_TRUE(seen.insert({m.kind, m.name}).second) << m.name << " is described twice";
    if (m.kind != MemberKind::PropertyPut) continue;
    const MemberInfo* get = FindMember(m.name, MemberKind::PropertyGet);
    ASSERT_NE(get, nullptr) << m.name << " can be written but not read";
    ASSERT_EQ(m.params.size(), 1u) << m.name;
    EXPECT_EQ(AutoTypeName(m.params[0].type), AutoTypeName(get->result)) << m.name;
  }
}

}  // namespace
}  // namespace tavkelo
