#include "server/Registration.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace tavkelo {

std::string RegistrationUnitPath() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  std::string base;
  if (config != nullptr && *config != '\0') {
    base = config;
  } else {
    const char* home = std::getenv("HOME");
    base = std::string(home != nullptr ? home : "/tmp") + "/.config";
  }
  return base + "/systemd/user/TavKeloASM.service";
}

int PerformRegistration(const std::string& registrationSwitch, const std::string& exePath,
                        const std::string& extraArguments) {
  const std::string unit = RegistrationUnitPath();
  std::error_code ec;
  if (registrationSwitch.find("UNREG") != std::string::npos) {
    bool removed = std::filesystem::remove(unit, ec);
    std::printf("TavKeloASM: %s %s\n", removed ? "removed" : "no unit at", unit.c_str());
    return ec ? 1 : 0;
  }
  std::filesystem::create_directories(std::filesystem::path(unit).parent_path(), ec);
  std::ofstream out(unit, std::ios::trunc);
  if (!out) {
    std::fprintf(stderr, "TavKeloASM: cannot write %s\n", unit.c_str());
    return 1;
  }
  out << "[Unit]\n"
      << "Description=TavKelo automation server for the Kelo chassis dynamometer\n\n"
      << "[Service]\n"
      << "ExecStart=" << exePath << (extraArguments.empty() ? "" : " ") << extraArguments << "\n"
      << "Restart=on-failure\n\n"
      << "[Install]\n"
      << "WantedBy=default.target\n";
  std::printf(
      "TavKeloASM: installed %s (enable it with: systemctl --user enable --now TavKeloASM)\n",
      unit.c_str());
  return out ? 0 : 1;
}

}  // namespace tavkelo
