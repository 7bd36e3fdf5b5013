#include "runtime/EventLoop.hpp"

#include <cmath>

namespace tavkelo {

EventLoop::EventLoop() : owner_(std::this_thread::get_id()) {}

EventLoop::~EventLoop() {
  // A derived loop closes first (Wake is its own); this is for a loop that was never one.
  Close();
}

void InvokeHandshake::Finish(std::exception_ptr error) {
  std::lock_guard<std::mutex> lock(mutex_);
  error_ = std::move(error);
  state_ = State::Done;
  cv_.notify_all();
}

void InvokeHandshake::Drop() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (state_ == State::Pending) state_ = State::Dropped;
  cv_.notify_all();
}

void InvokeHandshake::Wait() {
  std::exception_ptr error;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait(lock, [this] { return state_ != State::Pending; });
    if (state_ == State::Dropped) throw LoopCallDropped();
    error = std::move(error_);
  }
  if (error) std::rethrow_exception(error);
}

uint32_t EventLoop::TickCount() const {
  // Unsigned arithmetic wraps exactly like the platform's 32-bit tick count.
  return TickOrigin() + static_cast<uint32_t>(static_cast<uint64_t>(ClockUs() / 1000));
}

double EventLoop::Timer() const {
  double now = Now();
  double fraction = now - std::floor(now);
  return fraction * 86400.0;
}

void EventLoop::Post(Task task, CallKind kind) {
  Enqueue(Posted{std::move(task), kind, nullptr});
}

void EventLoop::Enqueue(Posted posted) {
  {
    std::lock_guard<std::mutex> lock(postMutex_);
    if (!refusing_ && !closed_) {
      posted_.push_back(std::move(posted));
      // Woken under the lock: once Close() has taken it, no poster touches the loop again.
      Wake();
      return;
    }
  }
  // Refused: the task goes first, then its caller learns that it will not run.
  std::shared_ptr<InvokeHandshake> waiter = std::move(posted.waiter);
  posted.task = nullptr;
  if (waiter) waiter->Drop();
}

void EventLoop::DropQueued(bool forGood) {
  std::deque<Posted> dropped;
  {
    std::lock_guard<std::mutex> lock(postMutex_);
    if (forGood) closed_ = true;
    refusing_ = true;
    dropped.swap(posted_);
  }
  for (Posted& p : dropped) {
    p.task = nullptr;
    if (p.waiter) p.waiter->Drop();
  }
}

void EventLoop::Close() {
  DropQueued(true);
}

bool EventLoop::HasPosted() const {
  std::lock_guard<std::mutex> lock(postMutex_);
  for (const Posted& p : posted_) {
    if (p.kind == CallKind::NeverWaits || depth_ == 0) return true;
  }
  return false;
}

template <class Fn>
void EventLoop::Dispatch(Fn&& fn) {
  ++depth_;
  try {
    fn();
  } catch (...) {
    --depth_;
    throw;
  }
  --depth_;
}

bool EventLoop::RunPosted() {
  // Take the first eligible call: a call that never waits always qualifies; a call that can wait
  // only when no handler is on the stack.
  Posted next;
  {
    std::lock_guard<std::mutex> lock(postMutex_);
    auto it = posted_.begin();
    for (; it != posted_.end(); ++it) {
      if (it->kind == CallKind::NeverWaits || depth_ == 0) break;
    }
    if (it == posted_.end()) return false;
    next = std::move(*it);
    posted_.erase(it);
  }
  Dispatch(next.task);
  return true;
}

bool EventLoop::RunDueScheduled() {
  bool ran = false;
  const int64_t now = ClockUs();
  // Run due calls in the order of their due time, then of their scheduling. A handler may
  // schedule or cancel others, so the map is consulted afresh each time.
  while (!schedule_.empty()) {
    auto it = schedule_.begin();
    if (it->first.first > now) break;
    Task fn = std::move(it->second);
    scheduleIndex_.erase(it->first.second);
    schedule_.erase(it);
    Dispatch(fn);
    ran = true;
  }
  return ran;
}

