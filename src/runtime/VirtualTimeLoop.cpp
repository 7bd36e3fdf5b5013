#include "runtime/VirtualTimeLoop.hpp"

#ifdef _WIN32
#include <windows.h>
#else
#include <poll.h>
#endif

#include <chrono>
#include <vector>

namespace tavkelo {

VirtualTimeLoop::VirtualTimeLoop() : VirtualTimeLoop(Options{}) {}
VirtualTimeLoop::VirtualTimeLoop(Options options) : options_(options) {}
VirtualTimeLoop::~VirtualTimeLoop() {
  Close();
}

double VirtualTimeLoop::Now() const {
  return options_.startDate + static_cast<double>(nowUs_) / 86'400'000'000.0;
}

void VirtualTimeLoop::Wake() {
  std::lock_guard<std::mutex> lock(wakeMutex_);
  woken_ = true;
  wakeCv_.notify_all();
}

void VirtualTimeLoop::WaitForEvents(int64_t deadlineUs) {
  // Descriptors and handles (rare in virtual time) are looked at without letting time pass.
#ifdef _WIN32
  for (const auto& [id, watch] : HandleWatches()) {
    if (::WaitForSingleObject(watch.handle, 0) == WAIT_OBJECT_0) {
      DispatchHandle(id);
      return;
    }
  }
#else
  if (!FdWatches().empty()) {
    std::vector<pollfd> fds;
    std::vector<int> ids;
    for (const auto& [id, watch] : FdWatches()) {
      fds.push_back(pollfd{watch.fd, watch.events, 0});
      ids.push_back(id);
    }
    if (::poll(fds.data(), fds.size(), 0) > 0) {
      for (size_t i = 0; i < fds.size(); ++i) DispatchFdResult(ids[i], fds[i].revents);
      return;
    }
  }
#endif
  if (HasPosted() || StopRequested()) return;
  if (deadlineUs != kForever) {
    if (deadlineUs > nowUs_) nowUs_ = deadlineUs;
    return;
  }
  // Nothing is scheduled: only another thread can bring work. Wait for it in real time, but not
  // forever, so a test that waits for nothing fails instead of hanging.
  std::unique_lock<std::mutex> lock(wakeMutex_);
  bool woke = wakeCv_.wait_for(lock, std::chrono::seconds(60), [this] { return woken_; });
  woken_ = false;
  if (!woke) throw std::logic_error("VirtualTimeLoop: waiting with nothing scheduled or posted");
}

}  // namespace tavkelo
