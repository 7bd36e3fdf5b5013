// The running executable's path on Windows: the module file name, read as wide characters (the
// folder may hold any character) and handed on in UTF-8.
#include <windows.h>

#include <string>

#include "host/ProgramFile.hpp"
#include "platform/Win32Text.hpp"

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
  std::string text = Utf8FromWide(path);
  return text.empty() ? fallback : text;
}

int RunningProcessId() {
  return static_cast<int>(::GetCurrentProcessId());
}

}  // namespace tavkelo
