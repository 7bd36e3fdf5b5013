#pragma once
// What clsIniProfile needs to know about the running program: the application folder that
// relative names resolve against, the default file name, and where a message box goes.

#include <string>

namespace tavkelo {

class Notices;

struct ProfileEnvironment {
  // The running executable's folder (the classic App.Path), without a trailing separator.
  std::string appPath;
  // The file that a new clsIniProfile uses: "TavKeloASM.INI", or the path given with --ini.
  std::string defaultFileName = "TavKeloASM.INI";
  // Where message boxes go; may be null (then they are dropped).
  Notices* notices = nullptr;
  // Makes the resolver's runtime probe fail, to exercise its message and empty result.
  bool failRuntimeProbe = false;
};

}  // namespace tavkelo
