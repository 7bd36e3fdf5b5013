#include "platform/SingleInstanceLock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tavkelo {

namespace {

// Opens the lock file for reading, creating it readable by all: a server of another user opens
// the same file and meets the same lock. An existing file is opened without O_CREAT, which a
// sticky folder refuses for another user's file.
int OpenLockFile(const std::string& path) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0 || errno != ENOENT) return fd;
    fd = ::open(path.c_str(), O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
      ::fchmod(fd, 0644);  // whatever the umask
      return fd;
    }
    if (errno != EEXIST) return fd;
  }
  return -1;
}

// True when `fd` is still the file at `path`: a holder that ended may have removed it meanwhile.
bool StillAtPath(int fd, const std::string& path) {
  struct stat opened {
  }, named{};
  return ::fstat(fd, &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace

std::string SingleInstanceLock::MachineFolder(const std::vector<std::string>& candidates) {
  for (const std::string& folder : candidates) {
    struct stat st {};
    if (::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) &&
        ::access(folder.c_str(), W_OK | X_OK) == 0) {
      return folder;
    }
  }
  return candidates.empty() ? std::string("/var/tmp") : candidates.back();
}

std::string SingleInstanceLock::DefaultPath(const std::string& programName) {
  return MachineFolder() + "/" + programName + ".lock";
}

SingleInstanceLock::SingleInstanceLock(std::string path) : path_(std::move(path)) {}

SingleInstanceLock::~SingleInstanceLock() {
  if (fd_ < 0) return;
  // Removed while still locked: a process waiting to take it sees that its file is gone and opens
  // the path again. Another user's file stays (the folder is sticky), which does no harm.
  ::unlink(path_.c_str());
  ::close(fd_);
}

std::string SingleInstanceLock::ErrorText() const {
  return std::strerror(error_);
}

bool SingleInstanceLock::TryAcquire() {
  if (fd_ >= 0) return true;
  error_ = 0;
  for (int attempt = 0; attempt < 3; ++attempt) {
    int fd = OpenLockFile(path_);
    if (fd < 0) {
      error_ = errno;
      return false;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
      const int failure = errno;
      ::close(fd);
      if (failure != EWOULDBLOCK) error_ = failure;
      return false;
    }
    if (StillAtPath(fd, path_)) {
      fd_ = fd;
      return true;
    }
    ::close(fd);  // its holder removed it as it ended: take the file now at the path
  }
  error_ = EAGAIN;
  return false;
}

}  // namespace tavkelo
