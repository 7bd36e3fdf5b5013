// libFuzzer target: arbitrary INI file contents, read through the same typed calls the server
// makes. A classic conversion error (overflow, type mismatch) is raised to the caller by design;
// any other failure is a finding.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "host/clsIniProfile.hpp"
#include "platform/VbError.hpp"

namespace {

const std::string& FilePath() {
  static const std::string path = [] {
    // In memory where there is such a place: the reads write missing keys back to the file.
    char dir[] = "/dev/shm/ini_fuzzer.XXXXXX";
    char fallback[] = "/tmp/ini_fuzzer.XXXXXX";
    const char* made = mkdtemp(dir);
    if (made == nullptr) made = mkdtemp(fallback);
    if (made == nullptr) std::abort();
    return std::string(made) + "/TavKeloASM.INI";
  }();
  return path;
}

// Every typed read, each on its own so one raised conversion error does not hide the others.
template <typename Read>
void Try(Read read) {
  try {
    read();
  } catch (const tavkelo::VbRuntimeError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    std::ofstream out(FilePath(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  tavkelo::ProfileEnvironment env;
  env.appPath = "/tmp";
  env.defaultFileName = FilePath();
  tavkelo::clsIniProfile ini(env);
  for (const char* section : {"LogControl", "CoastdownResults", ""}) {
    for (const char* key : {"RawSetting", "HiWinDate", ""}) {
      Try([&] { ini.GetText(section, key, "default"); });
      Try([&] { ini.GetBoolean(section, key, true); });
      Try([&] { ini.GetInteger(section, key, 7); });
      Try([&] { ini.GetLong(section, key, 70000); });
      Try([&] { ini.GetReal(section, key, 2.5); });
      Try([&] { ini.GetDate(section, key, 45000.5); });
      for (const tavkelo::ProfileVariant& d :
           {tavkelo::ProfileVariant{}, tavkelo::ProfileVariant{std::string("12")},
            tavkelo::ProfileVariant{tavkelo::ProfileDate{45000.0}}}) {
        Try([&] {
          tavkelo::ProfileVariant dest = d;
          ini.GetValue(section, key, dest, d);
        });
      }
    }
  }
  return 0;
}
