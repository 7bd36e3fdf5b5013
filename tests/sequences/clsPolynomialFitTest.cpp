#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "platform/VbError.hpp"
#include "sequences/BasicArray.hpp"
#include "sequences/clsPolynomialFit.hpp"

namespace tavkelo {
namespace {

using Rows = std::vector<std::vector<double>>;

BasicMatrix ToMatrix(const Rows& rows, int32_t rowLower = 0, int32_t columnLower = 0) {
  const auto n = static_cast<int32_t>(rows.size());
  const auto m = static_cast<int32_t>(rows.front().size());
  BasicMatrix out(rowLower, rowLower + n - 1, columnLower, columnLower + m - 1);
  for (int32_t r = 0; r < n; ++r) {
    for (int32_t c = 0; c < m; ++c) out(rowLower + r, columnLower + c) = rows[r][c];
  }
  return out;
}

// det by the permutation (Leibniz) formula: no elimination, no pivoting.
double LeibnizDeterminant(const Rows& a) {
  const size_t n = a.size();
  std::vector<size_t> perm(n);
  std::iota(perm.begin(), perm.end(), size_t{0});
  double det = 0.0;
  do {
    int inversions = 0;
    for (size_t i = 0; i < n; ++i) {
      for (size_t j = i + 1; j < n; ++j) inversions += perm[i] > perm[j] ? 1 : 0;
    }
    double term = inversions % 2 == 0 ? 1.0 : -1.0;
    for (size_t i = 0; i < n; ++i) term *= a[i][perm[i]];
    det += term;
  } while (std::next_permutation(perm.begin(), perm.end()));
  return det;
}

// Weighted least squares by Householder QR of sqrt(w) V c = sqrt(w) y (V the Vandermonde
// matrix): an independent route that never forms the normal equations.
std::vector<double> QrLeastSquares(const std::vector<double>& x, const std::vector<double>& y,
                                   const std::vector<double>& w, int degree) {
  const size_t rows = x.size();
  const size_t cols = static_cast<size_t>(degree) + 1;
  Rows a(rows, std::vector<double>(cols));
  std::vector<double> rhs(rows);
  for (size_t i = 0; i < rows; ++i) {
    const double s = std::sqrt(w[i]);
    double power = 1.0;
    for (size_t j = 0; j < cols; ++j, power *= x[i]) a[i][j] = s * power;
    rhs[i] = s * y[i];
  }
  for (size_t k = 0; k < cols; ++k) {
    double norm = 0.0;
    for (size_t i = k; i < rows; ++i) norm += a[i][k] * a[i][k];
    norm = std::sqrt(norm);
    const double alpha = a[k][k] > 0 ? -norm : norm;
    std::vector<double> v(rows, 0.0);
    for (size_t i = k; i < rows; ++i) v[i] = a[i][k];
    v[k] -= alpha;
    double vv = 0.0;
    for (size_t i = k; i < rows; ++i) vv += v[i] * v[i];
    if (vv == 0.0) continue;
    for (size_t j = k; j < cols; ++j) {
      double dot = 0.0;
      for (size_t i = k; i < rows; ++i) dot += v[i] * a[i][j];
      for (size_t i = k; i < rows; ++i) a[i][j] -= 2.0 * dot / vv * v[i];
    }
    double dot = 0.0;
    for (size_t i = k; i < rows; ++i) dot += v[i] * rhs[i];
    for (size_t i = k; i < rows; ++i) rhs[i] -= 2.0 * dot / vv * v[i];
  }
  std::vector<double> c(cols);
  for (size_t k = cols; k-- > 0;) {
    double s = rhs[k];
    for (size_t j = k + 1; j < cols; ++j) s -= a[k][j] * c[j];
    c[k] = s / a[k][k];
  }
  return c;
}

void ExpectRelativelyNear(double actual, double expected, double relative) {
  EXPECT_NEAR(actual, expected, std::fabs(expected) * relative) << "expected " << expected;
}

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

const clsPolynomialFit kFit;

// ---- Determinant ----

class DeterminantOf : public ::testing::TestWithParam<Rows> {};

TEST_P(DeterminantOf, MatchesThePermutationFormula) {
  const Rows& rows = GetParam();
  const double expected = LeibnizDeterminant(rows);
  const double actual = kFit.Determinant(ToMatrix(rows));
  if (expected == 0.0) {
    EXPECT_NEAR(actual, 0.0, 1e-12);
  } else {
    ExpectRelativelyNear(actual, expected, 1e-12);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Matrices, DeterminantOf,
    ::testing::Values(Rows{{-3.5}}, Rows{{1, 2}, {3, 4}}, Rows{{0, 1}, {1, 0}},
                      Rows{{2, -1, 0}, {-1, 2, -1}, {0, -1, 2}},
                      Rows{{0, 2, 1}, {3, 0, 4}, {1, 5, 0}},  // zero pivots on the diagonal
                      Rows{{1, 2, 3}, {2, 4, 7}, {1, 1, 1}},  // zero pivot after a step
                      Rows{{5, 15, 55}, {15, 55, 225}, {55, 225, 979}},  // normal equations
                      Rows{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}},             // singular
                      Rows{{0, 0, 1, 2}, {0, 3, 0, 1}, {4, 0, 2, 0}, {1, 1, 1, 1}},
                      Rows{{0.5, -1.25, 3, 2}, {7, 0.1, -2, 1}, {-4, 6, 0.3, -1}, {2, 2, 9, 0.7}}));

TEST(Determinant, RowSwapsFlipTheSign) {
  // A permutation matrix is its own elimination: each swap negates.
  EXPECT_EQ(kFit.Determinant(ToMatrix({{0, 1}, {1, 0}})), -1.0);
  EXPECT_EQ(kFit.Determinant(ToMatrix({{0, 1, 0}, {0, 0, 1}, {1, 0, 0}})), 1.0);
  EXPECT_EQ(kFit.Determinant(ToMatrix({{0, 0, 2}, {0, 3, 0}, {4, 0, 0}})), -24.0);
}

TEST(Determinant, IgnoresTheArraysLowerBounds) {
  const Rows rows{{0, 2, 1}, {3, 0, 4}, {1, 5, 0}};
  const double zeroBased = kFit.Determinant(ToMatrix(rows));
  EXPECT_EQ(kFit.Determinant(ToMatrix(rows, 1, 1)), zeroBased);
  EXPECT_EQ(kFit.Determinant(ToMatrix(rows, -4, 7)), zeroBased);
}

TEST(Determinant, NonSquareIsAnError) {
  for (const BasicMatrix& m :
       {BasicMatrix(0, 1, 0, 2), BasicMatrix(0, 2, 0, 1), BasicMatrix(1, 2, 0, 2)}) {
    const VbRuntimeError e = CaughtError([&] { kFit.Determinant(m); });
    EXPECT_EQ(e.Number(), 9);
    EXPECT_EQ(e.Source(), "PolynomialFit::Determinant");
    EXPECT_EQ(e.Description(), "Matrix is not square");
  }
}

// ---- MakeInverse ----

class InverseOf : public ::testing::TestWithParam<Rows> {};

TEST_P(InverseOf, TimesTheMatrixIsTheIdentity) {
  const Rows& rows = GetParam();
  const auto n = static_cast<int32_t>(rows.size());
  BasicMatrix inv;
  kFit.MakeInverse(ToMatrix(rows), inv);
  ASSERT_EQ(inv.LowerBound(1), 0);
  ASSERT_EQ(inv.UpperBound(1), n - 1);
  ASSERT_EQ(inv.LowerBound(2), 0);
  ASSERT_EQ(inv.UpperBound(2), n - 1);
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j < n; ++j) {
      double s = 0.0;
      for (int32_t k = 0; k < n; ++k) s += rows[i][k] * inv(k, j);
      EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 1e-9) << "(" << i << ", " << j << ")";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Matrices, InverseOf,
    ::testing::Values(Rows{{1, 2}, {3, 4}}, Rows{{0, 1}, {1, 0}},
                      Rows{{0, 2, 1}, {3, 0, 4}, {1, 5, 0}},
                      Rows{{5, 15, 55}, {15, 55, 225}, {55, 225, 979}},
                      Rows{{0, 0, 1, 2}, {0, 3, 0, 1}, {4, 0, 2, 0}, {1, 1, 1, 1}}));

TEST(MakeInverse, PlacesCofactorsTransposed) {
  // [[1 2] [3 4]]^-1 = [[-2 1] [1.5 -0.5]]: the off-diagonal entries tell a transpose apart.
  BasicMatrix inv;
  kFit.MakeInverse(ToMatrix({{1, 2}, {3, 4}}), inv);
  EXPECT_DOUBLE_EQ(inv(0, 0), -2.0);
  EXPECT_DOUBLE_EQ(inv(0, 1), 1.0);
  EXPECT_DOUBLE_EQ(inv(1, 0), 1.5);
  EXPECT_DOUBLE_EQ(inv(1, 1), -0.5);
}

TEST(MakeInverse, SingularMatrixIsDivisionByZero) {
  // Rows that eliminate to an exact zero (dependent rows with power-of-two ratios).
  BasicMatrix inv;
  const VbRuntimeError e = CaughtError([&] {
    kFit.MakeInverse(ToMatrix({{1, 2, 3}, {2, 4, 6}, {1, 0, 1}}), inv);
  });
  EXPECT_EQ(e.Number(), kVbErrDivisionByZero);
  EXPECT_EQ(e.Description(), "Division by zero");
  const VbRuntimeError zero = CaughtError([&] {
    kFit.MakeInverse(ToMatrix({{0, 0}, {0, 0}}), inv);
  });
  EXPECT_EQ(zero.Number(), kVbErrDivisionByZero);
}

TEST(MakeInverse, SizeComesFromTheUpperRowBound) {
  BasicMatrix inv;
  // A 1x1 matrix has no minor to build.
  EXPECT_EQ(CaughtError([&] { kFit.MakeInverse(ToMatrix({{4.0}}), inv); }).Number(), 9);
  // Based at 1, the size is taken as 3 and row 0 does not exist.
  const VbRuntimeError e = CaughtError([&] {
    kFit.MakeInverse(ToMatrix({{1, 2}, {3, 4}}, 1, 1), inv);
  });
  EXPECT_EQ(e.Number(), 9);
  EXPECT_EQ(e.Description(), "Subscript out of range");
  EXPECT_EQ(CaughtError([&] { kFit.Determinant(BasicMatrix()); }).Number(), 9);
}

// ---- MultMatrixVector ----

TEST(MultMatrixVector, ProductSizedByTheVector) {
  BasicVector r(5, 9);
  kFit.MultMatrixVector(ToMatrix({{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}), BasicVector(0, {1, -1, 2}),
                        r);
  ASSERT_EQ(r.LowerBound(), 0);
  ASSERT_EQ(r.UpperBound(), 2);
  EXPECT_EQ(r(0), 1 - 2 + 6);
  EXPECT_EQ(r(1), 4 - 5 + 12);
  EXPECT_EQ(r(2), 7 - 8 + 20);
}

struct FlushCase {
  double entry;
  double expected;
};

class FlushNearZero : public ::testing::TestWithParam<FlushCase> {};

TEST_P(FlushNearZero, BelowOneTenBillionthIsExactlyZero) {
  const FlushCase& c = GetParam();
  BasicVector r;
  kFit.MultMatrixVector(ToMatrix({{c.entry, 0}, {0, 1}}), BasicVector(0, {1, 3}), r);
  EXPECT_EQ(r(0), c.expected);
  EXPECT_FALSE(std::signbit(r(0)) && c.expected == 0.0) << "a flushed value is +0";
  EXPECT_EQ(r(1), 3.0);
}

INSTANTIATE_TEST_SUITE_P(Magnitudes, FlushNearZero,
                         ::testing::Values(FlushCase{9.9e-11, 0.0}, FlushCase{-9.9e-11, 0.0},
                                           FlushCase{1e-15, 0.0}, FlushCase{-0.0, 0.0},
                                           FlushCase{1e-10, 1e-10}, FlushCase{-1e-10, -1e-10},
                                           FlushCase{2.5e-10, 2.5e-10}));

TEST(MultMatrixVector, CancellationBelowThresholdIsZero) {
  BasicVector r;
  // 0.1 + 0.2 - 0.3 is 5.55e-17 in Double arithmetic.
  kFit.MultMatrixVector(ToMatrix({{0.1, 0.2, -0.3}, {0, 0, 0}, {0, 0, 0}}),
                        BasicVector(0, {1, 1, 1}), r);
  EXPECT_EQ(r(0), 0.0);
}

TEST(MultMatrixVector, VectorNotBasedAtZeroIsOutOfRange) {
  BasicVector r;
  const VbRuntimeError e = CaughtError([&] {
    kFit.MultMatrixVector(ToMatrix({{1, 0}, {0, 1}}), BasicVector(1, {1, 2}), r);
  });
  EXPECT_EQ(e.Number(), 9);
}

// ---- Calculate ----

struct FitCase {
  const char* name;
  std::vector<double> x, y, w;
  int degree;
};

class FitAgainstQr : public ::testing::TestWithParam<FitCase> {};

TEST_P(FitAgainstQr, CoefficientsMatchAnIndependentSolve) {
  const FitCase& c = GetParam();
  const std::vector<double> expected = QrLeastSquares(c.x, c.y, c.w, c.degree);
  BasicVector coefficients;
  kFit.Calculate(BasicVector(0, c.x), BasicVector(0, c.y), BasicVector(0, c.w),
                 static_cast<int16_t>(c.degree), coefficients);
  ASSERT_EQ(coefficients.LowerBound(), 0);
  ASSERT_EQ(coefficients.UpperBound(), c.degree);
  for (int k = 0; k <= c.degree; ++k) ExpectRelativelyNear(coefficients(k), expected[k], 1e-9);
}

INSTANTIATE_TEST_SUITE_P(
    Data, FitAgainstQr,
    ::testing::Values(
        FitCase{"line", {0, 1, 2, 3, 4}, {1.1, 2.9, 5.2, 6.8, 9.1}, {1, 1, 1, 1, 1}, 1},
        FitCase{"quadratic", {1, 2, 3, 4, 5}, {2.2, 4.1, 9.3, 15.8, 26.1}, {1, 1, 1, 1, 1}, 2},
        FitCase{"weighted", {1, 2, 3, 4, 5}, {2.2, 4.1, 9.3, 15.8, 26.1}, {1, 4, 0.5, 2, 1}, 2},
        FitCase{"speeds", {15, 20, 25, 30, 35}, {4.75, 5.31, 6.02, 6.91, 7.88}, {1, 1, 1, 1, 1}, 2},
        FitCase{"cubic",
                {-2, -1, 0, 1, 2, 3},
                {-7.5, 0.2, 1.1, 2.3, 9.4, 28.0},
                {1, 1, 1, 1, 1, 1},
                3}),
    [](const ::testing::TestParamInfo<FitCase>& info) { return std::string(info.param.name); });

TEST(Calculate, RecoversAnExactQuadratic) {
  // y = 3.5 - 0.75 x + 0.125 x^2 sampled without noise.
  const std::vector<double> xs{1, 2, 3, 4, 5};
  BasicVector x(0, xs), y(0, 5), w(0, {1, 1, 1, 1, 1});
  for (int32_t k = 0; k < 5; ++k) y(k) = 3.5 - 0.75 * xs[k] + 0.125 * xs[k] * xs[k];
  BasicVector c;
  kFit.Calculate(x, y, w, 2, c);
  ExpectRelativelyNear(c(0), 3.5, 1e-9);
  ExpectRelativelyNear(c(1), -0.75, 1e-9);
  ExpectRelativelyNear(c(2), 0.125, 1e-9);
}

TEST(Calculate, ANegligibleCoefficientComesOutExactlyZero) {
  // y = 2 + 0.5 x^2: the linear term is rounding noise and is flushed.
  BasicVector x(0, {-2, -1, 0, 1, 2}), y(0, {4, 2.5, 2, 2.5, 4}), w(0, {1, 1, 1, 1, 1});
  BasicVector c;
  kFit.Calculate(x, y, w, 2, c);
  EXPECT_EQ(c(1), 0.0);
  ExpectRelativelyNear(c(0), 2.0, 1e-9);
  ExpectRelativelyNear(c(2), 0.5, 1e-9);
}

TEST(Calculate, ZeroWeightDropsThePoint) {
  BasicVector x(0, {1, 2, 3, 4, 5}), y(0, {2.2, 4.1, 99.0, 15.8, 26.1}), w(0, {1, 1, 0, 1, 1});
  BasicVector c;
  kFit.Calculate(x, y, w, 2, c);
  const std::vector<double> expected =
      QrLeastSquares({1, 2, 4, 5}, {2.2, 4.1, 15.8, 26.1}, {1, 1, 1, 1}, 2);
  for (int32_t k = 0; k <= 2; ++k) ExpectRelativelyNear(c(k), expected[k], 1e-9);
}

struct BoundsCase {
  const char* name;
  int32_t xLower, yLower, wLower;
  int32_t yExtra, wExtra;  // elements beyond X's length
};

class AcceptedBounds : public ::testing::TestWithParam<BoundsCase> {};

TEST_P(AcceptedBounds, OneEqualitySufficesAndTheSumsFollowX) {
  const BoundsCase& b = GetParam();
  const std::vector<double> xs{15, 20, 25, 30, 35}, ys{4.75, 5.31, 6.02, 6.91, 7.88};
  const std::vector<double> ws{1, 2, 1, 3, 1};
  // Y and W hold X's points at X's subscripts, and filler elsewhere.
  auto place = [](const std::vector<double>& values, int32_t lower, int32_t arrayLower,
                  int32_t extra) {
    BasicVector v(arrayLower, lower + static_cast<int32_t>(values.size()) - 1 + extra);
    for (int32_t i = v.LowerBound(); i <= v.UpperBound(); ++i) v(i) = 1e6;
    for (size_t i = 0; i < values.size(); ++i) v(lower + static_cast<int32_t>(i)) = values[i];
    return v;
  };
  const BasicVector x(b.xLower, xs);
  const BasicVector y = place(ys, b.xLower, b.yLower, b.yExtra);
  const BasicVector w = place(ws, b.xLower, b.wLower, b.wExtra);
  BasicVector c;
  kFit.Calculate(x, y, w, 2, c);
  const std::vector<double> expected = QrLeastSquares(xs, ys, ws, 2);
  for (int32_t k = 0; k <= 2; ++k) ExpectRelativelyNear(c(k), expected[k], 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Bounds, AcceptedBounds,
                         ::testing::Values(BoundsCase{"AllEqual", 0, 0, 0, 0, 0},
                                           BoundsCase{"OnlyLowerOfY", 0, 0, -1, 2, 1},
                                           BoundsCase{"OnlyLowerOfW", 0, -1, 0, 1, 2},
                                           BoundsCase{"OnlyUpperOfY", 2, 0, 1, 0, 1},
                                           BoundsCase{"OnlyUpperOfW", 2, 1, 0, 1, 0},
                                           BoundsCase{"OneBasedEverywhere", 1, 1, 1, 0, 0}),
                         [](const ::testing::TestParamInfo<BoundsCase>& info) {
                           return std::string(info.param.name);
                         });

struct RejectedCase {
  const char* name;
  BasicVector x, y, w;
  const char* description;
};

class RejectedBounds : public ::testing::TestWithParam<RejectedCase> {};

TEST_P(RejectedBounds, RaiseErrorNine) {
  const RejectedCase& r = GetParam();
  BasicVector c(0, {7, 8, 9});
  const VbRuntimeError e = CaughtError([&] { kFit.Calculate(r.x, r.y, r.w, 2, c); });
  EXPECT_EQ(e.Number(), 9);
  EXPECT_EQ(e.Source(), "Polynomial.Calculate");
  EXPECT_EQ(e.Description(), r.description);
  // The output is left as it was.
  EXPECT_EQ(c.Values(), (std::vector<double>{7, 8, 9}));
}

BasicVector Ramp(int32_t lower, int32_t upper) {
  BasicVector v(lower, upper);
  for (int32_t i = lower; i <= upper; ++i) v(i) = 1.0 + i;
  return v;
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, RejectedBounds,
    ::testing::Values(
        // No equality at all, even though W covers X.
        RejectedCase{"NoBoundMatches", Ramp(1, 5), Ramp(0, 4), Ramp(0, 6),
                     "Mismatched entry bounds"},
        RejectedCase{"ShiftedByOne", Ramp(0, 4), Ramp(1, 5), Ramp(1, 5), "Mismatched entry bounds"},
        // Accepted by Y's bounds, but W(0) does not exist.
        RejectedCase{"WeightsFromOne", Ramp(0, 4), Ramp(0, 4), Ramp(1, 5),
                     "Subscript out of range"},
        // Accepted by the lower bounds, but Y(4) does not exist.
        RejectedCase{"ShortY", Ramp(0, 4), Ramp(0, 3), Ramp(0, 3), "Subscript out of range"}),
    [](const ::testing::TestParamInfo<RejectedCase>& info) {
      return std::string(info.param.name);
    });

TEST(Calculate, NegativeDegreeIsOutOfRange) {
  BasicVector c;
  const VbRuntimeError e =
      CaughtError([&] { kFit.Calculate(Ramp(0, 4), Ramp(0, 4), Ramp(0, 4), -1, c); });
  EXPECT_EQ(e.Number(), 9);
  EXPECT_EQ(e.Source(), "Polynomial.Calculate");
}

TEST(Calculate, DegreeZeroFailsInTheInverse) {
  BasicVector c;
  EXPECT_EQ(CaughtError([&] { kFit.Calculate(Ramp(0, 4), Ramp(0, 4), Ramp(0, 4), 0, c); }).Number(),
            9);
}

TEST(Calculate, TooFewDistinctPointsIsDivisionByZero) {
  // All points at one speed: the normal equations are singular (and, with a power of two as
  // the speed, eliminate to an exact zero).
  BasicVector c(0, {7, 8, 9});
  const VbRuntimeError e = CaughtError([&] {
    kFit.Calculate(BasicVector(0, {16, 16, 16, 16, 16}), BasicVector(0, {5, 5.1, 4.9, 5, 5}),
                   BasicVector(0, {1, 1, 1, 1, 1}), 2, c);
  });
  EXPECT_EQ(e.Number(), kVbErrDivisionByZero);
  EXPECT_EQ(c.Values(), (std::vector<double>{7, 8, 9}));
}

}  // namespace
}  // namespace tavkelo
