#pragma once
// Registration on this platform: "/REG" installs a systemd user unit that starts the server
// (on Windows, a per-user Run entry that starts it at logon: Win32Registration.cpp), "/UNREG"
// removes it. Either way the process then ends.

#include <string>

namespace tavkelo {

// The unit file's path: $XDG_CONFIG_HOME/systemd/user/TavKeloASM.service (or ~/.config/...); on
// Windows the registry value's.
std::string RegistrationUnitPath();
// Performs "/REG" (install) or "/UNREG" (remove) for the executable at exePath. Returns a
// process exit code and prints what it did.
int PerformRegistration(const std::string& registrationSwitch, const std::string& exePath,
                        const std::string& extraArguments);

}  // namespace tavkelo
