// The audit trail's file on Windows: opened for appending with the wide-character API (the folder
// may hold any character); the file takes the folder's permissions.
#include <windows.h>

#include "platform/Win32Text.hpp"
#include "server/AuditLog.hpp"

namespace tavkelo {

std::tm AuditLog::TimeParts(std::time_t t, bool utc) {
  std::tm parts{};
  if (utc) {
    ::gmtime_s(&parts, &t);
  } else {
    ::localtime_s(&parts, &t);
  }
  return parts;
}

void AuditLog::OpenDay(const std::string& name) {
  // Appending only: every write goes to the end of the file, whoever else writes it.
  HANDLE file = ::CreateFileW(WideFromUtf8(name).c_str(), FILE_APPEND_DATA,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
  file_ = file == INVALID_HANDLE_VALUE ? nullptr : file;
}

bool AuditLog::DayOpen() const {
  return file_ != nullptr;
}

bool AuditLog::Append(const std::string& line) {
  DWORD written = 0;
  return ::WriteFile(file_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void AuditLog::CloseDay() {
  if (file_ != nullptr) ::CloseHandle(file_);
  file_ = nullptr;
}

}  // namespace tavkelo
