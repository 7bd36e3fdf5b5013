// The running executable's path on Windows: the module file name, read as wide characters (the
// folder may hold any character) and handed on in UTF-8.
#include <windows.h>

#include <string>

#include "host/ProgramFile.hpp"

namespace tavkelo {

std::string RunningProgramPath(const std::string& fallback) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0) return fallback;
    if (n < path.size()) {
      path.resize(n);
      break;
    }
    path.resize(path.size() * 2);  // cut short: a longer path than MAX_PATH
  }
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, path.data(), static_cast<int>(path.size()),
                                         nullptr, 0, nullptr, nullptr);
  if (size <= 0) return fallback;
  std::string text(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), text.data(), size,
                        nullptr, nullptr);
  return text;
}

int RunningProcessId() {
  return static_cast<int>(::GetCurrentProcessId());
}

}  // namespace tavkelo
