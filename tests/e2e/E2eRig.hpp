#pragma once
// What the end-to-end tests share: a scratch folder with its own data, runtime and configuration
// folders, a server instance name of their own (so tests run in parallel and never meet a server
// that runs on this machine), and the three programs of this build started as real processes.

#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::e2e {

// Paths of the programs under test, given by the build.
const char* const kServerExe = TAVKELO_E2E_SERVER_EXE;
const char* const kCliExe = TAVKELO_E2E_CLI_EXE;

// Real-time bound on start-up and shut-down: it only stops a broken run from hanging.
constexpr Millis kTimeout{15000};

class E2eRig {
 public:
  E2eRig();
  ~E2eRig();
  E2eRig(const E2eRig&) = delete;
  E2eRig& operator=(const E2eRig&) = delete;

  const std::string& Instance() const { return instance_; }
  std::string DataDir() const { return dir_.Path() + "/data"; }
  std::string RuntimeDir() const { return dir_.Path() + "/run"; }
  std::string ConfigDir() const { return dir_.Path() + "/config"; }
  std::string IniPath() const { return dir_.Path() + "/TavKeloASM.INI"; }
  // DATA (the log folder), XDG_RUNTIME_DIR (the one-instance lock, the CLI's saved object), HOME
  // and XDG_CONFIG_HOME (where registration writes) all inside the scratch folder.
  Environment Env() const;
  // TavKeloASM of this instance with --ini and the arguments, run to its end with Env() and
  // `extra`.
  RunResult RunServer(const std::vector<std::string>& args, const Environment& extra = {}) const;

  void WriteIni(int rawSetting) const;
  // The diagnostic log files in DATA (one per day), and their text joined.
  std::vector<std::string> LogFiles() const;
  std::string LogText() const;
  int LogCount(const std::string& text) const;

  // kelo-sim on a new pseudo-terminal (its device path) or on a TCP port of loopback
  // ("socket://127.0.0.1:PORT"); the simulator is kept until the rig ends.
  std::string StartSim(bool tcp, const std::string& tcpAddress = "127.0.0.1:0");
  // Kills (SIGKILL) every simulator started so far and reaps it.
  void KillSims();

  // TavKeloASM with --instance, --listen 127.0.0.1:0, --ini and the arguments, once it prints
  // where it serves ("http://127.0.0.1:PORT").
  struct Server {
    std::unique_ptr<ChildProcess> process;
    std::string url;
  };
  Server StartServer(const std::vector<std::string>& args,
                     const std::string& listen = "127.0.0.1:0");
  // SIGTERM and the exit status.
  static std::optional<int> Stop(Server& server);

  // The kelo client against a server, with this rig's environment.
  RunResult Kelo(const std::string& url, const std::vector<std::string>& args) const;

 private:
  test::TempDir dir_;
  std::string instance_;
  std::vector<std::unique_ptr<ChildProcess>> sims_;
};

// What a process said.
std::string Describe(const ChildProcess& process);

// The sqlite3 shell's answer to `sql` on `file`, without the last line break.
std::string Sqlite(const std::string& file, const std::string& sql);

}  // namespace tavkelo::e2e
