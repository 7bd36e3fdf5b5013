#pragma once
// One server process per machine: an exclusive lock on a file under $XDG_RUNTIME_DIR (or /tmp).
// The lock belongs to the open file, so it ends with the process however the process ends.

#include <string>

namespace tavkelo {

class SingleInstanceLock {
 public:
  // The lock file for a program name: $XDG_RUNTIME_DIR/<name>.lock, or /tmp/<name>.lock.
  static std::string DefaultPath(const std::string& programName);
  explicit SingleInstanceLock(std::string path);
  ~SingleInstanceLock();
  SingleInstanceLock(const SingleInstanceLock&) = delete;
  SingleInstanceLock& operator=(const SingleInstanceLock&) = delete;

  // True when this process now holds the lock; false when another process does.
  bool TryAcquire();
  bool Held() const { return fd_ >= 0; }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
  int fd_ = -1;
};

}  // namespace tavkelo
