#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "SequenceRig.hpp"
#include "platform/VbError.hpp"
#include "sequences/BasicArray.hpp"
#include "sequences/clsPolynomialFit.hpp"

namespace tavkelo {
namespace {

const clsPolynomialFit kFit;
// Loss torques at five speeds, as a parasitics run measures them.
const std::vector<double> kSpeeds{15, 20, 25, 30, 35}, kTorques{4.75, 5.31, 6.02, 6.91, 7.88};

template <typename Call>
VbRuntimeError CaughtError(Call call) {
  try {
    call();
  } catch (const VbRuntimeError& e) {
    return e;
  }
  ADD_FAILURE() << "no error raised";
  return VbRuntimeError(0, "", "");
}

void ExpectLeastSquares(const BasicVector& c, const std::vector<double>& w) {
  const auto expected = test::LeastSquaresQuadratic(kSpeeds, kTorques, w);
  ASSERT_EQ(c.LowerBound(), 0);
  ASSERT_EQ(c.UpperBound(), 2);
  for (int32_t k = 0; k <= 2; ++k) {
    const auto e = static_cast<double>(expected[static_cast<size_t>(k)]);
    EXPECT_NEAR(c(k), e, 1e-9 * std::fabs(e)) << k;
  }
}

struct BoundsCase {
  int32_t xLower, yLower, wLower;
  int32_t yExtra, wExtra;  // elements beyond X's length
};

// One equality between X's bounds and Y's or W's suffices; the sums follow X's subscripts.
TEST(Calculate, AcceptsBoundsOfWhichOneMatches) {
  const std::vector<double> ws{1, 2, 1, 3, 1};
  for (const BoundsCase& b :
       {BoundsCase{0, 0, 0, 0, 0}, BoundsCase{0, 0, -1, 2, 1}, BoundsCase{0, -1, 0, 1, 2},
        BoundsCase{2, 0, 1, 0, 1}, BoundsCase{2, 1, 0, 1, 0}, BoundsCase{1, 1, 1, 0, 0}}) {
    SCOPED_TRACE(::testing::Message() << b.xLower << b.yLower << b.wLower << b.yExtra << b.wExtra);
    // Y and W hold X's points at X's subscripts, and filler elsewhere.
    auto place = [&](const std::vector<double>& values, int32_t arrayLower, int32_t extra) {
      BasicVector v(arrayLower, b.xLower + 4 + extra);
      for (int32_t i = arrayLower; i <= b.xLower + 4 + extra; ++i) v(i) = 1e6;
      for (int32_t i = 0; i < 5; ++i) v(b.xLower + i) = values[static_cast<size_t>(i)];
      return v;
    };
    BasicVector c;
    kFit.Calculate(BasicVector(b.xLower, kSpeeds), place(kTorques, b.yLower, b.yExtra),
                   place(ws, b.wLower, b.wExtra), 2, c);
    ExpectLeastSquares(c, ws);
  }
}

BasicVector Ramp(int32_t lower, int32_t upper) {
  BasicVector v(lower, upper);
  for (int32_t i = lower; i <= upper; ++i) v(i) = 1.0 + i;
  return v;
}

TEST(Calculate, RejectsOtherBoundsWithErrorNineAndLeavesTheOutput) {
  struct Rejected {
    BasicVector x, y, w;
    const char* description;
  };
  for (const Rejected& r : {
           // No equality at all, even though W covers X.
           Rejected{Ramp(1, 5), Ramp(0, 4), Ramp(0, 6), "Mismatched entry bounds"},
           Rejected{Ramp(0, 4), Ramp(1, 5), Ramp(1, 5), "Mismatched entry bounds"},
           // Accepted by Y's bounds, but W(0) does not exist.
           Rejected{Ramp(0, 4), Ramp(0, 4), Ramp(1, 5), "Subscript out of range"},
           // Accepted by the lower bounds, but Y(4) does not exist.
           Rejected{Ramp(0, 4), Ramp(0, 3), Ramp(0, 3), "Subscript out of range"},
       }) {
    BasicVector c(0, {7, 8, 9});
    const VbRuntimeError e = CaughtError([&] { kFit.Calculate(r.x, r.y, r.w, 2, c); });
    EXPECT_EQ(e.Number(), 9);
    EXPECT_EQ(e.Source(), "Polynomial.Calculate");
    EXPECT_EQ(e.Description(), r.description);
    EXPECT_EQ(c.Values(), (std::vector<double>{7, 8, 9}));
  }
}

TEST(Calculate, TooFewDistinctSpeedsIsDivisionByZero) {
  // All points at one speed: the normal equations are singular (and, with a power of two as
  // the speed, eliminate to an exact zero).
  BasicVector c(0, {7, 8, 9});
  const VbRuntimeError e = CaughtError([&] {
    kFit.Calculate(BasicVector(0, {16, 16, 16, 16, 16}), BasicVector(0, {5, 5.1, 4.9, 5, 5}),
                   BasicVector(0, {1, 1, 1, 1, 1}), 2, c);
  });
  EXPECT_EQ(e.Number(), kVbErrDivisionByZero);
  EXPECT_EQ(e.Description(), "Division by zero");
  EXPECT_EQ(c.Values(), (std::vector<double>{7, 8, 9}));
}

TEST(Determinant, RowSwapsFlipTheSignAndANonSquareMatrixIsAnError) {
  // A permutation matrix is its own elimination: each swap negates.
  EXPECT_EQ(kFit.Determinant(BasicMatrix(0, 0, {{0, 1}, {1, 0}})), -1.0);
  EXPECT_EQ(kFit.Determinant(BasicMatrix(0, 0, {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}})), 1.0);
  EXPECT_EQ(kFit.Determinant(BasicMatrix(0, 0, {{0, 0, 2}, {0, 3, 0}, {4, 0, 0}})), -24.0);
  for (const BasicMatrix& m : {BasicMatrix(0, 1, 0, 2), BasicMatrix(0, 2, 0, 1)}) {
    const VbRuntimeError e = CaughtError([&] { kFit.Determinant(m); });
    EXPECT_EQ(e.Number(), 9);
    EXPECT_EQ(e.Source(), "PolynomialFit::Determinant");
    EXPECT_EQ(e.Description(), "Matrix is not square");
  }
}

TEST(MultMatrixVector, SumsBelowOneTenBillionthAreExactlyPositiveZero) {
  for (auto [entry, expected] :
       {std::pair{9.9e-11, 0.0}, {-9.9e-11, 0.0}, {-0.0, 0.0}, {1e-10, 1e-10}, {-1e-10, -1e-10}}) {
    BasicVector r;
    kFit.MultMatrixVector(BasicMatrix(0, 0, {{entry, 0}, {0, 1}}), BasicVector(0, {1, 3}), r);
    EXPECT_EQ(r(0), expected) << entry;
    EXPECT_FALSE(std::signbit(r(0)) && expected == 0.0) << entry;
    EXPECT_EQ(r(1), 3.0);
  }
  // 0.1 + 0.2 - 0.3 is 5.55e-17 in double arithmetic.
  BasicVector r;
  kFit.MultMatrixVector(BasicMatrix(0, 0, {{0.1, 0.2, -0.3}, {0, 0, 0}, {0, 0, 0}}),
                        BasicVector(0, {1, 1, 1}), r);
  EXPECT_EQ(r(0), 0.0);
}

}  // namespace
}  // namespace tavkelo
