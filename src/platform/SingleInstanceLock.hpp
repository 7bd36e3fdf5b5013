#pragma once
// One server process per machine: on Linux an exclusive lock on a file in one machine-wide folder,
// the same whatever the user and the environment; on Windows a named mutex in the global
// namespace, "Global\\<name>" (Win32SingleInstanceLock.cpp). The lock belongs to the open file, so
// it ends with the process however the process ends.

#include <string>
#include <vector>

namespace tavkelo {

class SingleInstanceLock {
 public:
  // The folder for the lock files: the first of `candidates` that is a folder this process may
  // create files in, else the last one (where taking the lock then fails and says why).
  static std::string MachineFolder(const std::vector<std::string>& candidates = {"/run/lock",
                                                                                 "/var/tmp"});
  // The lock file for a program name: MachineFolder()/<name>.lock.
  static std::string DefaultPath(const std::string& programName);
  explicit SingleInstanceLock(std::string path);
  // Gives the lock back and removes the file, which nobody else can be holding.
  ~SingleInstanceLock();
  SingleInstanceLock(const SingleInstanceLock&) = delete;
  SingleInstanceLock& operator=(const SingleInstanceLock&) = delete;

  // True when this process now holds the lock. False when another process holds it (Error() is
  // then 0) or when the lock file cannot be opened or locked (Error() is the errno; on Windows,
  // the system error code of the mutex).
  bool TryAcquire();
#ifdef _WIN32
  bool Held() const {
    return handle_ != nullptr;
  }
#else
  bool Held() const {
    return fd_ >= 0;
  }
#endif
  int Error() const {
    return error_;
  }
  // Error() in words, as the system words it.
  std::string ErrorText() const;
  const std::string& Path() const {
    return path_;
  }

 private:
  std::string path_;
#ifdef _WIN32
  void* handle_ = nullptr;  // the named mutex
#else
  int fd_ = -1;  // the locked file
#endif
  int error_ = 0;
};

}  // namespace tavkelo
