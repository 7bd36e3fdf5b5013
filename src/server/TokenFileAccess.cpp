#include <sys/stat.h>

#include <cstdio>

#include "server/RequestGuard.hpp"

namespace tavkelo {

std::string TokenFileExposure(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return "cannot read the token file " + path;
  if ((st.st_mode & 077) != 0) {
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
    return "the token file " + path + " is open to other users (mode " + mode +
           "); make it readable by its owner only: chmod 600 " + path;
  }
  return "";
}

}  // namespace tavkelo
