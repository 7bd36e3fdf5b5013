// TavKeloASM: the automation server for the Kelo chassis dynamometer.

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "ProgramVersion.hpp"
#include "host/HostContext.hpp"
#include "host/modMain.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "server/Registration.hpp"
#include "server/SignalWatcher.hpp"

namespace {

std::string ExecutablePath(const char* argv0) {
  char buffer[PATH_MAX + 1];
  ssize_t n = ::readlink("/proc/self/exe", buffer, PATH_MAX);
  if (n > 0) return std::string(buffer, static_cast<size_t>(n));
  return argv0 != nullptr ? argv0 : "TavKeloASM";
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tavkelo;
  std::string commandLine;
  for (int i = 1; i < argc; ++i) commandLine += (i > 1 ? " " : "") + std::string(argv[i]);
  const std::string exePath = ExecutablePath(argv[0]);

  // Registration switches end the process before anything else happens.
  if (std::string sw = FindRegistrationSwitch(commandLine); !sw.empty()) {
    return PerformRegistration(sw, exePath, "");
  }

  CLI::App app{"TavKeloASM: automation server for the Kelo chassis dynamometer.\n"
               "Clients create clsKeloInterface objects through its remote automation API."};
  HostOptions hostOptions;
  hostOptions.programFilePath = exePath;
  app.add_option("--ini", hostOptions.iniPath,
                 "INI file to use instead of TavKeloASM.INI beside the executable");
  app.set_version_flag("--version", "TavKeloASM " + MakeProgramVersionText(kProgramVersionMajor, kProgramVersionMinor, kProgramVersionRevision));
  app.footer(
      "Registration: /REG installs a systemd user unit that starts this server, /UNREG removes "
      "it.\nOnly one server runs per machine; a second start ends at once.");
  CLI11_PARSE(app, argc, argv);

  RealTimeLoop loop;
  HostContext host(loop, hostOptions);
  modMain entry(host);
  MainOutcome outcome = entry.Main(commandLine, MainHooks{});
  if (outcome == MainOutcome::AlreadyRunning) {
    std::fprintf(stderr, "TavKeloASM: another instance is already running\n");
    return 3;
  }

  SignalWatcher signals(loop, [&loop](int) { loop.Stop(); });
  std::printf("TavKeloASM %s serving (pid %d); stop with Ctrl-C or SIGTERM\n",
              host.ProgramVersionText.c_str(), static_cast<int>(::getpid()));
  std::fflush(stdout);
  loop.Run();
  std::printf("TavKeloASM: stopped\n");
  return 0;
}
