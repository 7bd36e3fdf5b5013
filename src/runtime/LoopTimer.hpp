#pragma once
// A form timer on the event loop: an interval in milliseconds, an enabled state and a tick handler.
//
// As with the classic form timer, a tick is due one interval after the timer was enabled, after
// its interval was changed while enabled, or after the previous tick began. Setting the interval
// to 0 stops the ticks. A handler may change the interval or disable the timer; the change takes
// effect from that moment.

#include <cstdint>
#include <functional>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

class LoopTimer {
 public:
  explicit LoopTimer(EventLoop& loop, std::function<void()> onTick = {});
  ~LoopTimer();
  LoopTimer(const LoopTimer&) = delete;
  LoopTimer& operator=(const LoopTimer&) = delete;

  uint32_t Interval() const { return interval_; }
  void SetInterval(uint32_t ms);
  bool Enabled() const { return enabled_; }
  void SetEnabled(bool enabled);
  void SetHandler(std::function<void()> onTick) { onTick_ = std::move(onTick); }
  // Number of ticks delivered so far (diagnostics and tests).
  uint64_t TickCount() const { return ticks_; }

 private:
  void Arm();
  void Disarm();
  void Fire();

  EventLoop& loop_;
  std::function<void()> onTick_;
  uint32_t interval_ = 0;
  bool enabled_ = false;
  EventLoop::ScheduleId scheduled_ = 0;
  uint64_t ticks_ = 0;
};

}  // namespace tavkelo
