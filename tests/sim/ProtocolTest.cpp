// The controller's protocol judged from the wire: request bytes in, reply bytes out.

#include <gtest/gtest.h>

#include <cctype>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

KeloSimOptions QuietCell() {
  KeloSimOptions options;
  options.physics.loadCell.biasLbf = 10.0;  // the load cell at rest reads exactly 10 lbf
  options.physics.loadCell.gain = 1.0;
  return options;
}

TEST(SimProtocol, StatusIsSixteenBitCharactersInADataFrame) {
  SimBench bench;
  // At rest with the lifts down: only bit 1.
  EXPECT_EQ(bench.Exchange(Enquiry('D')), DataFrame("0100000000000000"));
  bench.Send(kAck);
  bench.controller.Plant().SetRestraintsIn(true);
  bench.controller.Plant().RaiseFault(DyneFault::OverTemperature);
  EXPECT_EQ(bench.Ask(Enquiry('D')), DataFrame("0100000000010100"));
}

struct StatusCase {
  const char* name;
  void (*setUp)(SimBench&);
  const char* payload;
};

class SimStatusBits : public ::testing::TestWithParam<StatusCase> {};

TEST_P(SimStatusBits, EachConditionShowsOnItsBit) {
  SimBench bench;
  GetParam().setUp(bench);
  EXPECT_EQ(bench.Ask(Enquiry('D')), DataFrame(GetParam().payload));
}

INSTANTIATE_TEST_SUITE_P(
    Conditions, SimStatusBits,
    ::testing::Values(
        StatusCase{"LiftsUp", [](SimBench& b) { b.Exchange(Action('5'), 3500); }, "1000000000000000"},
        StatusCase{"LiftsMoving", [](SimBench& b) { b.Exchange(Action('5'), 1000); }, "0000000000000000"},
        StatusCase{"DeviceErrors", [](SimBench& b) {
                     b.controller.Plant().RaiseFault(DyneFault::DeviceError6);
                     b.controller.Plant().RaiseFault(DyneFault::DeviceError7);
                     b.controller.Plant().RaiseFault(DyneFault::DeviceError12);
                   }, "0100001100001000"},
        StatusCase{"MotorFault", [](SimBench& b) { b.controller.Plant().RaiseFault(DyneFault::MotorFault); },
                   "0100000010000000"},
        StatusCase{"RestraintsIn", [](SimBench& b) { b.controller.Plant().SetRestraintsIn(true); },
                   "0100000000010000"},
        StatusCase{"MotorOn", [](SimBench& b) { b.Exchange(Action('J')); }, "0100000000000001"},
        StatusCase{"MotorOffAgain", [](SimBench& b) {
                     b.Exchange(Action('J'));
                     b.Exchange(Action('K'));
                   }, "0100000000000000"}),
    [](const auto& info) { return std::string(info.param.name); });

struct VariableCase {
  const char* number;  // as the host writes it
  const char* group;   // what the payload must be
};

class SimGetVariable : public ::testing::TestWithParam<VariableCase> {};

TEST_P(SimGetVariable, AnswersOneGroupInControllerUnits) {
  SimBench bench(QuietCell());
  EXPECT_EQ(bench.Exchange(GetVariable(GetParam().number)), DataFrame(GetParam().group));
}

INSTANTIATE_TEST_SUITE_P(
    ZeroAndBlankFilled, SimGetVariable,
    ::testing::Values(VariableCase{"000", " 0=3.12\r"}, VariableCase{"  0", " 0=3.12\r"},
                      VariableCase{"001", " 1=2173\r"}, VariableCase{"  1", " 1=2173\r"},
                      VariableCase{"006", " 6=907\r"}, VariableCase{"  6", " 6=907\r"},
                      VariableCase{"088", " 88=6672\r"}, VariableCase{" 88", " 88=6672\r"},
                      VariableCase{"059", " 59=970.00\r"}, VariableCase{"061", " 61=1030.00\r"},
                      VariableCase{"209", " 209=0.0 mph\r"}, VariableCase{"231", " 231=10.0 lbf\r"},
                      VariableCase{"200", " 200=0.0 mph\r"}, VariableCase{"227", " 227=0.000 s\r"},
                      VariableCase{"217", " 217=0 lb\r"}));

