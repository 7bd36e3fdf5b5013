#pragma once
// Binds each member of the description (members/MemberTable.hpp) to clsKeloInterface: how to call
// it with the arguments converted to the parameters' types already. The binding is looked up by
// name and kind, and must cover exactly the described members: BoundMembers() checks that the
// first time it is used (at the server's start-up), and a test checks BindingMismatches().

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "members/MemberTable.hpp"

namespace tavkelo {

class clsKeloInterface;

// Calls a member; a by-reference argument carries the output back.
using MemberCall = std::function<AutoValue(clsKeloInterface&, std::vector<AutoValue>&)>;

// A described member with its call.
struct BoundMember : MemberInfo {
  MemberCall invoke;
};

// Every described member, in the description's order, with its call. Throws std::logic_error
// listing the mismatches when the binding does not cover exactly the described members.
const std::vector<BoundMember>& BoundMembers();
const BoundMember* FindBoundMember(std::string_view name, MemberKind kind);
// One line per member described but not bound, bound but not described, or bound twice; empty
// when the binding and the description match.
std::vector<std::string> BindingMismatches();

}  // namespace tavkelo
