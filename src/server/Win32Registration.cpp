// Registration on Windows: "/REG" registers the COM class clsKeloInterface, its ProgID
// "TavKeloASM.clsKeloInterface", the type library embedded in this executable and the executable
// as its local server (with the other arguments given, which COM then starts it with); "/UNREG"
// removes all of it. Machine-wide (HKLM\Software\Classes): run it as an administrator.
#include <cstdio>
#include <string>

#include "com/ComRegistration.hpp"
#include "platform/Win32Text.hpp"
#include "server/Registration.hpp"

namespace tavkelo {

std::string RegistrationUnitPath() {
  return "HKEY_LOCAL_MACHINE\\Software\\Classes\\TavKeloASM.clsKeloInterface";
}

int PerformRegistration(const std::string& registrationSwitch, const std::string& exePath,
                        const std::string& extraArguments) {
  const std::wstring exe = WideFromUtf8(exePath);
  ComClassIdentity identity;
  std::string problem = ReadComIdentity(exe, identity, nullptr);
  const bool unregister = registrationSwitch.find("UNREG") != std::string::npos;
  if (problem.empty()) {
    problem = unregister ? UnregisterComServer(identity, exe)
                         : RegisterComServer(identity, exe, WideFromUtf8(extraArguments));
  }
  if (!problem.empty()) {
    std::fprintf(stderr, "TavKeloASM: %s failed: %s\n", unregister ? "/UNREG" : "/REG",
                 problem.c_str());
    return 1;
  }
  std::printf("TavKeloASM: %s TavKeloASM.clsKeloInterface (%s)\n",
              unregister ? "unregistered" : "registered", exePath.c_str());
  return 0;
}

}  // namespace tavkelo
