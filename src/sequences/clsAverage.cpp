#include "sequences/clsAverage.hpp"

#include <cmath>

#include "platform/VbConvert.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
constexpr int16_t kDefaultDepth = 5;
}  // namespace

clsAverage::clsAverage() {
  Reset(kDefaultDepth);
}

void clsAverage::Reset(std::optional<double> depth) {
  depth_ = depth ? VbCInt(std::floor(VbVal(VbStr(*depth)))) : kDefaultDepth;
  if (depth_ < 1) depth_ = kDefaultDepth;
  buffer_.ReDim(1, depth_);
  // Depth is then taken from the argument itself: a depth below 1 stays as given.
  if (depth) depth_ = VbCInt(*depth);
  sum_ = 0.0;
  count_ = 0;
  nextSlot_ = 1;
  averageIsCurrent_ = true;
}

void clsAverage::AddValue(double value) {
  sum_ = sum_ - buffer_(nextSlot_) + value;
  buffer_(nextSlot_) = value;
  nextSlot_ = VbCInt(static_cast<double>(nextSlot_) + 1.0);
  if (count_ < depth_) ++count_;
  if (nextSlot_ > depth_) nextSlot_ = 1;
  averageIsCurrent_ = false;
}

double clsAverage::Average() {
  if (!averageIsCurrent_) {
    if (count_ != 0) {
      average_ = sum_ / count_;
      averageIsCurrent_ = true;
    } else {
      average_ = 0.0;
    }
  }
  return average_;
}

}  // namespace tavkelo
