#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "runtime/OleDate.hpp"

namespace tavkelo {
namespace {

struct NumberCase {
  double value;
  const char* format;
  const char* expected;
};

class DoubleFormat : public ::testing::TestWithParam<NumberCase> {};

TEST_P(DoubleFormat, FormatsAsTheClassicRuntime) {
  const NumberCase& c = GetParam();
  EXPECT_EQ(VbFormat(c.value, c.format), c.expected) << c.value << " with " << c.format;
}

INSTANTIATE_TEST_SUITE_P(
    Formats, DoubleFormat,
    ::testing::Values(
        // whole numbers with forced digits
        NumberCase{7, "0", "7"}, NumberCase{7, "00", "07"}, NumberCase{7, "000", "007"},
        NumberCase{123, "00", "123"}, NumberCase{42, "00000", "00042"},
        NumberCase{1234567, "00000000", "01234567"}, NumberCase{-3, "000", "-003"},
        // halves round away from zero
        NumberCase{2.5, "0", "3"}, NumberCase{3.5, "0", "4"}, NumberCase{-2.5, "#0", "-3"},
        NumberCase{0.125, "0.00", "0.13"}, NumberCase{12.25, "##0.0", "12.3"},
        NumberCase{-12.25, "##0.0", "-12.3"}, NumberCase{0.5, "#0", "1"},
        // optional digits
        NumberCase{0.3, "#0", "0"}, NumberCase{5, "##0", "5"}, NumberCase{12345, "###0", "12345"},
        NumberCase{0, "####0", "0"}, NumberCase{9.96, "#0.0", "10.0"},
        NumberCase{1234.5, "####0.0", "1234.5"}, NumberCase{7.891, "###0.0", "7.9"},
        NumberCase{12.5, "00.0", "12.5"}, NumberCase{2.5, "00.0", "02.5"},
        NumberCase{3.14159, "00.00", "03.14"}, NumberCase{3.14159, "0.000", "3.142"},
        NumberCase{3.14159, "#0.000", "3.142"}, NumberCase{8.555, "#0.00", "8.56"},
        NumberCase{-0.001, "0.00", "-0.00"}, NumberCase{1.005, "##0.00", "1.01"},
        NumberCase{99999.995, "####0.00", "100000.00"},
        NumberCase{1.23456789, "###0.00000", "1.23457"},
        // the fraction-only format of the log stamp
        NumberCase{0.47, ".00", ".47"}, NumberCase{0.0, ".00", ".00"},
        NumberCase{0.994, ".00", ".99"}, NumberCase{0.996, ".00", "1.00"},
        NumberCase{0.005, ".00", ".01"},
        // scientific with two sections
        NumberCase{0.0, "#0.00000e+00;-0.00000e+00", "0.00000e+00"},
        NumberCase{1234.5, "#0.00000e+00;-0.00000e+00", "12.34500e+02"},
        NumberCase{-0.0123, "#0.00000e+00;-0.00000e+00", "-1.23000e-02"},
        NumberCase{0.999999999, "#0.00000e+00;-0.00000e+00", "10.00000e-01"},
        NumberCase{5.5, "0.00e+00", "5.50e+00"}, NumberCase{99.999, "0.00e+00", "1.00e+02"}));

TEST(VbFormat, SingleUsesItsSevenSignificantDigits) {
  // 1.005f is 1.00499999523... as a double; as a Single it reads 1.005000 and rounds up.
  EXPECT_EQ(VbFormat(1.005f, "0.00"), "1.01");
  EXPECT_EQ(VbFormat(static_cast<double>(1.005f), "0.00"), "1.00");
  // A Double keeps 15 digits: 2.675 reads 2.67500000000000 and rounds up.
  EXPECT_EQ(VbFormat(2.675, "0.00"), "2.68");
  EXPECT_EQ(VbFormat(0.1f, "0.0000000000"), "0.1000000000");
}

TEST(VbFormat, GeneralTextOfSingleAndDouble) {
  EXPECT_EQ(VbStr(8.555f), "8.555");
  EXPECT_EQ(VbStr(0.0f), "0");
  EXPECT_EQ(VbStr(-2.5f), "-2.5");
  EXPECT_EQ(VbStr(1234567.0f), "1234567");
  EXPECT_EQ(VbStr(12345678.0f), "1.234568E+07");
  EXPECT_EQ(VbStr(0.00001f), "0.00001");
  EXPECT_EQ(VbStr(0.000001f), "1E-06");
  EXPECT_EQ(VbStr(0.1), "0.1");
  EXPECT_EQ(VbStr(1.0 / 3.0), "0.333333333333333");
  EXPECT_EQ(VbStr(4127.0), "4127");
}

TEST(VbFormatDate, DateAndTimeTokens) {
  double date = OleDateFromParts(2020, 6, 22, 14, 23, 5);
  EXPECT_EQ(VbFormatDate(date, "yyyy-MM-dd HH:mm:ss"), "2020-06-22 14:23:05");
  EXPECT_EQ(VbFormatDate(date, "HHMMSS"), "142305");
  EXPECT_EQ(VbFormatDate(date, "YYYYMMDD"), "20200622");
  // Fractions of a second never round the seconds up.
  EXPECT_EQ(VbFormatDate(date + 0.9 / 86400.0, "HHMMSS"), "142305");
  EXPECT_EQ(VbFormatDate(OleDateFromParts(1999, 12, 31, 23, 59, 59), "yyyy-MM-dd HH:mm:ss"),
            "1999-12-31 23:59:59");
}

struct ValCase {
  const char* text;
  double expected;
};

TEST(VbVal, ReadsTheNumberAtTheStart) {
  const ValCase cases[] = {
      {"12abc", 12}, {"  42", 42},        {"-3.5x", -3.5}, {"+7", 7},          {"abc", 0},
      {"", 0},       {".5", 0.5},         {"1e3", 1000},   {"2.5E-1z", 0.25},  {"1 2 3", 123},
      {"12e", 12},   {"&HFF", 255},       {"&hffff", -1},  {"&H10000", 65536}, {"&O17", 15},
      {"&Hxyz", 0},  {"12.50 mph", 12.5}, {"1,5", 1}};
  for (const ValCase& c : cases) EXPECT_DOUBLE_EQ(VbVal(c.text), c.expected) << c.text;
}

struct NumberTextCase {
  const char* text;
  bool isNumber;
  double expected;
};

// Unlike the leading-number rule, every character must belong to the number.
TEST(VbNumberText, AcceptsOnlyATextThatIsANumber) {
  const NumberTextCase cases[] = {{" 12 ", true, 12}, {"-3.5", true, -3.5},   {".5", true, 0.5},
                                  {"5.", true, 5},    {"2.5E-1", true, 0.25}, {"&HFF", true, 255},
                                  {"&O17", true, 15}, {"12abc", false, 0},    {"", false, 0},
                                  {"   ", false, 0},  {".", false, 0},        {"-", false, 0},
                                  {"1e", false, 0},   {"1 2", false, 0},      {"&HXY", false, 0},
                                  {"&O8", false, 0},  {"&H", false, 0}};
  for (const NumberTextCase& c : cases) {
    std::optional<double> number = VbNumberText(c.text);
    ASSERT_EQ(number.has_value(), c.isNumber) << c.text;
    if (number) {
      EXPECT_DOUBLE_EQ(*number, c.expected) << c.text;
    }
  }
}

struct RoundCase {
  double value;
  int expected;
};

TEST(Conversions, CIntAndCLngRoundHalvesToEven) {
  const RoundCase cases[] = {{2.5, 2},         {3.5, 4},          {-2.5, -2},  {-3.5, -4},
                             {0.5, 0},         {1.5, 2},          {2.4999, 2}, {-0.6, -1},
                             {32767.4, 32767}, {-32768.5, -32768}};
  for (const RoundCase& c : cases) {
    EXPECT_EQ(VbCInt(c.value), c.expected) << c.value;
    EXPECT_EQ(VbCLng(c.value), c.expected) << c.value;
  }
}

TEST(Conversions, OverflowIsRaised) {
  for (double v : {40000.0, 32767.5, -32769.0}) {
    try {
      VbCInt(v);
      FAIL() << v << " did not overflow";
    } catch (const VbRuntimeError& e) {
      EXPECT_EQ(e.Number(), kVbErrOverflow);
      EXPECT_EQ(e.Description(), "Overflow");
    }
  }
  EXPECT_EQ(VbCLng(40000.0), 40000);
  EXPECT_THROW(VbCLng(2147483648.0), VbRuntimeError);
  EXPECT_EQ(VbCLng(-2147483648.0), INT32_MIN);
  EXPECT_EQ(VbCByte(255.4), 255);
  EXPECT_THROW(VbCByte(-1), VbRuntimeError);
}

}  // namespace
}  // namespace tavkelo
