#include "server/AuditLog.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

#include "host/ProgramFile.hpp"

namespace tavkelo {

namespace {

std::string Formatted(std::time_t t, const char* format, bool utc) {
  std::tm parts{};
  if (utc) {
    ::gmtime_r(&t, &parts);
  } else {
    ::localtime_r(&t, &parts);
  }
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, format, &parts));
}

}  // namespace

AuditLog::~AuditLog() {
  if (fd_ >= 0) ::close(fd_);
}

std::string AuditLog::FileName() const {
  // The day of the diagnostic log: local time.
  return folder_ + kPathSeparator + "AUDIT_" + Formatted(std::time(nullptr), "%Y%m%d", false) +
         ".LOG";
}

void AuditLog::Write(nlohmann::json entry) {
  const auto now = std::chrono::system_clock::now();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  char millis[8];
  std::snprintf(millis, sizeof millis, ".%03dZ", static_cast<int>(ms.count() % 1000));
  entry["time"] = Formatted(seconds, "%Y-%m-%dT%H:%M:%S", true) + millis;
  const std::string line =
      entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  const std::string name = FileName();
  std::lock_guard<std::mutex> lock(mutex_);
  if (name != openName_ || fd_ < 0) {
    if (fd_ >= 0) ::close(fd_);
    // Not for other users: it names the station's clients and what they did.
    fd_ = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    openName_ = name;
  }
  // One write per line: lines from concurrent requests never interleave.
  if (fd_ >= 0 && ::write(fd_, line.data(), line.size()) < 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

}  // namespace tavkelo
