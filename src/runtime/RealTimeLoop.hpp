#pragma once
// The loop in real time. On Linux: ppoll over a wake-up descriptor and the descriptors of open
// channels (RealTimeLoop.cpp). On Windows: MsgWaitForMultipleObjectsEx over a wake-up event and
// the watched handles, dispatching the thread's window and thread messages as well, which is how
// a single-threaded apartment receives its calls (Win32RealTimeLoop.cpp). Timers on the steady
// clock on both.

#include <cstdint>
#include <functional>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

class RealTimeLoop final : public EventLoop {
 public:
  RealTimeLoop();
  ~RealTimeLoop() override;
  double Now() const override;

#ifdef _WIN32
  // Called for a thread message (one posted to the loop's thread with no window): message, wParam,
  // lParam. WM_QUIT ends Run() instead. Without a handler thread messages are dropped.
  using ThreadMessageHandler = std::function<void(unsigned, uintptr_t, intptr_t)>;
  void OnThreadMessage(ThreadMessageHandler handler) {
    threadMessageHandler_ = std::move(handler);
  }
#endif

 protected:
  int64_t ClockUs() const override;
  void WaitForEvents(int64_t deadlineUs) override;
  void Wake() override;
  void BlockFor(uint32_t ms) override;
  uint32_t TickOrigin() const override {
    return tickOrigin_;
  }

 private:
#ifdef _WIN32
  // Dispatches the messages waiting in the thread's queue; false when there were none.
  bool PumpMessages();
  void* wakeEvent_ = nullptr;
  ThreadMessageHandler threadMessageHandler_;
#else
  int wakeFd_ = -1;
#endif
  // The steady clock in microseconds, on both platforms (RealTimeLoopClock.cpp).
  static int64_t SteadyUs();
  // True while the loop waits: only then does a post need to signal the wake-up object.
  std::atomic<bool> sleeping_{false};
  int64_t originUs_ = 0;
  uint32_t tickOrigin_ = 0;
};

}  // namespace tavkelo
