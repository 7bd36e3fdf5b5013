// The real-time loop's clock, the same on every platform: the steady clock, from the loop's start.
#include <chrono>

#include "runtime/RealTimeLoop.hpp"

namespace tavkelo {

int64_t RealTimeLoop::SteadyUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

int64_t RealTimeLoop::ClockUs() const {
  return SteadyUs() - originUs_;
}

}  // namespace tavkelo
