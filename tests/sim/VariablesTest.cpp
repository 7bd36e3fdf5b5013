// Which variables the controller lets the host write, and how it reads what was written.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

void OpenWriteAccess(SimBench& bench) { ASSERT_EQ(bench.Exchange(WriteVariable("000", "4127.00")), kAck); }

TEST(SimVariables, SetUpVariablesNeedTheWriteAccessCode) {
  SimBench bench;
  EXPECT_EQ(bench.Exchange(WriteVariable("059", "1000.00")), kNak);
  EXPECT_EQ(bench.controller.VariableValue(59).value_or(-1), 970.0);

  OpenWriteAccess(bench);
  EXPECT_TRUE(bench.controller.WriteAccess());
  EXPECT_EQ(bench.Exchange(WriteVariable("059", "1000.00")), kAck);
  EXPECT_EQ(bench.controller.VariableValue(59).value_or(-1), 1000.0);

  // Variable 0 still reads as the firmware version, not as the code.
  EXPECT_EQ(bench.Ask(GetVariable("000")), DataFrame(" 0=3.12\r"));

  // Writing 0 withdraws the access again.
  EXPECT_EQ(bench.Exchange(WriteVariable("000", "0.00")), kAck);
  EXPECT_FALSE(bench.controller.WriteAccess());
  EXPECT_EQ(bench.Exchange(WriteVariable("061", "1000.00")), kNak);
  EXPECT_EQ(bench.controller.VariableValue(61).value_or(-1), 1030.0);
}

TEST(SimVariables, AWrongAccessCodeClosesAccess) {
  SimBench bench;
  OpenWriteAccess(bench);
  EXPECT_EQ(bench.Exchange(WriteVariable("000", "4128.00")), kAck);
  EXPECT_EQ(bench.Exchange(WriteVariable("088", "5000")), kNak);
}

struct RefusedWrite {
  const char* number;
  const char* text;
};

class SimRefusedWrites : public ::testing::TestWithParam<RefusedWrite> {};

TEST_P(SimRefusedWrites, AreAnsweredWithNak) {
  SimBench bench;
  OpenWriteAccess(bench);
  EXPECT_EQ(bench.Exchange(WriteVariable(GetParam().number, GetParam().text)), kNak);
}

INSTANTIATE_TEST_SUITE_P(ReadOnlyUnknownOrNotANumber, SimRefusedWrites,
                         ::testing::Values(RefusedWrite{"209", "12.0 mph"},   // a measurement
                                           RefusedWrite{"231", "10.0 lbf"},
                                           RefusedWrite{"227", "1.000 s"},
                                           RefusedWrite{"007", "1"},          // no such variable
                                           RefusedWrite{"250", "1"},
                                           RefusedWrite{"200", "fast"},       // not a number
                                           RefusedWrite{"200", ""}));

struct Decoding {
  const char* number;
  const char* sent;  // as the host puts it on the wire
  double meant;
};

class SimNegativeValues : public ::testing::TestWithParam<Decoding> {};

TEST_P(SimNegativeValues, AreReadBackFromTheirUnsignedForm) {
  SimBench bench;
  OpenWriteAccess(bench);
  ASSERT_EQ(bench.Exchange(WriteVariable(GetParam().number, GetParam().sent)), kAck);
  const int number = std::atoi(GetParam().number);
  EXPECT_NEAR(bench.controller.VariableValue(static_cast<uint8_t>(number)).value_or(1e9), GetParam().meant, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Words16BitAndRoadLoadTerms, SimNegativeValues,
    ::testing::Values(Decoding{"051", "65531", -5}, Decoding{"052", "32768", -32768}, Decoding{"053", "32767", 32767},
                      Decoding{"098", "120", 120}, Decoding{"203", "878.35000", -0.5},
                      Decoding{"205", "873.85000", -5}, Decoding{"212", "12.25000", 12.25},
                      Decoding{"204", "-0.02000", -0.02},
                      // Speeds and powers have no negative meaning: taken as they come.
                      Decoding{"200", "25.5 mph", 25.5}, Decoding{"228", "10.0 Hp", 10.0}));

TEST(SimVariables, ANegativeSetUpValueReadsBackSigned) {
  SimBench bench;
  OpenWriteAccess(bench);
  bench.Exchange(WriteVariable("051", "65531"));
  EXPECT_EQ(bench.Ask(GetVariable("051")), DataFrame(" 51=-5\r"));
}

TEST(SimVariables, SetUpMemorySurvivesARestartTargetsAndAccessDoNot) {
  SimBench bench;
  OpenWriteAccess(bench);
  bench.Exchange(WriteVariable("006", "1200"));
  bench.Exchange(WriteVariable("200", "30.0 mph"));
  bench.controller.Restart();
  EXPECT_EQ(bench.controller.VariableValue(6).value_or(-1), 1200.0);
  EXPECT_EQ(bench.controller.VariableValue(200).value_or(-1), 0.0);
  EXPECT_FALSE(bench.controller.WriteAccess());
  EXPECT_EQ(bench.Exchange(WriteVariable("006", "1300")), kNak);
}

TEST(SimVariables, EepromResetBringsBackTheFactoryValues) {
  KeloSimOptions options;
  options.setup[88] = 5000;
  SimBench bench(options);
  OpenWriteAccess(bench);
  bench.Exchange(WriteVariable("088", "6000"));
  bench.Exchange(WriteVariable("001", "2159"));
  EXPECT_EQ(bench.controller.VariableValue(88).value_or(-1), 6000.0);
  EXPECT_EQ(bench.Exchange(WriteVariable("050", "1")), kAck);
  EXPECT_EQ(bench.controller.VariableValue(88).value_or(-1), 5000.0);  // the option's value
  EXPECT_EQ(bench.controller.VariableValue(1).value_or(-1), 2173.0);
}

TEST(SimVariables, OptionsGiveInitialSetUpValues) {
  KeloSimOptions options;
  options.setup[1] = 2159;
  options.setup[6] = 1000;
  options.firmwareVersion = 4.05;
  SimBench bench(options);
  EXPECT_EQ(bench.Ask(GetVariable("  1")), DataFrame(" 1=2159\r"));
  EXPECT_EQ(bench.Ask(GetVariable("  6")), DataFrame(" 6=1000\r"));
  EXPECT_EQ(bench.Ask(GetVariable("  0")), DataFrame(" 0=4.05\r"));
}

TEST(SimVariables, TheDefaultLossWordsDescribeTheTrueLossCurve) {
  // HP at 50 mph of each term, in words of HP x 74.57, rounded.
  KeloSimOptions options;
  options.physics.loss = LossCurve{0.0, 0.04, 0.001, 0.00003};
  SimBench bench(options);
  EXPECT_EQ(bench.controller.VariableValue(51).value_or(-1), std::round(0.04 * 50 * 74.57));
  EXPECT_EQ(bench.controller.VariableValue(52).value_or(-1), std::round(0.001 * 2500 * 74.57));
  EXPECT_EQ(bench.controller.VariableValue(53).value_or(-1), std::round(0.00003 * 125000 * 74.57));
  const double at15 = 0.04 * 15 + 0.001 * 225 + 0.00003 * 3375;
  EXPECT_EQ(bench.controller.VariableValue(98).value_or(-1), std::round(at15 * 74.57));
}

}  // namespace
}  // namespace tavkelo::test
