#pragma once
// The audit trail of commands: one JSON line for each state-changing request, written from the
// HTTP worker threads to AUDIT_YYYYMMDD.LOG in the diagnostic log's folder, one file a day.

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
  std::string folder_;
  std::mutex mutex_;
  std::string openName_;
  int fd_ = -1;
};

}  // namespace tavkelo
