#include "sequences/clsPolynomialFit.hpp"

#include <cmath>
#include <utility>

#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {

constexpr const char* kCalculateSource = "Polynomial.Calculate";
constexpr const char* kDeterminantSource = "PolynomialFit::Determinant";
constexpr const char* kDumpFormat = "####0.0000";
// Products below this magnitude are rounding noise of the cofactor inverse.
constexpr double kFlushToZero = 1e-10;

// True when v holds every subscript of lower To upper.
bool Covers(const BasicVector& v, int32_t lower, int32_t upper) {
  return v.LowerBound() <= lower && v.UpperBound() >= upper;
}

}  // namespace

double clsPolynomialFit::Determinant(const BasicMatrix& m) const {
  const int32_t rowLower = m.LowerBound(1);
  const int32_t columnLower = m.LowerBound(2);
  const int64_t n = static_cast<int64_t>(m.UpperBound(1)) - rowLower + 1;
  const int64_t columns = static_cast<int64_t>(m.UpperBound(2)) - columnLower + 1;
  if (columns != n)
    throw VbRuntimeError(kVbErrSubscriptOutOfRange, kDeterminantSource, "Matrix is not square");

  // Work on a copy based at (0, 0).
  const int32_t size = static_cast<int32_t>(n);
  BasicMatrix a(0, size - 1, 0, size - 1);
  for (int32_t r = 0; r < size; ++r) {
    for (int32_t c = 0; c < size; ++c) a(r, c) = m(rowLower + r, columnLower + c);
  }

  double sign = 1.0;
  for (int32_t k = 0; k <= size - 2; ++k) {
    // Partial pivoting: a later row wins only with a strictly larger magnitude.
    int32_t pivot = k;
    for (int32_t r = k + 1; r < size; ++r) {
      if (std::fabs(a(r, k)) > std::fabs(a(pivot, k))) pivot = r;
    }
    if (pivot != k) {
      for (int32_t c = 0; c < size; ++c) std::swap(a(k, c), a(pivot, c));
      sign = -sign;
    }
    for (int32_t r = k + 1; r < size; ++r) {
      if (a(r, k) == 0.0) continue;
      const double factor = -a(r, k) / a(k, k);
      for (int32_t c = 0; c < size; ++c) a(r, c) = a(r, c) + factor * a(k, c);
    }
  }

  double product = 1.0;
  for (int32_t i = 0; i < size; ++i) product = product * a(i, i);
  return sign * product;
}

void clsPolynomialFit::MakeInverse(const BasicMatrix& m, BasicMatrix& inv) const {
  const double d = Determinant(m);
  // The size comes from the upper row bound alone: M is taken to start at (0, 0).
  const int64_t n = static_cast<int64_t>(m.UpperBound(1)) + 1;
  const int32_t last = static_cast<int32_t>(n - 1);
  inv.ReDim(0, last, 0, last);

  for (int32_t i = 0; i <= last; ++i) {
    for (int32_t j = 0; j <= last; ++j) {
      // The minor without row i and column j (a 1x1 matrix has none: error 9 here).
      BasicMatrix minor(0, last - 1, 0, last - 1);
      int32_t minorRow = 0;
      for (int32_t r = 0; r <= last; ++r) {
        if (r == i) continue;
        int32_t minorColumn = 0;
        for (int32_t c = 0; c <= last; ++c) {
          if (c == j) continue;
          minor(minorRow, minorColumn) = m(r, c);
          ++minorColumn;
        }
        ++minorRow;
      }
      DumpMatrix(minor, "Cofactor");
      const double cofactor = ((i + j) % 2 == 0 ? 1.0 : -1.0) * Determinant(minor);
      if (d == 0.0) throw VbDivisionByZero();
      inv(j, i) = cofactor / d;
    }
  }
}

void clsPolynomialFit::MultMatrixVector(const BasicMatrix& m, const BasicVector& v,
                                        BasicVector& r) const {
  r.ReDim(0, v.UpperBound());
  const int32_t last = r.UpperBound();
  for (int32_t i = 0; i <= last; ++i) {
    double s = 0.0;
    for (int32_t j = 0; j <= last; ++j) s = s + m(i, j) * v(j);
    if (std::fabs(s) < kFlushToZero) s = 0.0;
    r(i) = s;
  }
}

void clsPolynomialFit::Calculate(const BasicVector& x, const BasicVector& y, const BasicVector& w,
                                 int16_t degree, BasicVector& c) const {
  const int32_t lower = x.LowerBound();
  const int32_t upper = x.UpperBound();
  // Any one matching bound is enough to accept the call.
  const bool accepted = lower == y.LowerBound() || lower == w.LowerBound() ||
                        upper == y.UpperBound() || upper == w.UpperBound();
  if (!accepted) {
    throw VbRuntimeError(kVbErrSubscriptOutOfRange, kCalculateSource, "Mismatched entry bounds");
  }
  // The sums read Y(k) and W(k) for every k of X. Accepted bounds can still leave a subscript
  // of X outside Y or W; that, like a negative degree, is a subscript out of range.
  if (degree < 0 || !Covers(y, lower, upper) || !Covers(w, lower, upper)) {
    throw VbRuntimeError(kVbErrSubscriptOutOfRange, kCalculateSource, "Subscript out of range");
  }

  // Normal equations A c = b.
  BasicMatrix a(0, degree, 0, degree);
  for (int32_t i = 0; i <= degree; ++i) {
    for (int32_t j = 0; j <= degree; ++j) {
      double sum = 0.0;
      for (int64_t at = lower; at <= upper; ++at) {
        const auto k = static_cast<int32_t>(at);
        sum = sum + std::pow(x(k), static_cast<double>(i + j)) * w(k);
      }
      a(i, j) = sum;
    }
  }
  BasicVector b(0, degree);
  for (int32_t i = 0; i <= degree; ++i) {
    double sum = 0.0;
    for (int64_t at = lower; at <= upper; ++at) {
      const auto k = static_cast<int32_t>(at);
      sum = sum + std::pow(x(k), static_cast<double>(i)) * y(k) * w(k);
    }
    b(i) = sum;
  }

  DumpMatrix(a, "A");
  DumpVector(b);
  BasicMatrix inverse;
  MakeInverse(a, inverse);
  MultMatrixVector(inverse, b, c);
  DumpVector(c);
}

void clsPolynomialFit::DumpMatrix(const BasicMatrix& m, std::string_view /*title*/) const {
  for (int64_t r = m.LowerBound(1); r <= m.UpperBound(1); ++r) {
    for (int64_t c = m.LowerBound(2); c <= m.UpperBound(2); ++c) {
      VbFormat(m(static_cast<int32_t>(r), static_cast<int32_t>(c)), kDumpFormat);
    }
  }
}

void clsPolynomialFit::DumpVector(const BasicVector& v) const {
  for (int64_t i = v.LowerBound(); i <= v.UpperBound(); ++i) {
    VbFormat(v(static_cast<int32_t>(i)), kDumpFormat);
  }
}

}  // namespace tavkelo
