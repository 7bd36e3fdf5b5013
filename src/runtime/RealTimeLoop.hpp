#pragma once
// The loop in real time: poll(2) over a wake-up descriptor and the descriptors of open channels,
// timers on the steady clock.

#include "runtime/EventLoop.hpp"

namespace tavkelo {

class RealTimeLoop final : public EventLoop {
 public:
  RealTimeLoop();
  ~RealTimeLoop() override;
  double Now() const override;

 protected:
  int64_t ClockUs() const override;
  void WaitForEvents(int64_t deadlineUs) override;
  void Wake() override;
  void BlockFor(uint32_t ms) override;
  uint32_t TickOrigin() const override { return tickOrigin_; }

 private:
  int wakeFd_ = -1;
  // True while the loop waits in ppoll: only then does a post need to write the wake-up descriptor.
  std::atomic<bool> sleeping_{false};
  int64_t originUs_ = 0;
  uint32_t tickOrigin_ = 0;
};

}  // namespace tavkelo
