// AuditLog on Windows: the day's file opened for appending with the wide-character API (the
// folder may hold any character); the file takes the folder's permissions.
#include <windows.h>

#include <chrono>
#include <ctime>

#include "host/ProgramFile.hpp"
#include "server/AuditLog.hpp"

namespace tavkelo {

namespace {

std::string Formatted(std::time_t t, const char* format, bool utc) {
  std::tm parts{};
  if (utc) {
    ::gmtime_s(&parts, &t);
  } else {
    ::localtime_s(&parts, &t);
  }
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, format, &parts));
}

std::wstring Wide(const std::string& text) {
  const int size =
      ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

}  // namespace

AuditLog::~AuditLog() {
  if (file_ != nullptr) ::CloseHandle(file_);
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
  if (name != openName_ || file_ == nullptr) {
    if (file_ != nullptr) ::CloseHandle(file_);
    // Appending only: every write goes to the end of the file, whoever else writes it.
    HANDLE file =
        ::CreateFileW(Wide(name).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                      nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    file_ = file == INVALID_HANDLE_VALUE ? nullptr : file;
    openName_ = name;
  }
  // One write per line: lines from concurrent requests never interleave.
  DWORD written = 0;
  if (file_ != nullptr &&
      !::WriteFile(file_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) {
    ::CloseHandle(file_);
    file_ = nullptr;
  }
}

}  // namespace tavkelo
