// The controller's protocol and variables judged from the wire: request bytes in, reply bytes out.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

struct Step {
  std::string request, reply;
  uint32_t ms = 200;  // how long the host listens
};
Step Var(const char* number, const char* group) {
  return {GetVariable(number), DataFrame(group)};
}
std::string BadChecksum(std::string frame) {
  frame[frame.size() - 2] = frame[frame.size() - 2] == '0' ? '1' : '0';
  return frame;
}
const std::string kRest = DataFrame("0100000000000000");  // lifts down, nothing else

struct WireCase {
  const char* name;
  std::vector<Step> steps;
};

class SimWire : public ::testing::TestWithParam<WireCase> {};

TEST_P(SimWire, AnswersEachRequestWithTheExactBytes) {
  KeloSimOptions options;
  options.physics.loadCell.biasLbf = 10.0;  // the load cell at rest reads exactly 10 lbf
  options.physics.loadCell.gain = 1.0;
  SimBench bench(options);
  for (size_t i = 0; i < GetParam().steps.size(); ++i) {
    const Step& step = GetParam().steps[i];
    EXPECT_EQ(bench.Exchange(step.request, step.ms), step.reply) << "step " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Frames, SimWire,
    ::testing::Values(
        WireCase{"Status",
                 {{Enquiry('D'), kRest},
                  {Action('J'), kAck},
                  {Enquiry('D'), DataFrame("0100000000000001")}}},
        WireCase{"VariablesZeroOrBlankFilled",
                 {Var("000", " 0=3.12\r"), Var("  0", " 0=3.12\r"), Var("001", " 1=2173\r"),
                  Var("  1", " 1=2173\r"), Var("088", " 88=6672\r"), Var(" 88", " 88=6672\r"),
                  Var("059", " 59=970.00\r"), Var("209", " 209=0.0 mph\r"),
                  Var("231", " 231=10.0 lbf\r"), Var("227", " 227=0.000 s\r"),
                  Var("217", " 217=0 lb\r")}},
        WireCase{"TestValuesPowerTorqueSpeed",
                 {{Enquiry('C'), DataFrame(" 211=0.0 Hp\r 231=10.0 lbf\r 209=0.0 mph\r")}}},
        WireCase{"WriteWithAGoodChecksum",
                 {{WriteVariable("200", "25.0 mph"), kAck}, Var("200", " 200=25.0 mph\r")}},
        WireCase{
            "WriteWithABadChecksum",
            {{BadChecksum(WriteVariable("200", "25.0 mph")), kNak}, Var("200", " 200=0.0 mph\r")}},
        WireCase{"HostNakBringsTheSameFrameUntilAck",
                 {Var("001", " 1=2173\r"),
                  {kNak, DataFrame(" 1=2173\r")},
                  {kNak, DataFrame(" 1=2173\r")},
                  {kAck, ""},
                  {kNak, ""}}},
        WireCase{"ANewRequestEndsAnUnansweredFrame",
                 {{Enquiry('D'), kRest}, {Action('J'), kAck}, {kNak, ""}}},
        WireCase{"InvalidRequests",
                 {{Action('W'), kNak},
                  {Action('z'), kNak},
                  {Action('D') + "X", kNak},
                  {GetVariable("2X9"), kNak},
                  {GetVariable("9  "), kNak},
                  {GetVariable("999"), kNak},
                  {GetVariable("007"), kNak},
                  {Action('F') + "200:25.0 mph\r", kNak}}},
        WireCase{"GarbageAndBrokenOffFramesAreSkipped",
                 {{std::string("\x00\xFF\xB4zz\x11\x11", 7) + Enquiry('D'), kRest},
                  {"\xB4\x11"
                   "E20" +
                       GetVariable("209"),
                   DataFrame(" 209=0.0 mph\r")}}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SimWireActions, AreAcknowledged) {
  for (char c : std::string("0125689ABGHIJKLNOPRSTUVXYab7")) {
    SimBench bench;
    EXPECT_EQ(bench.Exchange(Action(c)), kAck) << "command " << c;
  }
}

void OpenWriteAccess(SimBench& bench) {
  ASSERT_EQ(bench.Exchange(WriteVariable("000", "4127.00")), kAck);
}

TEST(SimVariables, SetUpVariablesNeedTheWriteAccessCode4127) {
  SimBench bench;
  EXPECT_EQ(bench.Exchange(WriteVariable("059", "1000.00")), kNak);
  OpenWriteAccess(bench);
  EXPECT_EQ(bench.Exchange(WriteVariable("059", "1000.00")), kAck);
  EXPECT_EQ(bench.Ask(GetVariable("000")), DataFrame(" 0=3.12\r")) << "still the firmware version";
  // Measurements, unknown variables and text that is no number stay refused.
  for (auto [number, text] : {std::pair{"209", "12.0 mph"},
                              {"231", "10.0 lbf"},
                              {"227", "1.000 s"},
                              {"007", "1"},
                              {"250", "1"},
                              {"200", "fast"},
                              {"200", ""}}) {
    EXPECT_EQ(bench.Exchange(WriteVariable(number, text)), kNak) << number << " " << text;
  }
  EXPECT_EQ(bench.Exchange(WriteVariable("000", "4128.00")), kAck);  // any other code closes access
  EXPECT_EQ(bench.Exchange(WriteVariable("061", "1000.00")), kNak);
  EXPECT_EQ(bench.controller.VariableValue(59).value_or(-1), 1000.0);
  EXPECT_EQ(bench.controller.VariableValue(61).value_or(-1), 1030.0);
}

TEST(SimVariables, NegativeValuesAreReadFromTheirUnsignedForm) {
  SimBench bench;
  OpenWriteAccess(bench);
  struct Decoding {
    const char* number;
    const char* sent;
    double meant;
  };
  for (const Decoding& d : {Decoding{"051", "65531", -5},
                            {"052", "32768", -32768},
                            {"053", "32767", 32767},
                            {"098", "120", 120},
                            {"203", "878.35000", -0.5},
                            {"205", "873.85000", -5},
                            {"212", "12.25000", 12.25},
                            {"204", "-0.02000", -0.02},
                            {"200", "25.5 mph", 25.5},
                            {"228", "10.0 Hp", 10.0}}) {
    ASSERT_EQ(bench.Exchange(WriteVariable(d.number, d.sent)), kAck) << d.number;
    const auto number = static_cast<uint8_t>(std::atoi(d.number));
    EXPECT_NEAR(bench.controller.VariableValue(number).value_or(1e9), d.meant, 1e-9) << d.number;
  }
  EXPECT_EQ(bench.Ask(GetVariable("051")), DataFrame(" 51=-5\r"));
}

TEST(SimVariables, SetUpMemorySurvivesARestartAndAnEepromResetRestoresTheOptions) {
  KeloSimOptions options;
  options.setup[88] = 5000;
  SimBench bench(options);
  OpenWriteAccess(bench);
  bench.Exchange(WriteVariable("088", "6000"));
  bench.Exchange(WriteVariable("001", "2159"));
  bench.Exchange(WriteVariable("200", "30.0 mph"));
  bench.controller.Restart();
  EXPECT_EQ(bench.controller.VariableValue(88).value_or(-1), 6000.0);
  EXPECT_EQ(bench.controller.VariableValue(200).value_or(-1), 0.0);
  EXPECT_EQ(bench.Exchange(WriteVariable("088", "6100")), kNak) << "access ends with a restart";
  OpenWriteAccess(bench);
  EXPECT_EQ(bench.Exchange(WriteVariable("050", "1")), kAck);
  EXPECT_EQ(bench.controller.VariableValue(88).value_or(-1), 5000.0);
  EXPECT_EQ(bench.controller.VariableValue(1).value_or(-1), 2173.0);
}

TEST(SimVariables, TheDefaultLossWordsDescribeTheTrueLossCurve) {
  KeloSimOptions options;
  options.physics.loss = LossCurve{0.0, 0.04, 0.001, 0.00003};
  SimBench bench(options);
  // HP of each term at 50 mph, and the whole loss at 15 mph, in words of HP x 74.57.
  EXPECT_EQ(bench.controller.VariableValue(51).value_or(-1), std::round(0.04 * 50 * 74.57));
  EXPECT_EQ(bench.controller.VariableValue(52).value_or(-1), std::round(0.001 * 2500 * 74.57));
  EXPECT_EQ(bench.controller.VariableValue(53).value_or(-1), std::round(0.00003 * 125000 * 74.57));
  EXPECT_EQ(bench.controller.VariableValue(98).value_or(-1),
            std::round((0.6 + 0.225 + 0.00003 * 3375) * 74.57));
}

}  // namespace
}  // namespace tavkelo::test
