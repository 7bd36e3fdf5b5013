#pragma once
// The audit trail of commands: one JSON line for each state-changing request, written from the
// HTTP worker threads to AUDIT_YYYYMMDD.LOG in the diagnostic log's folder, one file a day. The
// file is not for other users: it names the station's clients and what they did.

#include <ctime>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

namespace tavkelo {

class AuditLog {
 public:
  explicit AuditLog(std::string folder) : folder_(std::move(folder)) {}
  ~AuditLog();
  AuditLog(const AuditLog&) = delete;
  AuditLog& operator=(const AuditLog&) = delete;

  // Adds "time" (UTC, milliseconds) to the entry and appends it as one line. Thread-safe.
  void Write(nlohmann::json entry);
  // Today's file.
  std::string FileName() const;

 private:
  // The platform's part (AuditLogFile.cpp, Win32AuditLogFile.cpp): calendar parts of a time, and
  // the day's file opened for appending, written a line at a time, closed. Under mutex_.
  static std::tm TimeParts(std::time_t t, bool utc);
  void OpenDay(const std::string& name);
  bool DayOpen() const;
  bool Append(const std::string& line);
  void CloseDay();

  std::string folder_;
  std::mutex mutex_;
  std::string openName_;
#ifdef _WIN32
  void* file_ = nullptr;  // the day's file (Win32AuditLog.cpp)
#else
  int fd_ = -1;
#endif
};

}  // namespace tavkelo
