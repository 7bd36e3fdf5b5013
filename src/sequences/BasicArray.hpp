#pragma once
// Double arrays with the classic Basic shape: every dimension has its own lower and upper bound
// (X(1 To 5) is not X(0 To 4)), elements are reached by their subscripts, and a subscript outside
// the bounds raises run-time error 9 "Subscript out of range". The fitting code works on these
// so that its bounds rules read as they are written.
//
// A default-constructed array is unallocated, like a dynamic array before its first ReDim: asking
// for its bounds raises error 9 too. ReDim gives a fresh array of zeros; a range with the upper
// bound below the lower one raises error 9, as the classic runtime does.

#include <cstdint>
#include <initializer_list>
#include <vector>

#include "platform/VbError.hpp"

namespace tavkelo {

// The error the classic runtime raises for a bad subscript or bound.
inline VbRuntimeError VbSubscriptOutOfRange() {
  return VbRuntimeError(kVbErrSubscriptOutOfRange, "TavKeloASM", "Subscript out of range");
}

// One-dimensional Double array.
class BasicVector {
 public:
  BasicVector() = default;
  // ReDim v(lower To upper): all elements 0.
  BasicVector(int32_t lower, int32_t upper);
  // v(lower To lower + n - 1) holding `values` (n >= 1).
  BasicVector(int32_t lower, std::vector<double> values);
  BasicVector(int32_t lower, std::initializer_list<double> values)
      : BasicVector(lower, std::vector<double>(values)) {}

  void ReDim(int32_t lower, int32_t upper);
  bool IsAllocated() const { return !values_.empty(); }

  // LBound / UBound; error 9 while unallocated.
  int32_t LowerBound() const;
  int32_t UpperBound() const;

  // Element by subscript; error 9 outside the bounds.
  double& operator()(int32_t index);
  double operator()(int32_t index) const;

  // The elements from the lower bound up (empty while unallocated).
  const std::vector<double>& Values() const { return values_; }

 private:
  size_t Offset(int32_t index) const;

  int32_t lower_ = 0;
  std::vector<double> values_;
};

// Two-dimensional Double array indexed (row, column).
class BasicMatrix {
 public:
  BasicMatrix() = default;
  // ReDim m(rowLower To rowUpper, columnLower To columnUpper): all elements 0.
  BasicMatrix(int32_t rowLower, int32_t rowUpper, int32_t columnLower, int32_t columnUpper);
  // A matrix from its rows, the first row at rowLower and the first column at columnLower. All
  // rows must have the same, non-zero length (error 9 otherwise).
  BasicMatrix(int32_t rowLower, int32_t columnLower,
              std::initializer_list<std::initializer_list<double>> rows);

  void ReDim(int32_t rowLower, int32_t rowUpper, int32_t columnLower, int32_t columnUpper);
  bool IsAllocated() const { return !values_.empty(); }

  // LBound(m, dimension) / UBound(m, dimension) with dimension 1 (rows) or 2 (columns); error 9
  // for another dimension or while unallocated.
  int32_t LowerBound(int dimension) const;
  int32_t UpperBound(int dimension) const;

  // Element by subscripts; error 9 outside the bounds.
  double& operator()(int32_t row, int32_t column);
  double operator()(int32_t row, int32_t column) const;

 private:
  size_t Offset(int32_t row, int32_t column) const;

  int32_t rowLower_ = 0;
  int32_t rowCount_ = 0;
  int32_t columnLower_ = 0;
  int32_t columnCount_ = 0;
  std::vector<double> values_;  // row by row
};

}  // namespace tavkelo
