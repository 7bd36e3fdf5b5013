// The binding of the described members to clsKeloInterface: it covers exactly the description,
// and what the bound calls answer has the described types.
#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "automation/MemberBinding.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

bool HoldsDescribedType(const AutoValue& value, const AutoTypeRef& type) {
  switch (type.type) {
    case AutoType::Void:
      return std::holds_alternative<std::monostate>(value);
    case AutoType::Boolean:
      return std::holds_alternative<bool>(value);
    case AutoType::Byte:
      return std::holds_alternative<uint8_t>(value);
    case AutoType::Integer:
      return std::holds_alternative<int16_t>(value);
    case AutoType::Long:
    case AutoType::Enum:
      return std::holds_alternative<int32_t>(value);
    case AutoType::Single:
      return std::holds_alternative<float>(value);
    case AutoType::String:
      return std::holds_alternative<std::string>(value);
  }
  return false;
}

TEST(MemberBinding, CoversExactlyTheDescribedMembers) {
  EXPECT_EQ(BindingMismatches(), std::vector<std::string>{});
}

TEST(MemberBinding, EveryPropertyAnswersInItsDescribedType) {
  test::InterfaceFixture f;
  std::unique_ptr<clsKeloInterface> k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  f.loop.PumpFor(1500);
  int read = 0;
  for (const BoundMember& m : BoundMembers()) {
    if (m.kind != MemberKind::PropertyGet) continue;
    std::vector<AutoValue> args;
    for (size_t i = 0; i < m.params.size(); ++i) args.emplace_back(int16_t{1});  // window 1
    EXPECT_TRUE(HoldsDescribedType(m.invoke(*k, args), m.result))
        << m.name << " is described as " << AutoTypeName(m.result);
    ++read;
  }
  EXPECT_GT(read, 100) << "every property read";
}

}  // namespace
}  // namespace tavkelo
