#include "host/ProgramFile.hpp"

#include <unistd.h>

#include <climits>

namespace tavkelo {

std::string RunningProgramPath(const std::string& fallback) {
  char buffer[PATH_MAX + 1];
  const ssize_t n = ::readlink("/proc/self/exe", buffer, PATH_MAX);
  if (n > 0) return std::string(buffer, static_cast<size_t>(n));
  return fallback;
}

int RunningProcessId() {
  return static_cast<int>(::getpid());
}

}  // namespace tavkelo
