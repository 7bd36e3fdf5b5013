#pragma once
// Moving average over the last `Depth` values, kept in a ring buffer with a running sum. The
// average is computed when asked and cached until the next value arrives.
//
// Reset keeps two behaviours the sequences were written against: an explicit Depth below 1 is
// stored as given while the buffer gets 5 slots, and the cached average survives a Reset, so the
// average reads the old value until the first new one is added.

#include <cstdint>
#include <optional>

#include "sequences/BasicArray.hpp"

namespace tavkelo {

class clsAverage {
 public:
  // A new average has depth 5 (Reset(5)).
  clsAverage();

  int16_t Depth() const { return depth_; }

  // Empties the average and sets its depth (5 when not given). The buffer size is the whole
  // part of the argument's text value (5 when below 1); Depth is the argument rounded to 16 bits.
  // Raises error 6 "Overflow" for a depth beyond 16 bits.
  void Reset(std::optional<double> depth = std::nullopt);

  // Adds a value, replacing the oldest one once Depth values are held.
  void AddValue(double value);

  // Mean of the values held (0 when there are none).
  double Average();

 private:
  double average_ = 0.0;
  bool averageIsCurrent_ = false;
  int16_t count_ = 0;
  int16_t nextSlot_ = 1;
  int16_t depth_ = 0;
  double sum_ = 0.0;
  BasicVector buffer_;  // 1 To buffer depth
};

}  // namespace tavkelo
