// RealTimeLoop on Windows: MsgWaitForMultipleObjectsEx over the wake-up event and the watched
// handles, with the thread's messages dispatched as loop handlers.
#include <windows.h>

#include <chrono>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "runtime/OleDate.hpp"
#include "runtime/RealTimeLoop.hpp"

namespace tavkelo {

namespace {

// Messages dispatched in one go at most, so a window that keeps posting to itself cannot keep
// timers and handles from their turn.
constexpr int kMessagesPerWait = 64;
}  // namespace

RealTimeLoop::RealTimeLoop() {
  // Auto-reset: one wake-up per signal, cleared by the wait that sees it.
  wakeEvent_ = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  if (wakeEvent_ == nullptr)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "CreateEvent");
  originUs_ = SteadyUs();
  // The platform tick count itself: milliseconds since the machine started.
  tickOrigin_ = static_cast<uint32_t>(::GetTickCount64());
}

RealTimeLoop::~RealTimeLoop() {
  Close();
  if (wakeEvent_ != nullptr) ::CloseHandle(wakeEvent_);
}

double RealTimeLoop::Now() const {
  SYSTEMTIME local{};
  ::GetLocalTime(&local);
  double date = OleDateFromParts(local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute,
                                 local.wSecond);
  return date + static_cast<double>(local.wMilliseconds) / 86'400'000.0;
}

void RealTimeLoop::Wake() {
  // As on Linux: the loop sets `sleeping_` before its last look at the posted calls, a poster looks
  // at it after queueing, so one of the two always sees the other.
  if (!sleeping_.load()) return;
  ::SetEvent(wakeEvent_);
}

void RealTimeLoop::BlockFor(uint32_t ms) {
  ::Sleep(ms);
}

bool RealTimeLoop::PumpMessages() {
  MSG msg;
  int count = 0;
  while (count < kMessagesPerWait && ::PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
    ++count;
    if (msg.message == WM_QUIT) {
      Stop();
      break;
    }
    if (msg.hwnd == nullptr) {
      if (threadMessageHandler_) {
        RunHandler([&] {
          threadMessageHandler_(msg.message, static_cast<uintptr_t>(msg.wParam),
                                static_cast<intptr_t>(msg.lParam));
        });
      }
      continue;
    }
    ::TranslateMessage(&msg);
    RunHandler([&] { ::DispatchMessageW(&msg); });
  }
  return count > 0;
}

void RealTimeLoop::WaitForEvents(int64_t deadlineUs) {
  // Messages first: a nested wait may run while messages are already queued, and a wait does not
  // report those it has seen before.
  if (PumpMessages()) return;

  std::vector<HANDLE> handles{static_cast<HANDLE>(wakeEvent_)};
  std::vector<int> ids{0};
  for (const auto& [id, watch] : HandleWatches()) {
    handles.push_back(static_cast<HANDLE>(watch.handle));
    ids.push_back(id);
  }
  if (handles.size() >= MAXIMUM_WAIT_OBJECTS)
    throw std::length_error("RealTimeLoop: too many handles to wait on");

  DWORD timeoutMs = INFINITE;
  if (deadlineUs != kForever) {
    int64_t remainingUs = deadlineUs - ClockUs();
    if (remainingUs <= 0) return;
    if (remainingUs > 60'000'000) remainingUs = 60'000'000;
    // Rounded up: waking before the due time would only wait again.
    timeoutMs = static_cast<DWORD>((remainingUs + 999) / 1000);
  }
  sleeping_.store(true);
  if (HasPosted() || StopRequested()) {
    sleeping_.store(false);
    return;
  }
  const DWORD count = static_cast<DWORD>(handles.size());
  DWORD result = ::MsgWaitForMultipleObjectsEx(count, handles.data(), timeoutMs, QS_ALLINPUT,
                                               MWMO_INPUTAVAILABLE | MWMO_ALERTABLE);
  sleeping_.store(false);
  if (result == WAIT_FAILED)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(),
                            "MsgWaitForMultipleObjectsEx");
  if (result == WAIT_OBJECT_0 + count) {
    PumpMessages();
    return;
  }
  DWORD index = count;
  if (result >= WAIT_OBJECT_0 && result < WAIT_OBJECT_0 + count) index = result - WAIT_OBJECT_0;
  if (result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count)
    index = result - WAIT_ABANDONED_0;
  // Index 0 is the wake-up event, which has done its work by ending the wait.
  if (index > 0 && index < count) DispatchHandle(ids[index]);
}

}  // namespace tavkelo
