#include <gtest/gtest.h>

#include "sequences/clsAverage.hpp"

namespace tavkelo {
namespace {

// A new average keeps the last five values; a reset reads the previous average until the next
// value, which then stands alone.
TEST(clsAverage, KeepsTheLastValuesAndAResetStartsAfresh) {
  clsAverage average;
  EXPECT_EQ(average.Average(), 0.0);
  for (double v : {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0}) average.AddValue(v);
  EXPECT_DOUBLE_EQ(average.Average(), (3.0 + 4.0 + 5.0 + 6.0 + 7.0) / 5.0);
  average.Reset(4);
  EXPECT_EQ(average.Depth(), 4);
  EXPECT_EQ(average.Average(), 5.0);
  average.AddValue(10.0);
  EXPECT_EQ(average.Average(), 10.0);
}

TEST(clsAverage, ADepthBelowOneIsStoredAsGivenAndNothingIsCounted) {
  for (int depth : {0, -1, -7}) {
    clsAverage average;
    average.Reset(depth);
    EXPECT_EQ(average.Depth(), depth);
    for (double v : {3.0, 5.0, 7.0, 9.0, 11.0, 13.0}) {
      average.AddValue(v);
      EXPECT_EQ(average.Average(), 0.0) << depth;
    }
  }
}

}  // namespace
}  // namespace tavkelo
