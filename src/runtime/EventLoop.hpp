#pragma once
// The one-thread event loop that everything in the engine runs on.
//
// Client calls, timer ticks and serial events are all handlers dispatched by this loop. A procedure
// that has to wait does not block the thread: it pumps the loop (PumpFor / PumpUntil) until its
// condition holds, so other handlers run inside the wait and calls can nest.
//
// Calls posted from other threads come in two kinds. A call that can wait (CallKind::CanWait) runs
// only at the loop's top level, one at a time and in arrival order. A call that never waits may
// also run inside another handler's wait. This keeps readers responsive during long commands and
// rules out the deadlock in which a nested command waits for a lock held beneath it on the stack.
//
// Invoke hands a call from another thread to the loop and waits for it with a mutex and a condition
// variable. A call that can no longer run (the loop was closed, or Run() returned after Stop()
// with the call still queued) is dropped: Invoke throws LoopCallDropped instead of waiting for
// ever, and the call's function object is destroyed without running.
//
// Two clocks exist: RealTimeLoop (steady clock, poll(2)) and VirtualTimeLoop (discrete-event time
// that jumps to the next due timer when nothing is runnable).

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace tavkelo {

enum class CallKind { NeverWaits, CanWait };

// A call handed to the loop from another thread that will never run: the loop is closed, or it
// stopped with the call still queued.
class LoopCallDropped : public std::runtime_error {
 public:
  LoopCallDropped() : std::runtime_error("the event loop has stopped; the call was not run") {}
};

// The meeting point of a thread that waits in Invoke and the loop that runs its call.
class InvokeHandshake {
 public:
  // Loop side: the call ran (error set when it threw) or will never run.
  void Finish(std::exception_ptr error);
  void Drop();
  // Caller side: blocks until Finish or Drop; rethrows the call's exception, throws
  // LoopCallDropped for a dropped call.
  void Wait();

 private:
  enum class State { Pending, Done, Dropped };
  std::mutex mutex_;
  std::condition_variable cv_;
  State state_ = State::Pending;
  std::exception_ptr error_;
};

class EventLoop {
 public:
  using Task = std::function<void()>;
  static constexpr int64_t kForever = std::numeric_limits<int64_t>::max();

  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;
  virtual ~EventLoop();

  // ---- clocks -------------------------------------------------------------------------------
  // Milliseconds of the platform tick count: 32 bits that wrap.
  uint32_t TickCount() const;
  // The loop's monotonic clock in microseconds (virtual or steady).
  int64_t NowUs() const { return ClockUs(); }
  // Wall-clock local date-time as an OLE date (days since 1899-12-30).
  virtual double Now() const = 0;
  // Seconds since midnight with their fraction, read from the clock (the classic Timer).
  double Timer() const;

  // ---- calls from anywhere --------------------------------------------------------------------
  // Queues a call; safe from any thread. On a closed loop the call is discarded.
  void Post(Task task, CallKind kind = CallKind::NeverWaits);

  // Runs fn on the loop and returns its result. From the loop's own thread fn runs at once; from
  // another thread the caller blocks until the loop has run it, or gets LoopCallDropped when the
  // loop closes or stops first.
  template <class F>
  auto Invoke(F&& fn, CallKind kind = CallKind::NeverWaits) -> std::invoke_result_t<F&>;

  // ---- waits that keep dispatching ---------------------------------------------------------
  // Dispatches for ms milliseconds of loop time.
  void PumpFor(uint32_t ms);
  // Dispatches until pred() holds (true) or timeoutMs passes (false). timeoutMs < 0: no limit.
  bool PumpUntil(const std::function<bool()>& pred, int64_t timeoutMs);
  // Dispatches what is ready; when nothing was, waits up to maxWaitMs for something and
  // dispatches that. Returns true when any handler ran.
  bool PumpOnce(uint32_t maxWaitMs);
  // Blocks the loop for ms milliseconds without dispatching anything.
  void Sleep(uint32_t ms);

  // ---- running --------------------------------------------------------------------------------
  // Dispatches until Stop() is called. Calls still queued when it returns are dropped, and so are
  // calls posted until Run() is entered again.
  void Run();
  // Drops every queued call and every later one for good. Derived loops close in their destructor.
  void Close();
  // Ends Run(); safe from any thread and from signal-forwarding code.
  void Stop();
  bool StopRequested() const { return stop_.load(); }
  // True when no handler of this loop is on the stack.
  bool AtTopLevel() const { return depth_ == 0; }
  int Depth() const { return depth_; }
  bool IsLoopThread() const { return std::this_thread::get_id() == owner_.load(); }
  // Makes the calling thread the loop's owner (for a loop built on one thread and run on another).
  void AdoptCurrentThread() { owner_.store(std::this_thread::get_id()); }

  // ---- scheduled calls ------------------------------------------------------------------------
  using ScheduleId = uint64_t;
  // Runs fn once, delayUs microseconds from now. Loop thread only.
  ScheduleId CallAfterUs(int64_t delayUs, Task fn);
  // Runs fn once at the absolute loop time atUs.
  ScheduleId CallAtUs(int64_t atUs, Task fn);
  void Cancel(ScheduleId id);
  // Time of the next scheduled call, or kForever.
  int64_t NextDueUs() const;

  // ---- file descriptors -----------------------------------------------------------------------
  using FdHandler = std::function<void(short revents)>;
  int WatchFd(int fd, short events, FdHandler handler);
  void SetFdEvents(int watchId, short events);
  void UnwatchFd(int watchId);

  // ---- kernel handles (Windows) ---------------------------------------------------------------
  // The handler runs on the loop each time the handle is signalled (an event, a semaphore, a
  // process). The loop waits on it as it is: the owner resets a manual-reset event, and unwatches
  // the handle before closing it. At most 62 handles at a time.
  using HandleHandler = std::function<void()>;
  int WatchHandle(void* handle, HandleHandler handler);
  void UnwatchHandle(int watchId);

 protected:
  EventLoop();
  virtual int64_t ClockUs() const = 0;
  // Lets time pass up to deadlineUs or until something happens (a post, a ready descriptor).
  // Ready descriptors are dispatched from here through DispatchFds.
  virtual void WaitForEvents(int64_t deadlineUs) = 0;
  virtual void Wake() = 0;
  virtual void BlockFor(uint32_t ms) = 0;
  virtual uint32_t TickOrigin() const = 0;

  struct FdWatch {
    int fd;
    short events;
    FdHandler handler;
  };
  const std::map<int, FdWatch>& FdWatches() const { return fdWatches_; }
  // Runs the handlers of descriptors that poll(2) reported ready.
  void DispatchFdResult(int watchId, short revents);
  struct HandleWatch {
    void* handle;
    HandleHandler handler;
  };
  const std::map<int, HandleWatch>& HandleWatches() const { return handleWatches_; }
  // Runs the handler of a handle that the wait found signalled.
  void DispatchHandle(int watchId);
  // Runs a platform handler (a window procedure, a thread message) as one of the loop's handlers.
  void RunHandler(const Task& fn);
  // True when a posted call could run now (calls that can wait are held back inside a wait).
  bool HasPosted() const;

 private:
  struct Posted {
    Task task;
    CallKind kind;
    std::shared_ptr<InvokeHandshake> waiter;  // the caller of Invoke, told when it is dropped
  };
  void Enqueue(Posted posted);
  // Drops what is queued; `forGood` also refuses every later call (Close), otherwise until the
  // next Run().
  void DropQueued(bool forGood);
  struct Scheduled {
    ScheduleId id;
    Task fn;
  };
  bool RunReady();
  bool RunPosted();
  bool RunDueScheduled();
  template <class Fn>
  void Dispatch(Fn&& fn);

  std::atomic<std::thread::id> owner_;
  int depth_ = 0;
  std::atomic<bool> stop_{false};

  mutable std::mutex postMutex_;
  std::deque<Posted> posted_;
  bool refusing_ = false;  // under postMutex_
  bool closed_ = false;    // under postMutex_

  ScheduleId nextScheduleId_ = 1;
  std::map<std::pair<int64_t, ScheduleId>, Task> schedule_;
  std::map<ScheduleId, int64_t> scheduleIndex_;

  int nextWatchId_ = 1;
  std::map<int, FdWatch> fdWatches_;
  std::map<int, HandleWatch> handleWatches_;
};

template <class F>
auto EventLoop::Invoke(F&& fn, CallKind kind) -> std::invoke_result_t<F&> {
  using R = std::invoke_result_t<F&>;
  static_assert(!std::is_reference_v<R>, "Invoke returns values");
  if (IsLoopThread()) return fn();
  auto handshake = std::make_shared<InvokeHandshake>();
  // The result lives with the caller, which waits until the loop has written it or dropped the
  // call; the handshake's mutex orders the write before the read.
  std::conditional_t<std::is_void_v<R>, bool, std::optional<R>> result{};
  Task task = [&result, handshake, call = std::forward<F>(fn)]() mutable {
    std::exception_ptr error;
    try {
      if constexpr (std::is_void_v<R>) {
        call();
      } else {
        result.emplace(call());
      }
    } catch (...) {
      error = std::current_exception();
    }
    // Out of the catch block: the loop holds no reference to the exception any more.
    handshake->Finish(std::move(error));
  };
  Enqueue(Posted{std::move(task), kind, handshake});
  handshake->Wait();
  if constexpr (!std::is_void_v<R>) return std::move(*result);
}

}  // namespace tavkelo