bool EventLoop::RunReady() {
  bool ran = RunDueScheduled();
  // Posted calls: run those that are queued now, not those that their handlers queue.
  size_t budget;
  {
    std::lock_guard<std::mutex> lock(postMutex_);
    budget = posted_.size();
  }
  while (budget-- > 0 && RunPosted()) ran = true;
  return ran;
}

EventLoop::ScheduleId EventLoop::CallAfterUs(int64_t delayUs, Task fn) {
  return CallAtUs(ClockUs() + (delayUs < 0 ? 0 : delayUs), std::move(fn));
}

EventLoop::ScheduleId EventLoop::CallAtUs(int64_t atUs, Task fn) {
  ScheduleId id = nextScheduleId_++;
  schedule_.emplace(std::make_pair(atUs, id), std::move(fn));
  scheduleIndex_.emplace(id, atUs);
  return id;
}

void EventLoop::Cancel(ScheduleId id) {
  auto it = scheduleIndex_.find(id);
  if (it == scheduleIndex_.end()) return;
  schedule_.erase(std::make_pair(it->second, id));
  scheduleIndex_.erase(it);
}

int64_t EventLoop::NextDueUs() const {
  return schedule_.empty() ? kForever : schedule_.begin()->first.first;
}

int EventLoop::WatchFd(int fd, short events, FdHandler handler) {
  int id = nextWatchId_++;
  fdWatches_.emplace(id, FdWatch{fd, events, std::move(handler)});
  return id;
}

void EventLoop::SetFdEvents(int watchId, short events) {
  auto it = fdWatches_.find(watchId);
  if (it != fdWatches_.end()) it->second.events = events;
}

void EventLoop::UnwatchFd(int watchId) {
  fdWatches_.erase(watchId);
}

void EventLoop::DispatchFdResult(int watchId, short revents) {
  auto it = fdWatches_.find(watchId);
  if (it == fdWatches_.end() || revents == 0) return;
  FdHandler handler = it->second.handler;  // the handler may unwatch itself
  Dispatch([&] { handler(revents); });
}

int EventLoop::WatchHandle(void* handle, HandleHandler handler) {
  int id = nextWatchId_++;
  handleWatches_.emplace(id, HandleWatch{handle, std::move(handler)});
  return id;
}

void EventLoop::UnwatchHandle(int watchId) {
  handleWatches_.erase(watchId);
}

void EventLoop::DispatchHandle(int watchId) {
  auto it = handleWatches_.find(watchId);
  if (it == handleWatches_.end()) return;
  HandleHandler handler = it->second.handler;  // the handler may unwatch itself
  Dispatch([&] { handler(); });
}

void EventLoop::RunHandler(const Task& fn) {
  Dispatch(fn);
}

bool EventLoop::PumpOnce(uint32_t maxWaitMs) {
  if (RunReady()) return true;
  int64_t deadline = ClockUs() + static_cast<int64_t>(maxWaitMs) * 1000;
  int64_t until = std::min(deadline, NextDueUs());
  WaitForEvents(until);
  return RunReady();
}

bool EventLoop::PumpUntil(const std::function<bool()>& pred, int64_t timeoutMs) {
  const int64_t deadline = timeoutMs < 0 ? kForever : ClockUs() + timeoutMs * 1000;
  for (;;) {
    if (pred && pred()) return true;
    bool ran = RunReady();
    if (pred && pred()) return true;
    if (ClockUs() >= deadline) return false;
    if (!ran) WaitForEvents(std::min(deadline, NextDueUs()));
  }
}

void EventLoop::PumpFor(uint32_t ms) {
  PumpUntil(nullptr, ms);
}

void EventLoop::Sleep(uint32_t ms) {
  BlockFor(ms);
}

void EventLoop::Run() {
  {
    std::lock_guard<std::mutex> lock(postMutex_);
    refusing_ = false;
  }
  stop_ = false;
  while (!stop_) {
    if (RunReady()) continue;
    if (stop_) break;
    WaitForEvents(NextDueUs());
  }
  DropQueued(false);
}

void EventLoop::Stop() {
  stop_ = true;
  Wake();
}

}  // namespace tavkelo
