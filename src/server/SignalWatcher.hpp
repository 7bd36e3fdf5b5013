#pragma once
// Turns the system's requests to stop into a call on the event loop, so the server stops at a
// quiet point between handlers instead of inside one. On Linux: SIGINT and SIGTERM, through
// signalfd. On Windows (Win32SignalWatcher.cpp): the console's control events (Ctrl+C and
// Ctrl+Break as SIGINT; the console closing, logoff and shutdown as SIGTERM) and WM_CLOSE or
// WM_ENDSESSION to the process's hidden top-level window (as SIGTERM).

#include <functional>

namespace tavkelo {

class EventLoop;

class SignalWatcher {
 public:
  SignalWatcher(EventLoop& loop, std::function<void(int signal)> onSignal);
  ~SignalWatcher();
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;
#ifdef _WIN32
  // Hands a stop request to the loop (any thread): the console's handler and the window's.
  void Request(int signal);
#endif

 private:
  EventLoop& loop_;
#ifdef _WIN32
  std::function<void(int)> onSignal_;
  void* window_ = nullptr;  // the hidden top-level window that WM_CLOSE reaches
#else
  int fd_ = -1;
  int watch_ = 0;
#endif
};

}  // namespace tavkelo
