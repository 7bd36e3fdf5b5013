#include "runtime/RealTimeLoop.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>
#include <thread>
#include <vector>

#include "runtime/OleDate.hpp"

namespace tavkelo {

RealTimeLoop::RealTimeLoop() {
  wakeFd_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (wakeFd_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  originUs_ = SteadyUs();
  // Like the platform tick count: milliseconds since the machine started.
  tickOrigin_ = static_cast<uint32_t>(static_cast<uint64_t>(originUs_ / 1000));
}

RealTimeLoop::~RealTimeLoop() {
  Close();
  if (wakeFd_ >= 0) ::close(wakeFd_);
}

double RealTimeLoop::Now() const {
  auto now = std::chrono::system_clock::now();
  auto us = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
  std::time_t seconds = static_cast<std::time_t>(us / 1'000'000);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  double date = OleDateFromParts(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                 local.tm_hour, local.tm_min, local.tm_sec);
  return date + static_cast<double>(us % 1'000'000) / 86'400'000'000.0;
}

void RealTimeLoop::Wake() {
  // The loop sets `sleeping_` before it looks at the posted calls a last time, and a poster looks
  // at `sleeping_` after queueing: one of the two always sees the other.
  if (!sleeping_.load()) return;
  uint64_t one = 1;
  ssize_t written = ::write(wakeFd_, &one, sizeof one);
  (void)written;  // a full counter already means "wake up"
}

void RealTimeLoop::BlockFor(uint32_t ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

void RealTimeLoop::WaitForEvents(int64_t deadlineUs) {
  std::vector<pollfd> fds;
  std::vector<int> ids;
  fds.push_back(pollfd{wakeFd_, POLLIN, 0});
  ids.push_back(0);
  for (const auto& [id, watch] : FdWatches()) {
    fds.push_back(pollfd{watch.fd, watch.events, 0});
    ids.push_back(id);
  }
  // ppoll waits to the microsecond: a millisecond poll(2) would wake every timer up to 1 ms late.
  timespec timeout{};
  timespec* timeoutPtr = nullptr;
  if (deadlineUs != kForever) {
    int64_t remainingUs = deadlineUs - ClockUs();
    if (remainingUs <= 0) return;
    if (remainingUs > 60'000'000) remainingUs = 60'000'000;
    timeout.tv_sec = static_cast<time_t>(remainingUs / 1'000'000);
    timeout.tv_nsec = static_cast<long>(remainingUs % 1'000'000) * 1000;
    timeoutPtr = &timeout;
  }
  sleeping_.store(true);
  if (HasPosted() || StopRequested()) {
    sleeping_.store(false);
    return;
  }
  int n = ::ppoll(fds.data(), fds.size(), timeoutPtr, nullptr);
  sleeping_.store(false);
  if (n <= 0) return;
  if (fds[0].revents & POLLIN) {
    uint64_t value;
    ssize_t got = ::read(wakeFd_, &value, sizeof value);
    (void)got;
  }
  for (size_t i = 1; i < fds.size(); ++i) DispatchFdResult(ids[i], fds[i].revents);
}

}  // namespace tavkelo
