#include <gtest/gtest.h>

#include <string>
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

struct CheckCase {
  const char* name;
  std::vector<uint8_t> bytes;
  DataFrameCheck check;
};

std::vector<uint8_t> WithChecksumLowDigitSpoiled(std::vector<uint8_t> frame) {
  frame[frame.size() - 2] ^= 0x01;
  return frame;
}

class Check : public ::testing::TestWithParam<CheckCase> {};

TEST_P(Check, StartByteAndChecksum) {
  const CheckCase& c = GetParam();
  EXPECT_EQ(CheckDataFrame(c.bytes.data(), c.bytes.size()), c.check);
}

INSTANTIATE_TEST_SUITE_P(
    Frames, Check,
    ::testing::Values(CheckCase{"Sound", DataFrame(" 209=12.5 mph\r"), DataFrameCheck::Sound},
                      CheckCase{"EmptyPayload", DataFrame(""), DataFrameCheck::Sound},
                      CheckCase{"NoStx",
                                Bytes("x 209=1\r\x17"
                                      "00$"),
                                DataFrameCheck::BadStart},
                      CheckCase{"Nothing", {}, DataFrameCheck::BadStart},
                      CheckCase{"WrongChecksum", WithChecksumLowDigitSpoiled(DataFrame("0101")),
                                DataFrameCheck::BadChecksum},
                      CheckCase{"TooShortForAChecksum", Bytes("\x02$"),
                                DataFrameCheck::BadChecksum}),
    [](const ::testing::TestParamInfo<CheckCase>& info) { return std::string(info.param.name); });

struct StatusCase {
  const char* name;
  std::string payload;
  int32_t result;
  const char* bits;  // the expected bits as characters, for a good payload
};

class Status : public ::testing::TestWithParam<StatusCase> {};

TEST_P(Status, SixteenCharactersSetSixteenBits) {
  const StatusCase& c = GetParam();
  std::vector<uint8_t> frame = DataFrame(c.payload);
  StatusReply r = ParseStatusReply(frame.data(), frame.size());
  EXPECT_EQ(r.result, c.result);
  if (c.result == xr::Success) {
    std::string bits;
    for (bool b : r.bits) bits.push_back(b ? '1' : '0');
    EXPECT_EQ(bits, c.bits);
    EXPECT_EQ(r.errorMessage, "");
  } else {
    EXPECT_EQ(r.errorMessage, "Error Parsing Dyne Status Data");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Payloads, Status,
    ::testing::Values(StatusCase{"Good", "1001000000010001", 0, "1001000000010001"},
                      StatusCase{"RestOfThePayloadIsNotExamined", "0100000000000001xx", 0,
                                 "0100000000000001"},
                      StatusCase{"ATwoAtPositionFive", "0000200000000000", 8, ""},
                      StatusCase{"FifteenCharacters", "010000000000000", 8, ""},
                      StatusCase{"Blank", "0 00000000000000", 8, ""}),
    [](const ::testing::TestParamInfo<StatusCase>& info) { return std::string(info.param.name); });

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
