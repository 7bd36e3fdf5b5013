#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/VbError.hpp"
#include "sequences/BasicArray.hpp"

namespace tavkelo {
namespace {

template <typename Call>
void ExpectSubscriptOutOfRange(Call call) {
  try {
    call();
    FAIL() << "no error raised";
  } catch (const VbRuntimeError& e) {
    EXPECT_EQ(e.Number(), 9);
    EXPECT_EQ(e.Description(), "Subscript out of range");
  }
}

TEST(BasicVector, KeepsItsOwnBounds) {
  BasicVector oneBased(1, 5);
  BasicVector zeroBased(0, 4);
  EXPECT_EQ(oneBased.LowerBound(), 1);
  EXPECT_EQ(oneBased.UpperBound(), 5);
  EXPECT_EQ(zeroBased.LowerBound(), 0);
  EXPECT_EQ(zeroBased.UpperBound(), 4);
  oneBased(5) = 2.5;
  EXPECT_EQ(oneBased(5), 2.5);
  EXPECT_EQ(oneBased(1), 0.0);
  ExpectSubscriptOutOfRange([&] { (void)oneBased(0); });
  ExpectSubscriptOutOfRange([&] { (void)oneBased(6); });
  ExpectSubscriptOutOfRange([&] { (void)zeroBased(5); });
}

TEST(BasicVector, FromValuesStartsAtTheGivenLowerBound) {
  const BasicVector v(-2, {10.0, 20.0, 30.0});
  EXPECT_EQ(v.LowerBound(), -2);
  EXPECT_EQ(v.UpperBound(), 0);
  EXPECT_EQ(v(-2), 10.0);
  EXPECT_EQ(v(0), 30.0);
  ExpectSubscriptOutOfRange([] { BasicVector(0, std::vector<double>{}); });
  ExpectSubscriptOutOfRange([] { BasicVector(std::numeric_limits<int32_t>::max(), {1.0, 2.0}); });
}

TEST(BasicVector, UnallocatedAndReversedRangesAreSubscriptErrors) {
  BasicVector v;
  EXPECT_FALSE(v.IsAllocated());
  ExpectSubscriptOutOfRange([&] { (void)v.LowerBound(); });
  ExpectSubscriptOutOfRange([&] { (void)v.UpperBound(); });
  ExpectSubscriptOutOfRange([&] { v.ReDim(0, -1); });
  ExpectSubscriptOutOfRange([] { BasicVector(3, 2); });
}

TEST(BasicVector, ReDimStartsOverWithZeros) {
  BasicVector v(0, {1.0, 2.0});
  v.ReDim(3, 4);
  EXPECT_EQ(v.LowerBound(), 3);
  EXPECT_EQ(v.UpperBound(), 4);
  EXPECT_EQ(v(3), 0.0);
  EXPECT_EQ(v(4), 0.0);
}

TEST(BasicMatrix, RowsAndColumnsHaveIndependentBounds) {
  BasicMatrix m(1, 2, 0, 2);
  EXPECT_EQ(m.LowerBound(1), 1);
  EXPECT_EQ(m.UpperBound(1), 2);
  EXPECT_EQ(m.LowerBound(2), 0);
  EXPECT_EQ(m.UpperBound(2), 2);
  m(2, 0) = 7.0;
  EXPECT_EQ(m(2, 0), 7.0);
  EXPECT_EQ(m(1, 0), 0.0);
  ExpectSubscriptOutOfRange([&] { (void)m(0, 0); });
  ExpectSubscriptOutOfRange([&] { (void)m(1, 3); });
  ExpectSubscriptOutOfRange([&] { (void)m.LowerBound(3); });
  ExpectSubscriptOutOfRange([&] { (void)m.UpperBound(0); });
}

TEST(BasicMatrix, FromRowsIsIndexedRowThenColumn) {
  const BasicMatrix m(1, 1, {{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
  EXPECT_EQ(m.UpperBound(1), 2);
  EXPECT_EQ(m.UpperBound(2), 3);
  EXPECT_EQ(m(1, 3), 3.0);
  EXPECT_EQ(m(2, 1), 4.0);
  ExpectSubscriptOutOfRange([] { BasicMatrix(0, 0, {{1.0, 2.0}, {3.0}}); });
  ExpectSubscriptOutOfRange([] { BasicMatrix(0, 0, {}); });
}

TEST(BasicMatrix, UnallocatedAndReversedRangesAreSubscriptErrors) {
  BasicMatrix m;
  EXPECT_FALSE(m.IsAllocated());
  ExpectSubscriptOutOfRange([&] { (void)m.UpperBound(1); });
  ExpectSubscriptOutOfRange([&] { m.ReDim(0, 1, 0, -1); });
  ExpectSubscriptOutOfRange([] { BasicMatrix(0, -1, 0, 1); });
}

}  // namespace
}  // namespace tavkelo
