#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "link/DyneReplyFrame.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo {
namespace {

using test::Bytes;
using test::DataFrame;

struct GatherCase {
  const char* name;
  size_t received;
  std::string batch;
  size_t taken;
  ReplyStatus status;
};

TEST(Gather, TakesTheReplysBytesAndFindsItsEnd) {
  // clang-format off
  const GatherCase cases[] = {
    {"AckAlone", 0, "\x06", 1, kReplyACK},
    {"NakAlone", 0, "\x15", 1, kReplyNAK},
    {"BytesAfterAnAckAreDropped", 0, "\x06\x06xyz", 1, kReplyACK},
    {"AckAfterTheFirstByteIsData", 3, "\x06", 1, kReplyPending},
    {"AFirstDollarDoesNotEnd", 0, "$", 1, kReplyPending},
    {"ASecondDollarEnds", 0, "$$", 2, kReplyData},
    {"DollarLaterInTheBatchEnds", 0, "\x02" "101\x17" "15$tail", 8, kReplyData},
    {"DollarInALaterBatchEnds", 7, "$tail", 1, kReplyData},
    {"FrameGoesOn", 4, "0101", 4, kReplyPending},
    {"UpTo255BytesFit", 250, "abcd$", 5, kReplyData},
    {"OneMoreIsAnOverflowAndNothingIsTaken", 251, "abcd$", 0, kReplyOverFlow}};
  // clang-format on
  for (const GatherCase& c : cases) {
    std::vector<uint8_t> batch = Bytes(c.batch);
    GatherStep step = GatherReplyBytes(c.received, batch.data(), batch.size());
    EXPECT_EQ(step.taken, c.taken) << c.name;
    EXPECT_EQ(step.status, c.status) << c.name;
  }
}

std::vector<uint8_t> WithChecksumLowDigitSpoiled(std::vector<uint8_t> frame) {
  frame[frame.size() - 2] ^= 0x01;
  return frame;
}

TEST(Check, StartByteAndChecksum) {
  const std::pair<std::vector<uint8_t>, DataFrameCheck> cases[] = {
      {DataFrame(" 209=12.5 mph\r"), DataFrameCheck::Sound},
      {DataFrame(""), DataFrameCheck::Sound},
      {Bytes("x 209=1\r\x17"
             "00$"),
       DataFrameCheck::BadStart},
      {{}, DataFrameCheck::BadStart},
      {WithChecksumLowDigitSpoiled(DataFrame("0101")), DataFrameCheck::BadChecksum},
      {Bytes("\x02$"), DataFrameCheck::BadChecksum}};  // too short for a checksum
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(CheckDataFrame(cases[i].first.data(), cases[i].first.size()), cases[i].second) << i;
}

struct VariableCase {
  const char* name;
  std::string payload;
  int32_t result;
  const char* message;
  // The groups read, as "variable=value unit" with value "-" where none was read.
  std::vector<std::string> groups;
};

std::string GroupText(const ReplyGroup& g) {
  char value[32] = "-";
  if (g.hasValue) std::snprintf(value, sizeof value, "%g", static_cast<double>(g.controllerValue));
  return std::to_string(g.variable) + "=" + value + " " + g.controllerUnit;
}

TEST(Variable, GroupsAndTheirErrors) {
  // clang-format off
  const VariableCase cases[] = {
    {"WithUnit", " 209=12.5 mph\r", 0, "", {"209=12.5 mph"}},
    {"WithoutUnit", "209=12.5\r", 0, "", {"209=12.5 "}},
    {"BlanksBeforeNumberAndValue", "  9=  12.5 mph\r", 0, "", {"9=12.5 mph"}},
    {"NoValue", " 209-\r", 0, "", {"209=0 "}},
    {"ThreeGroupsInOrder", " 211=3.5 Hp\r 231=100.0 lbf\r 209=22.0 mph\r", 0, "",
                 {"211=3.5 Hp", "231=100 lbf", "209=22 mph"}},
    {"AtMostFiveGroups", " 1=1\r 2=2\r 3=3\r 4=4\r 5=5\r 6=6\r", 0, "",
                 {"1=1 ", "2=2 ", "3=3 ", "4=4 ", "5=5 "}},
    {"NoSeparator", " 209x12.5 mph\r", 8, "Error Parsing Variable Number", {}},
    {"FourDigits", " 2091=12.5 mph\r", 8, "Error Parsing Variable Number", {}},
    {"ValueNotEnded", " 209=12.5", 8,
                 "Parse error, no CR or SPACE followed variable value", {"209=- "}},
    {"UnitNotEnded", " 209=12.5 mph", 8,
                 "Parse error, no CR followed Variable units data", {"209=12.5 "}},
    {"ErrorInTheSecondGroupKeepsTheFirst", " 211=3.5 Hp\r 231x", 8,
                 "Error Parsing Variable Number", {"211=3.5 Hp"}}};
  // clang-format on
  for (const VariableCase& c : cases) {
    std::vector<uint8_t> frame = DataFrame(c.payload);
    VariableReply r = ParseVariableReply(frame.data(), frame.size());
    EXPECT_EQ(r.result, c.result) << c.name;
    EXPECT_EQ(r.errorMessage, c.message) << c.name;
    std::vector<std::string> groups;
    for (size_t i = 0; i < r.groupCount; ++i) groups.push_back(GroupText(r.groups[i]));
    EXPECT_EQ(groups, c.groups) << c.name;
  }
}

}  // namespace
}  // namespace tavkelo
