#include "server/AuditLog.hpp"

#include <chrono>
#include <cstdio>

#include "host/ProgramFile.hpp"

namespace tavkelo {

namespace {

std::string Formatted(const std::tm& parts, const char* format) {
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, format, &parts));
}

}  // namespace

AuditLog::~AuditLog() {
  CloseDay();
}

std::string AuditLog::FileName() const {
  // The day of the diagnostic log: local time.
  return folder_ + kPathSeparator + "AUDIT_" +
         Formatted(TimeParts(std::time(nullptr), false), "%Y%m%d") + ".LOG";
}

void AuditLog::Write(nlohmann::json entry) {
  const auto now = std::chrono::system_clock::now();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  char millis[8];
  std::snprintf(millis, sizeof millis, ".%03dZ", static_cast<int>(ms.count() % 1000));
  entry["time"] = Formatted(TimeParts(seconds, true), "%Y-%m-%dT%H:%M:%S") + millis;
  const std::string line =
      entry.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
  const std::string name = FileName();
  std::lock_guard<std::mutex> lock(mutex_);
  if (name != openName_ || !DayOpen()) {
    CloseDay();
    OpenDay(name);
    openName_ = name;
  }
  // One write per line: lines from concurrent requests never interleave.
  if (DayOpen() && !Append(line)) CloseDay();
}

}  // namespace tavkelo
