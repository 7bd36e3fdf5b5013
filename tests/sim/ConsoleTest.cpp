// Operator commands as kelo-sim reads them, judged by what the dyne then shows on the wire.

#include <gtest/gtest.h>

#include <vector>

#include "SimBench.hpp"
#include "sim/OperatorConsole.hpp"

namespace tavkelo::test {
namespace {

struct ConsoleCase {
  const char* name;
  std::vector<const char*> lines;
  const char* request;   // what the host then asks
  const char* expected;  // the payload it gets
};

class SimConsole : public ::testing::TestWithParam<ConsoleCase> {};

TEST_P(SimConsole, CommandsChangeWhatTheDyneShows) {
  KeloSimOptions options;
  options.setup[59] = 1000;  // both scales true
  options.setup[61] = 1000;
  SimBench bench(options);
  OperatorConsole console(bench.controller);
  for (const char* line : GetParam().lines) {
    const auto result = console.Execute(line);
    EXPECT_TRUE(result.ok) << line << ": " << result.text;
    EXPECT_FALSE(result.quit);
  }
  EXPECT_EQ(bench.Ask(GetParam().request), DataFrame(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SimConsole,
    ::testing::Values(
        ConsoleCase{"RestraintsAndFaults", {"restraints in", "fault motor", "fault error12"}, "\xB4\x11" "D\x05",
                    "0100000010011000"},
        ConsoleCase{"ClearAll", {"fault overtemp", "fault error6", "clear all"}, "\xB4\x11" "D\x05",
                    "0100000000000000"},
        ConsoleCase{"ClearOne", {"fault overtemp", "fault error7", "clear overtemp"}, "\xB4\x11" "D\x05",
                    "0100000100000000"},
        ConsoleCase{"ScaleLoad", {"scale left 812"}, "\xB4\x11" "E217\x05", " 217=812 lb\r"},
        ConsoleCase{"ScaleDeviceAndWeights", {"scale right device on", "scale right weights 5"},
                    "\xB4\x11" "E216\x05", " 216=498 lb\r"},  // 57 lb device + 5 x 88.16 lb
        ConsoleCase{"WeightsNeedTheDevice", {"scale right weights 5"}, "\xB4\x11" "E216\x05", " 216=0 lb\r"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SimConsoleCommands, LoadCellDeviceAndWeightsShowOnTheTorque) {
  KeloSimOptions options;
  options.physics.loadCell.biasLbf = 0.0;
  options.physics.loadCell.gain = 1.0;
  options.physics.loadCell.deviceLbf = 120.0;
  options.physics.loadCell.weightLbf = 50.0;
  SimBench bench(options);
  OperatorConsole console(bench.controller);
  console.Execute("device on");
  console.Execute("weights 3");
  EXPECT_EQ(bench.Ask(Action('E') + "231\x05"), DataFrame(" 231=270.0 lbf\r"));
  console.Execute("device off");
  EXPECT_EQ(bench.Ask(Action('E') + "231\x05"), DataFrame(" 231=0.0 lbf\r"));
}

TEST(SimConsoleCommands, ADriverHoldsItsSpeed) {
  SimBench bench;
  OperatorConsole console(bench.controller);
  ASSERT_TRUE(console.Execute("drive speed 30").ok);
  bench.Run(60'000);
  EXPECT_NEAR(bench.controller.SpeedMph(), 30.0, 0.1);
  console.Execute("drive off");
  bench.Run(10'000);
  EXPECT_LT(bench.controller.SpeedMph(), 28.0);
}

TEST(SimConsoleCommands, InjectFaultsTheNextReplies) {
  SimBench bench;
  OperatorConsole console(bench.controller);
  ASSERT_TRUE(console.Execute("inject nak 2").ok);
  EXPECT_EQ(bench.Exchange(Action('J')), kNak);
  EXPECT_EQ(bench.Exchange(Action('J')), kNak);
  EXPECT_EQ(bench.Exchange(Action('J')), kAck);
}

TEST(SimConsoleCommands, GetShowsAVariableAsTheControllerSendsIt) {
  SimBench bench;
  OperatorConsole console(bench.controller);
  EXPECT_EQ(console.Execute("get 1").text, "001-ROLLDIAMETER = 2173");
  EXPECT_EQ(console.Execute("get 209").text, "209-SPEED = 0.0 mph");
  EXPECT_FALSE(console.Execute("get 7").ok);
}

TEST(SimConsoleCommands, StatusHelpQuitAndNonsense) {
  SimBench bench;
  OperatorConsole console(bench.controller);
  const auto status = console.Execute("status");
  EXPECT_TRUE(status.ok);
  EXPECT_NE(status.text.find("0100000000000000"), std::string::npos) << status.text;
  EXPECT_NE(console.Execute("help").text.find("weights N"), std::string::npos);
  EXPECT_TRUE(console.Execute("quit").quit);
  EXPECT_TRUE(console.Execute("").ok);
  for (const char* bad : {"weights", "scale middle 5", "fault gremlins", "drive sideways", "inject bugs", "fly"}) {
    const auto result = console.Execute(bad);
    EXPECT_FALSE(result.ok) << bad;
    EXPECT_FALSE(result.text.empty());
  }
}

TEST(SimConsoleCommands, RestartKeepsTheSetUpMemory) {
  SimBench bench;
  OperatorConsole console(bench.controller);
  bench.Exchange(WriteVariable("000", "4127.00"));
  bench.Exchange(WriteVariable("059", "990.00"));
  bench.Exchange(Action('J'));
  console.Execute("restart");
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Off);
  EXPECT_EQ(bench.controller.VariableValue(59).value_or(-1), 990.0);
}

}  // namespace
}  // namespace tavkelo::test
