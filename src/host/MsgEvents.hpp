#pragma once
// Waits that keep the loop dispatching: wait for an event object, or only for a time, while timer
// ticks and serial events go on being delivered. One process-wide instance serves the command
// exchange's short pauses.
//
// Event objects live in a process-wide table of handles, as kernel objects do. Deadlines are
// 64-bit file times (100-nanosecond units) kept as 8 bytes and added or subtracted byte by byte.

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace tavkelo {

class EventLoop;

using FileTime = std::array<uint8_t, 8>;  // least significant byte first

class MsgEvents {
 public:
  static constexpr int32_t kWaitObject0 = 0;
  static constexpr int32_t kTimedOut = 1;
  static constexpr int32_t kWaitFailed = -1;    // the handle was closed while waited on
  static constexpr int32_t kInvalidHandle = 6;  // the platform's "invalid handle" error

  explicit MsgEvents(EventLoop& loop);
  ~MsgEvents();
  MsgEvents(const MsgEvents&) = delete;
  MsgEvents& operator=(const MsgEvents&) = delete;

  // One short pump: wait up to 10 ms for something to dispatch, and dispatch it.
  void DoMsgEvents();
  // Waits for `handle` (none when 0) while dispatching. Returns 0 when the event was signalled (or
  // this object was destroyed during the wait, which releases it), 1 when timeoutMs (> 0) ran out,
  // and -1 when the handle was closed; timeoutMs <= 0 waits without limit.
  int32_t MsgWaitEvent(int32_t handle, int32_t timeoutMs);
  int32_t CreateEvent(bool manualReset, bool initialState, const std::string& name);
  // 0 on success, kInvalidHandle for a handle that does not exist.
  int32_t SetEvent(int32_t handle);
  int32_t ResetEvent(int32_t handle);
  int32_t CloseHandle(int32_t handle);

  int32_t OwnEvent() const { return ownEvent_; }
  int32_t WaitingOn() const { return waitingOn_; }

  static FileTime AddFileTime(const FileTime& a, const FileTime& b);
  static FileTime SubtractFileTime(const FileTime& a, const FileTime& b);
  static FileTime ToFileTime(int64_t value);
  static int64_t FromFileTime(const FileTime& value);

 private:
  static FileTime CurrentFileTime(const EventLoop& loop);

  EventLoop& loop_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  int32_t ownEvent_ = 0;
  int32_t waitingOn_ = 0;
};

}  // namespace tavkelo
