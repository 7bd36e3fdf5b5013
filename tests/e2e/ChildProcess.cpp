#include "ChildProcess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

extern char** environ;

namespace tavkelo::e2e {

namespace {

std::vector<std::string> MergedEnvironment(const Environment& changes) {
  std::map<std::string, std::string> all;
  for (char** e = environ; *e != nullptr; ++e) {
    std::string entry = *e;
    size_t eq = entry.find('=');
    if (eq != std::string::npos) all[entry.substr(0, eq)] = entry.substr(eq + 1);
  }
  for (const auto& [name, value] : changes) all[name] = value;
  std::vector<std::string> out;
  for (const auto& [name, value] : all) out.push_back(name + "=" + value);
  return out;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> p;
  for (std::string& t : texts) p.push_back(t.data());
  p.push_back(nullptr);
  return p;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> argv, const Environment& env, const std::string& workDir) {
  int outPipe[2], errPipe[2];
  if (::pipe2(outPipe, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  if (::pipe2(errPipe, O_CLOEXEC) != 0) {
    ::close(outPipe[0]);
    ::close(outPipe[1]);
    throw std::runtime_error("pipe2 failed");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);
  if (!workDir.empty()) posix_spawn_file_actions_addchdir_np(&actions, workDir.c_str());
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

  std::vector<std::string> envTexts = MergedEnvironment(env);
  std::vector<char*> argvp = Pointers(argv);
  std::vector<char*> envp = Pointers(envTexts);
  int rc = ::posix_spawn(&pid_, argv.at(0).c_str(), &actions, &attr, argvp.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  ::close(outPipe[1]);
  ::close(errPipe[1]);
  if (rc != 0) {
    ::close(outPipe[0]);
    ::close(errPipe[0]);
    pid_ = -1;
    throw std::runtime_error("cannot start " + argv[0] + ": " + std::strerror(rc));
  }
  reader_ = std::thread([this, out = outPipe[0], err = errPipe[0]] { ReadOutput(out, err); });
}

ChildProcess::~ChildProcess() {
  if (!status_ && pid_ > 0) {
    ::kill(pid_, SIGKILL);
    Reap(0);
  }
  if (reader_.joinable()) reader_.join();
}

void ChildProcess::ReadOutput(int outFd, int errFd) {
  pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
  int open = 2;
  while (open > 0) {
    if (::poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buf[4096];
      ssize_t n = ::read(fds[i].fd, buf, sizeof buf);
      if (n < 0 && errno == EINTR) continue;
      std::lock_guard<std::mutex> lock(mutex_);
      if (n > 0) {
        (i == 0 ? out_ : err_).append(buf, static_cast<size_t>(n));
      } else {
        ::close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
      changed_.notify_all();
    }
  }
  for (const pollfd& p : fds) {
    if (p.fd >= 0) ::close(p.fd);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  outputEnded_ = true;
  changed_.notify_all();
}

std::string ChildProcess::Stdout() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return out_;
}

std::string ChildProcess::Stderr() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return err_;
}

std::optional<std::string> ChildProcess::WaitForLine(const std::string& text, Millis timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  std::optional<std::string> found;
  changed_.wait_for(lock, timeout, [&] {
    for (size_t start = 0, end; (end = out_.find('\n', start)) != std::string::npos; start = end + 1) {
      std::string line = out_.substr(start, end - start);
      if (line.find(text) != std::string::npos) {
        found = line;
        return true;
      }
    }
    return outputEnded_;
  });
  return found;
}

void ChildProcess::Signal(int signal) {
  if (!status_ && pid_ > 0) ::kill(pid_, signal);
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
  while (!status_) {
    if (Reap(WNOHANG)) break;
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(Millis(5));
  }
  if (reader_.joinable()) {
    // The output ends with the child (unless a grandchild holds the pipes; then stop waiting).
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, Millis(2000), [&] { return outputEnded_; });
  }
  return status_;
}

bool ChildProcess::Running() { return !status_ && !Reap(WNOHANG); }

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
