#include "E2eRig.hpp"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <regex>
#include <stdexcept>

#include "platform/NamedSemaphore.hpp"

namespace tavkelo::e2e {

namespace fs = std::filesystem;

E2eRig::E2eRig() {
  static int counter = 0;
  instance_ = "e2e-" + std::to_string(::getpid()) + "-" + std::to_string(++counter) + "-" +
              std::to_string(std::random_device()() % 100000);
  for (const std::string& d : {DataDir(), RuntimeDir(), ConfigDir(), dir_.Path() + "/home"})
    fs::create_directories(d);
}

E2eRig::~E2eRig() {
  sims_.clear();
  // A server that was killed leaves its named semaphores behind.
  NamedSemaphore::Remove("KeloReadingsLock." + instance_);
  NamedSemaphore::Remove("KeloInterfaceLock." + instance_);
}

Environment E2eRig::Env() const {
  return {{"DATA", DataDir()},
          {"XDG_RUNTIME_DIR", RuntimeDir()},
          {"HOME", dir_.Path() + "/home"},
          {"XDG_CONFIG_HOME", ConfigDir()},
          {"TAVKELO_SERVER", "http://127.0.0.1:1"}};
}

RunResult E2eRig::RunServer(const std::vector<std::string>& args, const Environment& extra) const {
  std::vector<std::string> argv{kServerExe, "--instance", instance_, "--ini", IniPath()};
  argv.insert(argv.end(), args.begin(), args.end());
  Environment env = Env();
  for (const auto& [name, value] : extra) env[name] = value;
  return RunToEnd(argv, env, kTimeout);
}

void E2eRig::WriteIni(int rawSetting) const {
  test::WriteFile(IniPath(), "[LogControl]\r\nRawSetting=" + std::to_string(rawSetting) + "\r\n");
}

std::vector<std::string> E2eRig::LogFiles() const {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(DataDir())) {
    std::string name = entry.path().filename().string();
    if (name.rfind("KELO_", 0) == 0 && entry.path().extension() == ".LOG")
      files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string E2eRig::LogText() const {
  std::string text;
  for (const std::string& f : LogFiles()) text += test::ReadFile(f);
  return text;
}

int E2eRig::LogCount(const std::string& text) const {
  std::string all = LogText();
  int count = 0;
  for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1))
    ++count;
  return count;
}

void E2eRig::KillSims() {
  sims_.clear();
}

std::string E2eRig::StartSim(bool tcp, const std::string& tcpAddress) {
  std::vector<std::string> argv{TAVKELO_E2E_SIM_EXE, "--no-stdin"};
  if (tcp) argv.insert(argv.end(), {"--tcp", tcpAddress});
  auto sim = std::make_unique<ChildProcess>(argv, Env());
  std::optional<std::string> line = sim->WaitForLine("kelo-sim: serving on ", kTimeout);
  if (!line) throw std::runtime_error("kelo-sim did not start: " + Describe(*sim));
  std::string where = line->substr(line->find("serving on ") + 11);
  sims_.push_back(std::move(sim));
  if (tcp && where.rfind("tcp 127.0.0.1:", 0) == 0) return "socket://" + where.substr(4);
  if (!tcp && where.rfind("/dev/", 0) == 0) return where;
  throw std::runtime_error("kelo-sim serves somewhere else: " + *line);
}

E2eRig::Server E2eRig::StartServer(const std::vector<std::string>& args,
                                   const std::string& listen) {
  std::vector<std::string> argv{kServerExe, "--instance", Instance(), "--listen",
                                listen,     "--ini",      IniPath()};
  argv.insert(argv.end(), args.begin(), args.end());
  Server server;
  server.process = std::make_unique<ChildProcess>(argv, Env());
  std::optional<std::string> line = server.process->WaitForLine(" serving http", kTimeout);
  if (!line) throw std::runtime_error("TavKeloASM did not start: " + Describe(*server.process));
  static const std::regex serving(
      R"(^TavKeloASM \d+\.\d\d\.\d\d serving (https?://127\.0\.0\.1:\d+)/ \(pid (\d+)\)$)");
  std::smatch m;
  if (!std::regex_match(*line, m, serving) || std::stoi(m[2]) != server.process->Pid()) {
    throw std::runtime_error("unexpected start-up line: " + *line);
  }
  server.url = m[1];
  return server;
}

std::optional<int> E2eRig::Stop(Server& server) {
  server.process->Signal(SIGTERM);
  return server.process->Wait(kTimeout);
}

RunResult E2eRig::Kelo(const std::string& url, const std::vector<std::string>& args) const {
  std::vector<std::string> argv{kCliExe, "--server", url};
  argv.insert(argv.end(), args.begin(), args.end());
  return RunToEnd(argv, Env(), Millis(30000));
}

std::string Describe(const ChildProcess& process) {
  return "stdout [" + process.Stdout() + "] stderr [" + process.Stderr() + "]";
}

std::string Sqlite(const std::string& file, const std::string& sql) {
  const RunResult r = RunToEnd({"/usr/bin/sqlite3", file, sql}, {}, kTimeout);
  std::string out = r.out;
  while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
  return out;
}

}  // namespace tavkelo::e2e
