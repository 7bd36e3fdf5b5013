// The audit trail's file on POSIX: appended to, and not for other users (mode 0640).
#include <fcntl.h>
#include <unistd.h>

#include "server/AuditLog.hpp"

namespace tavkelo {

std::tm AuditLog::TimeParts(std::time_t t, bool utc) {
  std::tm parts{};
  if (utc) {
    ::gmtime_r(&t, &parts);
  } else {
    ::localtime_r(&t, &parts);
  }
  return parts;
}

void AuditLog::OpenDay(const std::string& name) {
  // Not for other users: it names the station's clients and what they did.
  fd_ = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
}

bool AuditLog::DayOpen() const {
  return fd_ >= 0;
}

bool AuditLog::Append(const std::string& line) {
  return ::write(fd_, line.data(), line.size()) >= 0;
}

void AuditLog::CloseDay() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

}  // namespace tavkelo
