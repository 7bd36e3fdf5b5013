#pragma once
// The moment the roll speed crossed a given speed, found by a straight line through the last two
// speed samples (the previous and the current one, each with the tick it was taken at). The
// parasitic-loss and coastdown tests mark the top and bottom of each window with it.

#include <cstdint>
#include <optional>

namespace tavkelo {

class KeloContext;

class SpeedCrossing {
 public:
  // Tick (ms) at which the line through (x1, y1) and (x2, y2) reaches `speed`, rounded to a whole
  // millisecond; 0 when both samples carry the same tick. Nothing when the line is flat or the
  // result does not fit 32 bits (the run-time errors of the division and the conversion).
  static std::optional<int32_t> CrossingTime(float y1, float y2, int32_t x1, int32_t x2,
                                             float speed);

  // The crossing of `speed` by the store's two latest samples; when it cannot be computed, the
  // tick of the current sample. Writes the "PP-Pas:" line (with `pass`) when test logging is on.
  static int32_t Mark(KeloContext& ctx, float speed, int pass);
};

}  // namespace tavkelo