TEST(SimProtocol, TestValuesCarryPowerTorqueAndSpeedInThatOrder) {
  SimBench bench(QuietCell());
  EXPECT_EQ(bench.Exchange(Enquiry('C')), DataFrame(" 211=0.0 Hp\r 231=10.0 lbf\r 209=0.0 mph\r"));
}

TEST(SimProtocol, TestValuesFollowTheRolls) {
  KeloSimOptions options = QuietCell();
  options.physics.motorTopSpeedMph = 30.0;
  SimBench bench(options);
  bench.Exchange(Action('J'), 30'000);  // up to speed and holding
  std::string frame = bench.Exchange(Enquiry('C'));
  ASSERT_GE(frame.size(), 5u);
  EXPECT_NE(frame.find(" 209=30.0 mph\r"), std::string::npos) << frame;
  EXPECT_LT(frame.find(" 211="), frame.find(" 231="));
  EXPECT_LT(frame.find(" 231="), frame.find(" 209="));
  // The motor drives against the losses: power and torque are negative (the machine pulls).
  EXPECT_NE(frame.find(" 211=-"), std::string::npos) << frame;
}

TEST(SimProtocol, ActionCommandsAreAcknowledged) {
  for (char c : std::string("0125689ABGHIJKLNOPRSTUVXYab7")) {
    SimBench bench;
    EXPECT_EQ(bench.Exchange(Action(c)), kAck) << "command " << c;
  }
}

TEST(SimProtocol, UnknownCommandsAndBrokenFramesAreRefused) {
  SimBench bench;
  EXPECT_EQ(bench.Exchange(Action('W')), kNak);
  EXPECT_EQ(bench.Exchange(Action('z')), kNak);
  EXPECT_EQ(bench.Exchange(Action('D') + "X"), kNak);       // no ENQ
  EXPECT_EQ(bench.Exchange(GetVariable("2X9")), kNak);      // not a number
  EXPECT_EQ(bench.Exchange(GetVariable("9  ")), kNak);      // blanks only in front
  EXPECT_EQ(bench.Exchange(GetVariable("999")), kNak);      // above 255
  EXPECT_EQ(bench.Exchange(GetVariable("007")), kNak);      // no such variable
  EXPECT_EQ(bench.Exchange(Action('F') + "200:25.0 mph\r"), kNak);  // no "="
  EXPECT_EQ(bench.controller.Counters().naks, 8u);
}

TEST(SimProtocol, WriteWithAGoodChecksumIsAcknowledgedAndTakesEffect) {
  SimBench bench;
  EXPECT_EQ(bench.Exchange(WriteVariable("200", "25.0 mph")), kAck);
  EXPECT_EQ(bench.Exchange(GetVariable("200")), DataFrame(" 200=25.0 mph\r"));
  bench.Send(kAck);
  EXPECT_EQ(bench.Exchange(WriteVariable("201", "252.5 lbf")), kAck);
  EXPECT_EQ(bench.Ask(GetVariable("201")), DataFrame(" 201=252.5 lbf\r"));
  ASSERT_FALSE(bench.controller.Requests().empty());
  EXPECT_EQ(bench.controller.Requests()[2].valueText, "252.5 lbf");
}

TEST(SimProtocol, WriteWithABadChecksumIsRefusedAndChangesNothing) {
  SimBench bench;
  std::string frame = WriteVariable("200", "25.0 mph");
  frame[frame.size() - 2] = frame[frame.size() - 2] == '0' ? '1' : '0';
  EXPECT_EQ(bench.Exchange(frame), kNak);
  EXPECT_EQ(bench.Ask(GetVariable("200")), DataFrame(" 200=0.0 mph\r"));
}

TEST(SimProtocol, TheChecksumMayBeWrittenInLowerCase) {
  SimBench bench;
  std::string frame = WriteVariable("207", "30.0 mph");
  ASSERT_NE(frame.substr(frame.size() - 3, 2).find_first_of("ABCDEF"), std::string::npos) << "needs a letter";
  std::string lower = frame;
  for (size_t i = lower.size() - 3; i < lower.size() - 1; ++i) lower[i] = static_cast<char>(std::tolower(lower[i]));
  EXPECT_EQ(bench.Exchange(lower), kAck);
  EXPECT_EQ(bench.controller.VariableValue(207).value_or(-1), 30.0);
}

TEST(SimProtocol, AHostNakBringsTheSameFrameAgainAndAnAckEndsTheExchange) {
  SimBench bench;
  const std::string first = bench.Exchange(GetVariable("001"));
  ASSERT_EQ(first, DataFrame(" 1=2173\r"));
  EXPECT_EQ(bench.Exchange(kNak), first);
  EXPECT_EQ(bench.Exchange(kNak), first);
  EXPECT_EQ(bench.Exchange(kAck), "");
  EXPECT_EQ(bench.Exchange(kNak), "");  // nothing is pending any more
  EXPECT_EQ(bench.controller.Counters().resends, 2u);
  EXPECT_EQ(bench.controller.Counters().hostAcks, 1u);
}

TEST(SimProtocol, ANewRequestEndsAnUnansweredDataFrame) {
  SimBench bench;
  bench.Exchange(Enquiry('D'));
  EXPECT_EQ(bench.Exchange(Action('J')), kAck);
  EXPECT_EQ(bench.Exchange(kNak), "");  // the status frame is no longer kept
}

TEST(SimProtocol, GarbageIsSkippedUpToTheNextFrame) {
  SimBench bench;
  const std::string garbage("\x00\xFF\xB4zz\x11\x11", 7);
  EXPECT_EQ(bench.Exchange(garbage + Enquiry('D')), DataFrame("0100000000000000"));
  EXPECT_EQ(bench.controller.SkippedBytes(), 7u);
}

TEST(SimProtocol, AFrameCutShortByANewOneGetsNoAnswerOfItsOwn) {
  SimBench bench;
  // A request broken off mid-way, then sent again in full.
  EXPECT_EQ(bench.Exchange("\xB4\x11" "E20" + GetVariable("209")), DataFrame(" 209=0.0 mph\r"));
  EXPECT_EQ(bench.controller.Counters().dropped, 1u);
  EXPECT_EQ(bench.controller.Counters().requests, 1u);
}

TEST(SimProtocol, RequestsArriveSplitAcrossReads) {
  SimBench bench;
  const std::string frame = WriteVariable("200", "12.5 mph");
  for (char c : frame) {
    bench.Send(std::string(1, c));
    bench.Run(3);
  }
  EXPECT_EQ(bench.Receive(), kAck);
  EXPECT_EQ(bench.controller.VariableValue(200).value_or(-1), 12.5);
}

TEST(SimProtocol, TheRequestLogKeepsCommandVariableValueAndArrivalTime) {
  SimBench bench;
  bench.Run(1000);
  bench.Exchange(WriteVariable("207", "30.0 mph"));
  bench.Ask(GetVariable("227"));
  const auto& log = bench.controller.Requests();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].command, 'F');
  EXPECT_EQ(log[0].variable, 207);
  EXPECT_EQ(log[0].valueText, "30.0 mph");
  EXPECT_EQ(log[0].reply, ReplyKind::Ack);
  EXPECT_EQ(log[1].command, 'E');
  EXPECT_EQ(log[1].reply, ReplyKind::Data);
  // Arrival is when the last byte is in: 20 bytes of 10 bits at 9600 baud after the 1 s mark.
  EXPECT_GE(log[0].atUs, 1'000'000 + 20 * 10'000'000 / 9600);
  EXPECT_LT(log[0].atUs, log[1].atUs);
}

}  // namespace
}  // namespace tavkelo::test
