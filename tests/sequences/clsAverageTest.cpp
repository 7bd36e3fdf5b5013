#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "platform/VbError.hpp"
#include "sequences/clsAverage.hpp"

namespace tavkelo {
namespace {

// Mean of the last `depth` values (all of them when fewer).
double MeanOfLast(const std::vector<double>& values, size_t depth) {
  const size_t n = std::min(depth, values.size());
  if (n == 0) return 0.0;
  return std::accumulate(values.end() - static_cast<std::ptrdiff_t>(n), values.end(), 0.0) /
         static_cast<double>(n);
}

struct WindowCase {
  const char* name;
  int depth;
  std::vector<double> values;
};

class MovingWindow : public ::testing::TestWithParam<WindowCase> {};

TEST_P(MovingWindow, AverageIsTheMeanOfTheLastDepthValues) {
  const WindowCase& c = GetParam();
  clsAverage average;
  average.Reset(c.depth);
  std::vector<double> seen;
  for (double v : c.values) {
    average.AddValue(v);
    seen.push_back(v);
    EXPECT_NEAR(average.Average(), MeanOfLast(seen, static_cast<size_t>(c.depth)), 1e-12)
        << "after " << seen.size() << " values";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Depths, MovingWindow,
    ::testing::Values(WindowCase{"SevenIntoFive", 5, {1, 2, 3, 4, 5, 6, 7}},
                      WindowCase{"FewerThanDepth", 3, {10, 20}},
                      WindowCase{"DepthOne", 1, {4, -2, 9}},
                      WindowCase{"DepthFifteen", 15, {1,  3,  5,  7,  9,  11, 13, 15, 17, 19,
                                                      21, 23, 25, 27, 29, 31, 33, 35, 37, 39}},
                      WindowCase{"Mixed", 4, {2.5, -1.25, 8.0, 0.5, 3.75, -6.0, 1.0}}),
    [](const ::testing::TestParamInfo<WindowCase>& info) { return std::string(info.param.name); });

TEST(clsAverage, NewObjectHasDepthFiveAndAverageZero) {
  clsAverage average;
  EXPECT_EQ(average.Depth(), 5);
  EXPECT_EQ(average.Average(), 0.0);
  for (double v : {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0}) average.AddValue(v);
  EXPECT_DOUBLE_EQ(average.Average(), (3.0 + 4.0 + 5.0 + 6.0 + 7.0) / 5.0);
}

TEST(clsAverage, ResetKeepsTheCachedAverageUntilTheNextValue) {
  clsAverage average;
  average.Reset(5);
  for (double v : {1.0, 2.0, 3.0}) average.AddValue(v);
  EXPECT_EQ(average.Average(), 2.0);
  average.Reset(4);
  EXPECT_EQ(average.Depth(), 4);
  EXPECT_EQ(average.Average(), 2.0);
  EXPECT_EQ(average.Average(), 2.0);
  average.AddValue(10.0);
  EXPECT_EQ(average.Average(), 10.0);  // the old values are gone
}

TEST(clsAverage, ResetReturnsTheLastComputedAverageNotTheLastValues) {
  // Values added but never averaged leave the cache where it was: 0 for a new object.
  clsAverage average;
  average.AddValue(4.0);
  average.AddValue(6.0);
  average.Reset(5);
  EXPECT_EQ(average.Average(), 0.0);
}

TEST(clsAverage, ResetEmptiesTheBuffer) {
  clsAverage average;
  average.Reset(3);
  for (double v : {100.0, 100.0, 100.0}) average.AddValue(v);
  average.Reset(3);
  for (double v : {1.0, 2.0}) average.AddValue(v);
  EXPECT_EQ(average.Average(), 1.5);
  average.AddValue(3.0);
  average.AddValue(4.0);  // replaces 1, not a leftover 100
  EXPECT_EQ(average.Average(), 3.0);
}

TEST(clsAverage, ResetWithoutDepthIsFive) {
  clsAverage average;
  average.Reset(2);
  average.Reset();
  EXPECT_EQ(average.Depth(), 5);
  for (double v : {1.0, 2.0, 3.0, 4.0, 5.0, 6.0}) average.AddValue(v);
  EXPECT_EQ(average.Average(), 4.0);
}

class DepthBelowOne : public ::testing::TestWithParam<int> {};

TEST_P(DepthBelowOne, IsStoredAsGivenAndNothingIsCounted) {
  clsAverage average;
  average.Reset(GetParam());
  EXPECT_EQ(average.Depth(), GetParam());
  // The buffer has five slots, but with no room in the count every value lands in slot 1 and
  // the average stays 0.
  for (double v : {3.0, 5.0, 7.0, 9.0, 11.0, 13.0}) {
    average.AddValue(v);
    EXPECT_EQ(average.Average(), 0.0);
  }
}

INSTANTIATE_TEST_SUITE_P(Depths, DepthBelowOne, ::testing::Values(0, -1, -7));

TEST(clsAverage, FractionalDepthSizesTheBufferByItsWholePart) {
  // 2.5: two slots, Depth rounds half to even to 2; a consistent window of two.
  clsAverage two;
  two.Reset(2.5);
  EXPECT_EQ(two.Depth(), 2);
  for (double v : {1.0, 3.0, 5.0}) two.AddValue(v);
  EXPECT_EQ(two.Average(), 4.0);

  // 3.5: three slots but Depth 4, so the fourth value has no slot.
  clsAverage four;
  four.Reset(3.5);
  EXPECT_EQ(four.Depth(), 4);
  for (double v : {1.0, 2.0, 3.0}) four.AddValue(v);
  try {
    four.AddValue(4.0);
    FAIL() << "no error raised";
  } catch (const VbRuntimeError& e) {
    EXPECT_EQ(e.Number(), 9);
  }
}

TEST(clsAverage, DepthBeyondSixteenBitsIsOverflow) {
  clsAverage average;
  average.Reset(7);
  try {
    average.Reset(40000);
    FAIL() << "no error raised";
  } catch (const VbRuntimeError& e) {
    EXPECT_EQ(e.Number(), kVbErrOverflow);
  }
  EXPECT_EQ(average.Depth(), 7);
}

}  // namespace
}  // namespace tavkelo
