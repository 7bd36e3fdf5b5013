// SingleInstanceLock on Windows: a named mutex in the global namespace, so that servers started
// in different sessions or by different users meet the same one. The system releases it with the
// process however the process ends.
#include <windows.h>

#include <string>

#include "platform/SingleInstanceLock.hpp"
#include "platform/Win32Text.hpp"

namespace tavkelo {

namespace {
// A kernel object's name may hold no backslash but the one after its namespace: a lock named by a
// file path (as tests do) becomes a name of its own with "/" in place of "\".
std::string MutexName(const std::string& path) {
  std::string name = path;
  size_t start = 0;
  for (const char* space : {"Global\\", "Local\\"}) {
    if (name.rfind(space, 0) == 0) start = std::string(space).size();
  }
  for (size_t i = start; i < name.size(); ++i) {
    if (name[i] == '\\') name[i] = '/';
  }
  return name;
}
}  // namespace

std::string SingleInstanceLock::MachineFolder(const std::vector<std::string>&) {
  // Kernel object names have no folder; the namespace takes its place.
  return "Global";
}

std::string SingleInstanceLock::DefaultPath(const std::string& programName) {
  return MachineFolder() + "\\" + programName + ".lock";
}

SingleInstanceLock::SingleInstanceLock(std::string path) : path_(std::move(path)) {}

SingleInstanceLock::~SingleInstanceLock() {
  if (handle_ == nullptr) return;
  ::ReleaseMutex(static_cast<HANDLE>(handle_));
  ::CloseHandle(static_cast<HANDLE>(handle_));
}

std::string SingleInstanceLock::ErrorText() const {
  wchar_t* text = nullptr;
  const DWORD length = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(error_), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string words;
  if (length > 0 && text != nullptr) words = Utf8FromWide(std::wstring(text, length));
  if (text != nullptr) ::LocalFree(text);
  // The system's texts end with a full stop and a line break.
  while (!words.empty() && (words.back() == '\n' || words.back() == '\r' || words.back() == '.'))
    words.pop_back();
  const std::string code = "system error " + std::to_string(static_cast<unsigned long>(error_));
  return words.empty() ? code : words + " (" + code + ")";
}

bool SingleInstanceLock::TryAcquire() {
  if (handle_ != nullptr) return true;
  error_ = 0;
  HANDLE mutex = ::CreateMutexW(nullptr, TRUE, WideFromUtf8(MutexName(path_)).c_str());
  if (mutex == nullptr) {
    error_ = static_cast<int>(::GetLastError());
    return false;
  }
  if (::GetLastError() == ERROR_ALREADY_EXISTS) {
    // Another process made it and holds it (or is about to): this one is not the instance.
    ::CloseHandle(mutex);
    return false;
  }
  handle_ = mutex;
  return true;
}

}  // namespace tavkelo
