#pragma once
// Deterministic discrete-event time. When nothing is runnable, time jumps to the next due timer,
// so a 300-second warm-up runs in well under a second, the same way every run.

#include <condition_variable>

#include "runtime/EventLoop.hpp"
#include "runtime/OleDate.hpp"

namespace tavkelo {

class VirtualTimeLoop final : public EventLoop {
 public:
  struct Options {
    // The tick count at virtual time zero.
    uint32_t startTick = 1'000'000;
    // The wall-clock date-time at virtual time zero, as an OLE date.
    double startDate = OleDateFromParts(2020, 6, 22, 14, 23, 5);
  };
  VirtualTimeLoop();
  explicit VirtualTimeLoop(Options options);
  ~VirtualTimeLoop() override;

  double Now() const override;
  // Moves virtual time forward without dispatching (what a blocked thread would see).
  void Advance(int64_t us) { nowUs_ += us; }

 protected:
  int64_t ClockUs() const override { return nowUs_; }
  void WaitForEvents(int64_t deadlineUs) override;
  void Wake() override;
  void BlockFor(uint32_t ms) override { nowUs_ += static_cast<int64_t>(ms) * 1000; }
  uint32_t TickOrigin() const override { return options_.startTick; }

 private:
  Options options_;
  int64_t nowUs_ = 0;
  std::mutex wakeMutex_;
  std::condition_variable wakeCv_;
  bool woken_ = false;
};

}  // namespace tavkelo
