#pragma once
// The running program's own file, and the separator of this platform's paths. The INI file and
// the log folder are found relative to the executable's folder, so its path is read from the
// system rather than from the command line.

#include <string>

namespace tavkelo {

#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

// The full path of the running executable, in UTF-8; `fallback` when the system cannot say.
std::string RunningProgramPath(const std::string& fallback);
// The running process's id, as the system's tools show it.
int RunningProcessId();

}  // namespace tavkelo
