// The token file on Windows: it must be a file that exists. Who may read it is the folder's access
// control list, which the station's installer sets; the POSIX mode bits have no counterpart here.
#include <windows.h>

#include "platform/Win32Text.hpp"
#include "server/RequestGuard.hpp"

namespace tavkelo {

std::string TokenFileExposure(const std::string& path) {
  const DWORD attributes = ::GetFileAttributesW(WideFromUtf8(path).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
    return "cannot read the token file " + path;
  return "";
}

}  // namespace tavkelo
