#include "host/MsgEvents.hpp"

#include <cmath>
#include <map>
#include <mutex>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

namespace {

struct EventObject {
  bool manualReset = false;
  bool signalled = false;
};

// The process-wide handle table.
std::mutex gEventsMutex;
std::map<int32_t, EventObject> gEvents;
int32_t gNextHandle = 0x100;

enum class SignalState { NotSignalled, Signalled, Closed };

// Takes the signal of an event the way a satisfied wait does (auto-reset events reset).
SignalState ConsumeSignal(int32_t handle) {
  std::lock_guard<std::mutex> lock(gEventsMutex);
  auto it = gEvents.find(handle);
  if (it == gEvents.end()) return SignalState::Closed;
  if (!it->second.signalled) return SignalState::NotSignalled;
  if (!it->second.manualReset) it->second.signalled = false;
  return SignalState::Signalled;
}

// 1601-01-01 to the loop's clock origin does not matter for relative deadlines; a fixed base
// keeps the numbers of the classic file time's size.
constexpr int64_t kFileTimeBase = 132'000'000'000'000'000;

}  // namespace

MsgEvents::MsgEvents(EventLoop& loop) : loop_(loop) {
  ownEvent_ = CreateEvent(false, false, "");
}

MsgEvents::~MsgEvents() {
  // A wait still in progress is released first, so the waiter returns.
  *alive_ = false;
  if (waitingOn_ != 0) SetEvent(waitingOn_);
  CloseHandle(ownEvent_);
}

void MsgEvents::DoMsgEvents() {
  loop_.PumpOnce(10);
}

FileTime MsgEvents::ToFileTime(int64_t value) {
  FileTime t{};
  uint64_t v = static_cast<uint64_t>(value);
  for (size_t i = 0; i < 8; ++i) t[i] = static_cast<uint8_t>(v >> (8 * i));
  return t;
}

int64_t MsgEvents::FromFileTime(const FileTime& value) {
  uint64_t v = 0;
  for (size_t i = 0; i < 8; ++i) v |= static_cast<uint64_t>(value[i]) << (8 * i);
  return static_cast<int64_t>(v);
}

FileTime MsgEvents::AddFileTime(const FileTime& a, const FileTime& b) {
  FileTime r{};
  unsigned carry = 0;
  for (size_t i = 0; i < 8; ++i) {
    unsigned sum = static_cast<unsigned>(a[i]) + b[i] + carry;
    r[i] = static_cast<uint8_t>(sum & 0xFF);
    carry = sum >> 8;
  }
  return r;
}

FileTime MsgEvents::SubtractFileTime(const FileTime& a, const FileTime& b) {
  FileTime r{};
  int borrow = 0;
  for (size_t i = 0; i < 8; ++i) {
    int diff = static_cast<int>(a[i]) - static_cast<int>(b[i]) - borrow;
    borrow = diff < 0 ? 1 : 0;
    r[i] = static_cast<uint8_t>(diff + (borrow ? 256 : 0));
  }
  return r;
}

FileTime MsgEvents::CurrentFileTime(const EventLoop& loop) {
  return ToFileTime(kFileTimeBase + loop.NowUs() * 10);
}

int32_t MsgEvents::MsgWaitEvent(int32_t handle, int32_t timeoutMs) {
  // Handlers dispatched during the wait may destroy this object: after each pump only locals
  // are used until `alive` says the object still exists.
  EventLoop& loop = loop_;
  std::shared_ptr<bool> alive = alive_;
  const bool bounded = timeoutMs > 0;
  FileTime deadline{};
  if (bounded) {
    deadline =
        AddFileTime(CurrentFileTime(loop), ToFileTime(static_cast<int64_t>(timeoutMs) * 10000));
  }
  waitingOn_ = handle;
  auto checkHandle = [handle](int32_t& result) {
    if (handle == 0) return false;
    SignalState state = ConsumeSignal(handle);
    if (state == SignalState::NotSignalled) return false;
    result = state == SignalState::Signalled ? kWaitObject0 : kWaitFailed;
    return true;
  };
  int32_t result = kTimedOut;
  // Each round looks at the deadline first, then at the handle, then waits and dispatches: an
  // event signalled by a handler that ran past the deadline reports the time-out.
  for (;;) {
    uint32_t waitMs = 60'000;
    if (bounded) {
      int64_t remaining = FromFileTime(SubtractFileTime(deadline, CurrentFileTime(loop)));
      if (remaining < 0) {
        result = kTimedOut;
        break;
      }
      waitMs = static_cast<uint32_t>(std::llround(static_cast<double>(remaining) / 10000.0));
    }
    if (checkHandle(result)) break;
    // A wait with no time left: the inner wait would time out, which a bounded wait reports as 1.
    if (bounded && waitMs == 0) {
      result = kTimedOut;
      break;
    }
    // Wait for a message (anything to dispatch) or the time; dispatch, then look again.
    loop.PumpOnce(waitMs);
    if (!*alive) return kWaitObject0;
  }
  waitingOn_ = 0;
  return result;
}

int32_t MsgEvents::CreateEvent(bool manualReset, bool initialState, const std::string& /*name*/) {
  std::lock_guard<std::mutex> lock(gEventsMutex);
  int32_t handle = gNextHandle++;
  gEvents[handle] = EventObject{manualReset, initialState};
  return handle;
}

int32_t MsgEvents::SetEvent(int32_t handle) {
  std::lock_guard<std::mutex> lock(gEventsMutex);
  auto it = gEvents.find(handle);
  if (it == gEvents.end()) return kInvalidHandle;
  it->second.signalled = true;
  return 0;
}

int32_t MsgEvents::ResetEvent(int32_t handle) {
  std::lock_guard<std::mutex> lock(gEventsMutex);
  auto it = gEvents.find(handle);
  if (it == gEvents.end()) return kInvalidHandle;
  it->second.signalled = false;
  return 0;
}

int32_t MsgEvents::CloseHandle(int32_t handle) {
  std::lock_guard<std::mutex> lock(gEventsMutex);
  return gEvents.erase(handle) == 1 ? 0 : kInvalidHandle;
}

}  // namespace tavkelo
