// The token file on Windows: it must be a file that exists. Who may read it is the folder's access
// control list, which the station's installer sets; the POSIX mode bits have no counterpart here.
#include <windows.h>

#include "server/RequestGuard.hpp"

namespace tavkelo {

std::string TokenFileExposure(const std::string& path) {
  const int size =
      ::MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, path.data(), static_cast<int>(path.size()), wide.data(), size);
  const DWORD attributes = ::GetFileAttributesW(wide.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
    return "cannot read the token file " + path;
  return "";
}

}  // namespace tavkelo
