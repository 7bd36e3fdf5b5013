#include "sequences/BasicArray.hpp"

#include <limits>
#include <utility>

namespace tavkelo {

namespace {

// Number of elements of lower To upper; error 9 for an empty or reversed range.
int32_t CountOf(int32_t lower, int32_t upper) {
  int64_t count = static_cast<int64_t>(upper) - static_cast<int64_t>(lower) + 1;
  if (count < 1 || count > std::numeric_limits<int32_t>::max()) throw VbSubscriptOutOfRange();
  return static_cast<int32_t>(count);
}

// Upper bound of `count` elements starting at `lower`; error 9 when it does not fit.
int32_t UpperOf(int32_t lower, size_t count) {
  if (count == 0) throw VbSubscriptOutOfRange();
  int64_t upper = static_cast<int64_t>(lower) + static_cast<int64_t>(count) - 1;
  if (upper > std::numeric_limits<int32_t>::max()) throw VbSubscriptOutOfRange();
  return static_cast<int32_t>(upper);
}

// Position of `index` in lower To lower + count - 1; error 9 outside.
size_t Position(int32_t lower, int32_t count, int32_t index) {
  int64_t position = static_cast<int64_t>(index) - static_cast<int64_t>(lower);
  if (position < 0 || position >= count) throw VbSubscriptOutOfRange();
  return static_cast<size_t>(position);
}

}  // namespace

// ---- BasicVector ----

BasicVector::BasicVector(int32_t lower, int32_t upper) {
  ReDim(lower, upper);
}

BasicVector::BasicVector(int32_t lower, std::vector<double> values) {
  UpperOf(lower, values.size());
  lower_ = lower;
  values_ = std::move(values);
}

void BasicVector::ReDim(int32_t lower, int32_t upper) {
  int32_t count = CountOf(lower, upper);
  lower_ = lower;
  values_.assign(static_cast<size_t>(count), 0.0);
}

int32_t BasicVector::LowerBound() const {
  if (!IsAllocated()) throw VbSubscriptOutOfRange();
  return lower_;
}

int32_t BasicVector::UpperBound() const {
  if (!IsAllocated()) throw VbSubscriptOutOfRange();
  return UpperOf(lower_, values_.size());
}

size_t BasicVector::Offset(int32_t index) const {
  return Position(lower_, static_cast<int32_t>(values_.size()), index);
}

double& BasicVector::operator()(int32_t index) {
  return values_[Offset(index)];
}
double BasicVector::operator()(int32_t index) const {
  return values_[Offset(index)];
}

// ---- BasicMatrix ----

BasicMatrix::BasicMatrix(int32_t rowLower, int32_t rowUpper, int32_t columnLower,
                         int32_t columnUpper) {
  ReDim(rowLower, rowUpper, columnLower, columnUpper);
}

BasicMatrix::BasicMatrix(int32_t rowLower, int32_t columnLower,
                         std::initializer_list<std::initializer_list<double>> rows) {
  int32_t rowUpper = UpperOf(rowLower, rows.size());
  int32_t columnUpper = UpperOf(columnLower, rows.begin()->size());
  for (const auto& row : rows) {
    if (row.size() != rows.begin()->size()) throw VbSubscriptOutOfRange();
  }
  ReDim(rowLower, rowUpper, columnLower, columnUpper);
  size_t at = 0;
  for (const auto& row : rows) {
    for (double value : row) values_[at++] = value;
  }
}

void BasicMatrix::ReDim(int32_t rowLower, int32_t rowUpper, int32_t columnLower,
                        int32_t columnUpper) {
  int32_t rowCount = CountOf(rowLower, rowUpper);
  int32_t columnCount = CountOf(columnLower, columnUpper);
  rowLower_ = rowLower;
  rowCount_ = rowCount;
  columnLower_ = columnLower;
  columnCount_ = columnCount;
  values_.assign(static_cast<size_t>(rowCount) * static_cast<size_t>(columnCount), 0.0);
}

int32_t BasicMatrix::LowerBound(int dimension) const {
  if (!IsAllocated()) throw VbSubscriptOutOfRange();
  if (dimension == 1) return rowLower_;
  if (dimension == 2) return columnLower_;
  throw VbSubscriptOutOfRange();
}

int32_t BasicMatrix::UpperBound(int dimension) const {
  if (!IsAllocated()) throw VbSubscriptOutOfRange();
  if (dimension == 1) return UpperOf(rowLower_, static_cast<size_t>(rowCount_));
  if (dimension == 2) return UpperOf(columnLower_, static_cast<size_t>(columnCount_));
  throw VbSubscriptOutOfRange();
}

size_t BasicMatrix::Offset(int32_t row, int32_t column) const {
  size_t r = Position(rowLower_, rowCount_, row);
  size_t c = Position(columnLower_, columnCount_, column);
  return r * static_cast<size_t>(columnCount_) + c;
}

double& BasicMatrix::operator()(int32_t row, int32_t column) {
  return values_[Offset(row, column)];
}
double BasicMatrix::operator()(int32_t row, int32_t column) const {
  return values_[Offset(row, column)];
}

}  // namespace tavkelo
