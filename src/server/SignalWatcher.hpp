#pragma once
// Turns SIGINT and SIGTERM into a call on the event loop (through signalfd), so the server stops
// at a quiet point between handlers instead of inside one.

#include <functional>

namespace tavkelo {

class EventLoop;

class SignalWatcher {
 public:
  SignalWatcher(EventLoop& loop, std::function<void(int signal)> onSignal);
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  EventLoop& loop_;
  int fd_ = -1;
  int watch_ = 0;
};

}  // namespace tavkelo
