#include "server/SignalWatcher.hpp"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

SignalWatcher::SignalWatcher(EventLoop& loop, std::function<void(int)> onSignal) : loop_(loop) {
  sigset_t mask;
  sigemptyset(&mask);
  sigaddset(&mask, SIGINT);
  sigaddset(&mask, SIGTERM);
  // Blocked in this thread and in every thread started after it.
  pthread_sigmask(SIG_BLOCK, &mask, nullptr);
  fd_ = ::signalfd(-1, &mask, SFD_NONBLOCK | SFD_CLOEXEC);
  if (fd_ < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  watch_ = loop_.WatchFd(fd_, POLLIN, [this, onSignal](short) {
    signalfd_siginfo info{};
    while (::read(fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      onSignal(static_cast<int>(info.ssi_signo));
    }
  });
}

SignalWatcher::~SignalWatcher() {
  loop_.UnwatchFd(watch_);
  ::close(fd_);
}

}  // namespace tavkelo
