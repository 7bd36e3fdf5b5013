#include "runtime/LoopTimer.hpp"

namespace tavkelo {

LoopTimer::LoopTimer(EventLoop& loop, std::function<void()> onTick)
    : loop_(loop), onTick_(std::move(onTick)) {}

LoopTimer::~LoopTimer() {
  Disarm();
}

void LoopTimer::SetInterval(uint32_t ms) {
  interval_ = ms;
  if (enabled_) Arm();
}

void LoopTimer::SetEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  if (enabled_) {
    Arm();
  } else {
    Disarm();
  }
}

void LoopTimer::Arm() {
  Disarm();
  if (!enabled_ || interval_ == 0) return;
  scheduled_ = loop_.CallAfterUs(static_cast<int64_t>(interval_) * 1000, [this] { Fire(); });
}

void LoopTimer::Disarm() {
  if (scheduled_ != 0) loop_.Cancel(scheduled_);
  scheduled_ = 0;
}

void LoopTimer::Fire() {
  scheduled_ = 0;
  // The next tick is due one interval after this one began; the handler may change that.
  Arm();
  ++ticks_;
  if (onTick_) onTick_();
}

}  // namespace tavkelo
