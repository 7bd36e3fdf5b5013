#include "sim/SimProcessIo.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <string>

#include "runtime/EventLoop.hpp"
#include "sim/OperatorConsole.hpp"

namespace tavkelo {

namespace {

// Turns SIGINT and SIGTERM into a stop of the loop between handlers.
class StopOnSignals {
 public:
  explicit StopOnSignals(EventLoop& loop) : loop_(loop) {
    // A background job may have inherited SIGINT as ignored; an ignored signal never reaches the
    // signalfd, so both get their default disposition back (blocked, they still kill nothing).
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    fd_ = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd_ >= 0) watch_ = loop_.WatchFd(fd_, POLLIN, [this](short) { OnSignal(); });
  }
  ~StopOnSignals() {
    if (watch_ != 0) loop_.UnwatchFd(watch_);
    if (fd_ >= 0) ::close(fd_);
  }

 private:
  void OnSignal() {
    signalfd_siginfo info{};
    while (::read(fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    }
    loop_.Stop();
  }
  EventLoop& loop_;
  int fd_ = -1;
  int watch_ = 0;
};

// Operator lines from standard input. At the end of input the tool quits when the input was a
// terminal or a pipe (the operator or the program driving us is gone); after a file or /dev/null
// it keeps serving. A background job that may not read its terminal stops reading it instead.
class StdinCommands {
 public:
  StdinCommands(EventLoop& loop, OperatorConsole& console) : loop_(loop), console_(console) {
    struct stat st {};
    quitAtEnd_ =
        ::isatty(0) || (::fstat(0, &st) == 0 && (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)));
    watch_ = loop_.WatchFd(0, POLLIN, [this](short revents) { OnReadable(revents); });
  }
  ~StdinCommands() { Stop(); }

 private:
  void Stop() {
    if (watch_ != 0) loop_.UnwatchFd(watch_);
    watch_ = 0;
  }
  void OnReadable(short) {
    char buf[1024];
    ssize_t n = ::read(0, buf, sizeof buf);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
      Stop();
      if (n == 0 && quitAtEnd_) loop_.Stop();
      return;
    }
    pending_.append(buf, static_cast<size_t>(n));
    for (size_t eol; (eol = pending_.find('\n')) != std::string::npos;) {
      std::string line = pending_.substr(0, eol);
      pending_.erase(0, eol + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      OperatorConsole::Result result = console_.Execute(line);
      if (!result.text.empty())
        std::cout << result.text << (result.text.back() == '\n' ? "" : "\n");
      std::cout.flush();
      if (result.quit) {
        loop_.Stop();
        Stop();
        return;
      }
    }
  }

  EventLoop& loop_;
  OperatorConsole& console_;
  int watch_ = 0;
  bool quitAtEnd_ = true;
  std::string pending_;
};

}  // namespace

struct SimProcessIo::State {
  explicit State(EventLoop& loopRef) : loop(loopRef), signals(loopRef) {}
  EventLoop& loop;
  StopOnSignals signals;
  std::unique_ptr<StdinCommands> commands;
};

SimProcessIo::SimProcessIo(EventLoop& loop) : state_(std::make_unique<State>(loop)) {
  ::signal(SIGPIPE, SIG_IGN);
  // A background job's read of the terminal fails instead of stopping it.
  ::signal(SIGTTIN, SIG_IGN);
}

SimProcessIo::~SimProcessIo() = default;

void SimProcessIo::ReadCommands(OperatorConsole& console) {
  state_->commands = std::make_unique<StdinCommands>(state_->loop, console);
}

bool SimProcessIo::InputIsTerminal() {
  return ::isatty(0);
}

}  // namespace tavkelo
