#pragma once
// Weighted least-squares polynomial fit through the normal equations, solved with an explicit
// inverse built from cofactors. The sizes are tiny (degree 2, a handful of points), so the
// cofactor inverse is affordable; it is kept deliberately, results depend on it.
//
// Failures are run-time errors (VbRuntimeError) that the callers let through:
//   - error 9, "Polynomial.Calculate", "Mismatched entry bounds": none of the four bound
//     equalities between X and Y/W holds;
//   - error 9, "Polynomial.Calculate", "Subscript out of range": the bounds were accepted but Y
//     or W lacks an index of X's range (the sums read Y(k) and W(k) for every k of X), or the
//     degree is negative;
//   - error 9, "PolynomialFit::Determinant", "Matrix is not square";
//   - error 11 "Division by zero" (VbDivisionByZero) from MakeInverse for a singular matrix;
//   - error 9 "Subscript out of range" from the arrays themselves when a routine reaches an
//     element outside their bounds (MakeInverse and MultMatrixVector assume lower bounds of 0).

#include <cstdint>
#include <string_view>

#include "sequences/BasicArray.hpp"

namespace tavkelo {

class clsPolynomialFit {
 public:
  // det M by elimination with partial pivoting. M may have any bounds; it must be square.
  double Determinant(const BasicMatrix& m) const;

  // Inv := M^-1 by cofactors. The size is UpperBound(M, 1) + 1 and M is read from (0, 0), so M
  // is expected to start at 0; Inv is redimensioned (0 To n-1, 0 To n-1). A 1x1 matrix has no
  // minor to build and fails with error 9.
  void MakeInverse(const BasicMatrix& m, BasicMatrix& inv) const;

  // R := M x v with R(0 To UpperBound(v)); sums of magnitude below 1e-10 are stored as exactly 0.
  void MultMatrixVector(const BasicMatrix& m, const BasicVector& v, BasicVector& r) const;

  // Coefficients c(0 To degree) of the weighted least-squares polynomial y = sum c(k) x^k
  // through the points (X(k), Y(k)) with weights W(k), k over X's bounds.
  void Calculate(const BasicVector& x, const BasicVector& y, const BasicVector& w, int16_t degree,
                 BasicVector& c) const;

  // Trace hooks: every element is formatted with "####0.0000" and the text is discarded.
  void DumpMatrix(const BasicMatrix& m, std::string_view title) const;
  void DumpVector(const BasicVector& v) const;
};

}  // namespace tavkelo
