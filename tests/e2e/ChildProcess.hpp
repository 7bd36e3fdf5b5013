#pragma once
// A program of this build run as a real child process: its standard output read as it comes, its
// standard error kept in a file, waits bounded in real time, and the child always ended and
// reaped, whatever the test does.

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tavkelo::e2e {

using Millis = std::chrono::milliseconds;

// Variables set for a child on top of the test process's own environment.
using Environment = std::map<std::string, std::string>;

class ChildProcess {
 public:
  // Starts argv[0] with the arguments; stdin is /dev/null. Throws when the program cannot start.
  ChildProcess(std::vector<std::string> argv, const Environment& env);
  // Kills (SIGKILL) a child still running and reaps it.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Pid() const { return pid_; }
  std::string Stdout() const;
  std::string Stderr() const;
  // The first line of standard output that contains `text`, once it has arrived; nullopt when the
  // time runs out or the output ends first.
  std::optional<std::string> WaitForLine(const std::string& text, Millis timeout);
  // Sends a signal (no effect once the child has been reaped).
  void Signal(int signal);
  // The exit status once the child ends: its exit code, or 128 + the signal that killed it;
  // nullopt when it is still running after `timeout`.
  std::optional<int> Wait(Millis timeout);

 private:
  void ReadOutput(int fd);
  bool Reap(int options);

  pid_t pid_ = -1;
  std::string errPath_;
  std::optional<int> status_;
  std::thread reader_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string out_;
  bool outputEnded_ = false;
};

struct RunResult {
  std::optional<int> status;  // nullopt: killed after the time ran out
  std::string out;
  std::string err;
};

// Runs a program to its end (killing it after `timeout`).
RunResult RunToEnd(std::vector<std::string> argv, const Environment& env, Millis timeout);

}  // namespace tavkelo::e2e
