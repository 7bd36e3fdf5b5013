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
  std::string request;   // what the host then asks
  const char* expected;  // the payload it gets
  uint32_t runMs = 0;    // how long the dyne runs before
};

class SimConsole : public ::testing::TestWithParam<ConsoleCase> {};

TEST_P(SimConsole, CommandsChangeWhatTheDyneShows) {
  KeloSimOptions options;
  options.setup[59] = options.setup[61] = 1000;  // both scales true
  options.physics.loadCell = {.biasLbf = 0.0, .gain = 1.0, .deviceLbf = 120.0, .weightLbf = 50.0};
  SimBench bench(options);
  OperatorConsole console(bench.controller);
  for (const char* line : GetParam().lines) {
    const auto result = console.Execute(line);
    EXPECT_TRUE(result.ok && !result.quit) << line << ": " << result.text;
  }
  bench.Run(GetParam().runMs);
  EXPECT_EQ(bench.Ask(GetParam().request), DataFrame(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, SimConsole,
    ::testing::Values(ConsoleCase{"RestraintsAndFaults",
                                  {"restraints in", "fault motor", "fault overtemp", "fault error6",
                                   "fault error7", "fault error12", "clear error7"},
                                  Enquiry('D'),
                                  "0100001010011100"},
                      ConsoleCase{"ClearAll",
                                  {"fault overtemp", "fault error6", "clear all"},
                                  Enquiry('D'),
                                  "0100000000000000"},
                      ConsoleCase{"ScaleLoads",
                                  {"scale left 812", "scale right 650"},
                                  GetVariable("238"),
                                  " 238=1462 lb\r"},
                      ConsoleCase{"ScaleDeviceAndWeights",
                                  {"scale right device on", "scale right weights 5"},
                                  GetVariable("216"),
                                  " 216=498 lb\r"},  // 57 lb device + 5 x 88.16 lb
                      ConsoleCase{"ScaleWeightsNeedTheDevice",
                                  {"scale right weights 5"},
                                  GetVariable("216"),
                                  " 216=0 lb\r"},
                      ConsoleCase{"LoadCellDeviceAndWeights",
                                  {"device on", "weights 3"},
                                  GetVariable("231"),
                                  " 231=270.0 lbf\r"},
                      ConsoleCase{"ADriverHoldsItsSpeed",
                                  {"drive speed 30"},
                                  GetVariable("209"),
                                  " 209=30.0 mph\r",
                                  60'000}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SimConsoleCommands, GetStatusQuitAndNonsense) {
  SimBench bench;
  OperatorConsole console(bench.controller);
  EXPECT_EQ(console.Execute("get 1").text, "001-ROLLDIAMETER = 2173");
  EXPECT_EQ(console.Execute("get 209").text, "209-SPEED = 0.0 mph");
  EXPECT_NE(console.Execute("status").text.find("0100000000000000"), std::string::npos);
  EXPECT_TRUE(console.Execute("quit").quit);
  for (const char* bad : {"get 7", "weights", "scale middle 5", "fault gremlins", "drive sideways",
                          "inject bugs", "fly"}) {
    const auto result = console.Execute(bad);
    EXPECT_FALSE(result.ok || result.text.empty()) << bad;
  }
}

}  // namespace
}  // namespace tavkelo::test
