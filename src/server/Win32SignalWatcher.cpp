// The Windows side of SignalWatcher. Two ways to ask a process to stop:
// - the console's control events, which the system delivers on a thread of its own: they are
//   posted to the loop. For the console closing, logoff and shutdown the system ends the process
//   as soon as the handler returns, so the handler waits (a few seconds at most) for the loop to
//   finish the orderly stop first;
// - WM_CLOSE (what "taskkill" without /F sends) and WM_ENDSESSION, which reach top-level windows
//   only (a message-only window gets neither): the process keeps one hidden top-level window on
//   the loop's thread, whose messages the loop dispatches.
#include <windows.h>

#include <atomic>
#include <csignal>
#include <cstdio>

#include "runtime/EventLoop.hpp"
#include "server/SignalWatcher.hpp"

namespace tavkelo {

namespace {

constexpr wchar_t kWindowClass[] = L"TavKeloASM.SignalWatcher";
// How long the console handler holds back the end of the process for the orderly stop: the
// system gives a closing console 5 s in all.
constexpr DWORD kStopWaitMs = 4500;

std::atomic<SignalWatcher*> watcher{nullptr};

// Set when the watcher goes, that is when the server has stopped. It lives as long as the process,
// so a console handler still waiting on it never meets a closed handle.
HANDLE StoppedEvent() {
  static const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  return event;
}

BOOL WINAPI ConsoleHandler(DWORD event) {
  SignalWatcher* target = watcher.load();
  if (target == nullptr) return FALSE;  // the system's default: end the process
  switch (event) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
      target->Request(SIGINT);
      return TRUE;
    case CTRL_CLOSE_EVENT:
    case CTRL_LOGOFF_EVENT:
    case CTRL_SHUTDOWN_EVENT:
      target->Request(SIGTERM);
      ::WaitForSingleObject(StoppedEvent(), kStopWaitMs);
      return TRUE;
    default:
      return FALSE;
  }
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<SignalWatcher*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  switch (message) {
    case WM_CLOSE:
      // The window stays: the stop destroys it with the watcher.
      if (self != nullptr) self->Request(SIGTERM);
      return 0;
    case WM_QUERYENDSESSION:
      return TRUE;
    case WM_ENDSESSION:
      if (wParam != FALSE && self != nullptr) self->Request(SIGTERM);
      return 0;
    default:
      return ::DefWindowProcW(window, message, wParam, lParam);
  }
}

}  // namespace

SignalWatcher::SignalWatcher(EventLoop& loop, std::function<void(int)> onSignal)
    : loop_(loop), onSignal_(std::move(onSignal)) {
  const HINSTANCE instance = ::GetModuleHandleW(nullptr);
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = WindowProcedure;
  windowClass.hInstance = instance;
  windowClass.lpszClassName = kWindowClass;
  ::RegisterClassW(&windowClass);  // or registered already: the window says
  // Top-level and never shown: it has no taskbar button and takes no input.
  HWND window = ::CreateWindowExW(0, kWindowClass, L"TavKeloASM", WS_OVERLAPPED, 0, 0, 0, 0,
                                  nullptr, nullptr, instance, nullptr);
  if (window != nullptr) {
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    window_ = window;
  } else {
    // A session without a desktop: the console's events still stop the server.
    std::fprintf(stderr,
                 "TavKeloASM: no hidden window (system error %lu): WM_CLOSE and WM_ENDSESSION "
                 "will not stop the server\n",
                 static_cast<unsigned long>(::GetLastError()));
  }
  ::ResetEvent(StoppedEvent());
  watcher.store(this);
  ::SetConsoleCtrlHandler(ConsoleHandler, TRUE);
}

SignalWatcher::~SignalWatcher() {
  ::SetConsoleCtrlHandler(ConsoleHandler, FALSE);
  watcher.store(nullptr);
  if (window_ != nullptr) {
    ::SetWindowLongPtrW(static_cast<HWND>(window_), GWLP_USERDATA, 0);
    ::DestroyWindow(static_cast<HWND>(window_));
  }
  ::SetEvent(StoppedEvent());
}

void SignalWatcher::Request(int signal) {
  // From the console's thread or from the window procedure: either way, a call of its own on the
  // loop.
  loop_.Post([this, signal] { onSignal_(signal); });
}

}  // namespace tavkelo
