// SingleInstanceLock on Windows: a named mutex in the global namespace, so that servers started
// in different sessions or by different users meet the same one. The system releases it with the
// process however the process ends.
#include <windows.h>

#include <string>

#include "platform/SingleInstanceLock.hpp"

namespace tavkelo {

namespace {
std::wstring Wide(const std::string& text) {
  if (text.empty()) return {};
  int size =
      ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

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

bool SingleInstanceLock::TryAcquire() {
  if (handle_ != nullptr) return true;
  error_ = 0;
  HANDLE mutex = ::CreateMutexW(nullptr, TRUE, Wide(MutexName(path_)).c_str());
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
