// The Windows real-time loop's own sources of events: handles, window and thread messages.
#include <gtest/gtest.h>

#include <windows.h>

#include <thread>
#include <vector>

#include "runtime/RealTimeLoop.hpp"

namespace tavkelo {
namespace {

LRESULT CALLBACK RecordingWindow(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_APP) {
    auto* seen = reinterpret_cast<std::vector<int>*>(::GetWindowLongPtrW(hwnd, GWLP_USERDATA));
    seen->push_back(static_cast<int>(wParam));
    return 0;
  }
  return ::DefWindowProcW(hwnd, message, wParam, lParam);
}

TEST(Win32RealTimeLoop, HandlesWindowAndThreadMessagesWakeItAndRunAsHandlers) {
  RealTimeLoop loop;
  std::vector<int> seen;
  std::vector<int> depths;

  HANDLE event = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  int watch = loop.WatchHandle(event, [&] {
    seen.push_back(1);
    depths.push_back(loop.Depth());
  });

  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = RecordingWindow;
  windowClass.hInstance = ::GetModuleHandleW(nullptr);
  windowClass.lpszClassName = L"TavKeloLoopTest";
  ASSERT_NE(::RegisterClassW(&windowClass), 0);
  HWND window = ::CreateWindowExW(0, L"TavKeloLoopTest", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  windowClass.hInstance, nullptr);
  ASSERT_NE(window, nullptr);
  ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&seen));
  loop.OnThreadMessage([&](unsigned message, uintptr_t wParam, intptr_t) {
    if (message == WM_APP + 1) seen.push_back(static_cast<int>(wParam));
  });
  const DWORD loopThread = ::GetCurrentThreadId();

  // Each comes from another thread while the loop waits with nothing scheduled.
  std::thread sender([&] {
    ::SetEvent(event);
    ::Sleep(20);
    ::PostMessageW(window, WM_APP, 2, 0);
    ::Sleep(20);
    ::PostThreadMessageW(loopThread, WM_APP + 1, 3, 0);
  });
  EXPECT_TRUE(loop.PumpUntil([&] { return seen.size() == 3; }, 5000));
  sender.join();
  EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(depths, std::vector<int>{1}) << "a handle's handler runs as one of the loop's handlers";

  // A handle no longer watched runs nothing; WM_QUIT ends Run().
  loop.UnwatchHandle(watch);
  ::SetEvent(event);
  ::PostThreadMessageW(loopThread, WM_QUIT, 0, 0);
  loop.Run();
  EXPECT_EQ(seen.size(), 3u);

  ::DestroyWindow(window);
  ::UnregisterClassW(L"TavKeloLoopTest", windowClass.hInstance);
  ::CloseHandle(event);
}

}  // namespace
}  // namespace tavkelo
