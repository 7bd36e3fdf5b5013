#include "ChildProcess.hpp"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "support/TempDir.hpp"

extern char** environ;

namespace tavkelo::e2e {

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> p;
  for (std::string& t : texts) p.push_back(t.data());
  p.push_back(nullptr);
  return p;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> argv, const Environment& env) {
  std::vector<std::string> envTexts;
  for (char** e = environ; *e != nullptr; ++e) {
    std::string entry = *e;
    if (env.count(entry.substr(0, entry.find('='))) == 0) envTexts.push_back(entry);
  }
  for (const auto& [name, value] : env) envTexts.push_back(name + "=" + value);
  char errPath[] = "/tmp/tavkelo-e2e-stderr-XXXXXX";
  int errFd = ::mkostemp(errPath, O_CLOEXEC);
  int outPipe[2];
  if (errFd < 0 || ::pipe2(outPipe, O_CLOEXEC) != 0)
    throw std::runtime_error("mkostemp or pipe2 failed");
  errPath_ = errPath;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errFd, 2);
  // Nothing else of this test process reaches the child: a socket that another thread of the test
  // opens meanwhile would otherwise stay open in the child after the test closes it.
  posix_spawn_file_actions_addclosefrom_np(&actions, 3);
  // The child starts with no blocked signals and the default handling of those we send it.
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  for (int s : {SIGINT, SIGTERM, SIGPIPE, SIGHUP}) sigaddset(&defaults, s);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::vector<char*> argvp = Pointers(argv);
  std::vector<char*> envp = Pointers(envTexts);
  int rc = ::posix_spawn(&pid_, argv.at(0).c_str(), &actions, &attr, argvp.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  ::close(outPipe[1]);
  ::close(errFd);
  if (rc != 0) {
    ::close(outPipe[0]);
    ::unlink(errPath);
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(rc));
  }
  reader_ = std::thread([this, fd = outPipe[0]] { ReadOutput(fd); });
}

ChildProcess::~ChildProcess() {
  if (!status_) {
    ::kill(pid_, SIGKILL);
    Reap(0);
  }
  reader_.join();
  ::unlink(errPath_.c_str());
}

void ChildProcess::ReadOutput(int fd) {
  char buf[4096];
  for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) != 0;) {
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) break;
    std::lock_guard<std::mutex> lock(mutex_);
    out_.append(buf, static_cast<size_t>(n));
    changed_.notify_all();
  }
  ::close(fd);
  std::lock_guard<std::mutex> lock(mutex_);
  outputEnded_ = true;
  changed_.notify_all();
}

std::string ChildProcess::Stdout() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return out_;
}

std::string ChildProcess::Stderr() const {
  return test::ReadFile(errPath_);
}

std::optional<std::string> ChildProcess::WaitForLine(const std::string& text, Millis timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::optional<std::string> found;
  changed_.wait_for(lock, timeout, [&] {
    for (size_t start = 0, end; (end = out_.find('\n', start)) != std::string::npos;
         start = end + 1) {
      if (out_.substr(start, end - start).find(text) != std::string::npos) {
        found = out_.substr(start, end - start);
        return true;
      }
    }
    return outputEnded_;
  });
  return found;
}

void ChildProcess::Signal(int signal) {
  if (!status_) ::kill(pid_, signal);
}

bool ChildProcess::Reap(int options) {
  int raw = 0;
  pid_t r;
  do {
    r = ::waitpid(pid_, &raw, options);
  } while (r < 0 && errno == EINTR);
  if (r != pid_) return false;
  status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  return true;
}

std::optional<int> ChildProcess::Wait(Millis timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!status_ && !Reap(WNOHANG)) {
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(Millis(5));
  }
  // The output ends with the child (unless a grandchild holds the pipes; then stop waiting).
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, Millis(2000), [&] { return outputEnded_; });
  return status_;
}

RunResult RunToEnd(std::vector<std::string> argv, const Environment& env, Millis timeout) {
  ChildProcess child(std::move(argv), env);
  RunResult result;
  result.status = child.Wait(timeout);
  if (!result.status) {
    child.Signal(SIGKILL);
    child.Wait(Millis(5000));
  }
  result.out = child.Stdout();
  result.err = child.Stderr();
  return result;
}

}  // namespace tavkelo::e2e
