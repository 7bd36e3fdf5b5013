// The error constants' and test indexes' texts as clients and the log see them.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "members/KeloEnums.hpp"

namespace tavkelo {
namespace {

// The ends of the device's and the interface's ranges and values outside both; the texts in
// between are each a constant's own line, and several are met in the automation tests' logs.
TEST(ErrorTexts, TheKnownRangesAndUnknownValues) {
  const std::pair<int32_t, const char*> cases[] = {{0, "No Error"},
                                                   {1, "Dev: Unknown Command"},
                                                   {11, "Dev: Cant Change 2WD/4WD State Now"},
                                                   {200, "DI: No Link To Device"},
                                                   {202, "DI: Comm Error"},
                                                   {12, "Unknown Error. [12]"},
                                                   {-1, "Unknown Error. [-1]"},
                                                   {199, "Unknown Error. [199]"},
                                                   {203, "Unknown Error. [203]"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(ErrorToString(value), text) << value;
}

TEST(TestNames, KnownIndexesAndTheApostropheOfUnknownOnes) {
  const char* names[] = {"No Test",         "Warm-Up", "Parasitics",        "Coastdown",
                         "Constant Target", "ASM",     "Vehicle Simulation"};
  for (int32_t i = 0; i <= 6; ++i) EXPECT_EQ(TestIndexToString(i), names[i]);
  EXPECT_EQ(TestIndexToString(7), "Unknown Test[7]'");
  EXPECT_EQ(TestIndexToString(-2), "Unknown Test[-2]'");
}

}  // namespace
}  // namespace tavkelo
