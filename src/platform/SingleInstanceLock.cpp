#include "platform/SingleInstanceLock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>

namespace tavkelo {

std::string SingleInstanceLock::DefaultPath(const std::string& programName) {
  const char* dir = std::getenv("XDG_RUNTIME_DIR");
  std::string folder = (dir != nullptr && *dir != '\0') ? dir : "/tmp";
  return folder + "/" + programName + ".lock";
}

SingleInstanceLock::SingleInstanceLock(std::string path) : path_(std::move(path)) {}

SingleInstanceLock::~SingleInstanceLock() {
  if (fd_ >= 0) ::close(fd_);  // closing the file gives the lock back; the file stays
}

bool SingleInstanceLock::TryAcquire() {
  if (fd_ >= 0) return true;
  int fd = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    ::close(fd);
    return false;
  }
  fd_ = fd;
  return true;
}

}  // namespace tavkelo
