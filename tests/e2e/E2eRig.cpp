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
  std::random_device random;
  instance_ = "e2e-" + std::to_string(::getpid()) + "-" + std::to_string(++counter) + "-" +
              std::to_string(random() % 100000);
  for (const std::string& d : {DataDir(), RuntimeDir(), HomeDir(), ConfigDir()}) fs::create_directories(d);
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
          {"HOME", HomeDir()},
          {"XDG_CONFIG_HOME", ConfigDir()},
          {"TAVKELO_SERVER", "http://127.0.0.1:1"}};
}

void E2eRig::WriteIni(int rawSetting) const {
  test::WriteFile(IniPath(), "[LogControl]\r\nRawSetting=" + std::to_string(rawSetting) + "\r\n");
}

std::vector<std::string> E2eRig::LogFiles() const {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(DataDir())) {
    std::string name = entry.path().filename().string();
    if (name.rfind("KELO_", 0) == 0 && name.size() > 4 && name.substr(name.size() - 4) == ".LOG") {
      files.push_back(entry.path().string());
    }
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
  for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1)) ++count;
  return count;
}

std::string E2eRig::StartSimOnPty() {
  auto sim = std::make_unique<ChildProcess>(std::vector<std::string>{kSimExe, "--no-stdin"}, Env());
  std::optional<std::string> line = sim->WaitForLine("kelo-sim: serving on ", kStartTimeout);
  if (!line) throw std::runtime_error("kelo-sim did not start: " + Describe(*sim));
  std::string path = line->substr(line->find("serving on ") + 11);
  if (path.rfind("/dev/", 0) != 0) throw std::runtime_error("kelo-sim serves no device: " + *line);
  sims_.push_back(std::move(sim));
  return path;
}

int E2eRig::StartSimOnTcp() {
  auto sim =
      std::make_unique<ChildProcess>(std::vector<std::string>{kSimExe, "--no-stdin", "--tcp", "127.0.0.1:0"}, Env());
  std::optional<std::string> line = sim->WaitForLine("kelo-sim: serving on tcp 127.0.0.1:", kStartTimeout);
  if (!line) throw std::runtime_error("kelo-sim did not start on TCP: " + Describe(*sim));
  int port = std::stoi(line->substr(line->rfind(':') + 1));
  if (port <= 0) throw std::runtime_error("kelo-sim printed no port: " + *line);
  sims_.push_back(std::move(sim));
  return port;
}

E2eRig::Server E2eRig::StartServer(const std::vector<std::string>& args) {
  std::vector<std::string> argv{kServerExe, "--instance", Instance(), "--listen", "127.0.0.1:0", "--ini", IniPath()};
  argv.insert(argv.end(), args.begin(), args.end());
  Server server;
  server.process = std::make_unique<ChildProcess>(argv, Env());
  std::optional<std::string> line = server.process->WaitForLine(" serving http://", kStartTimeout);
  if (!line) throw std::runtime_error("TavKeloASM did not start: " + Describe(*server.process));
  static const std::regex serving(R"(^TavKeloASM \d+\.\d\d\.\d\d serving (http://127\.0\.0\.1:(\d+))/ \(pid (\d+)\)$)");
  std::smatch m;
  if (!std::regex_match(*line, m, serving)) throw std::runtime_error("unexpected start-up line: " + *line);
  if (std::stoi(m[3]) != server.process->Pid()) throw std::runtime_error("the start-up line names another pid: " + *line);
  server.url = m[1];
  server.port = std::stoi(m[2]);
  return server;
}

std::optional<int> E2eRig::Stop(Server& server) {
  server.process->Signal(SIGTERM);
  return server.process->Wait(kExitTimeout);
}

RunResult E2eRig::Kelo(const std::string& url, const std::vector<std::string>& args) const {
  std::vector<std::string> argv{kCliExe, "--server", url};
  argv.insert(argv.end(), args.begin(), args.end());
  return RunToEnd(argv, Env(), Millis(30000));
}

std::string Describe(const ChildProcess& process) {
  return "stdout [" + process.Stdout() + "] stderr [" + process.Stderr() + "]";
}

}  // namespace tavkelo::e2e
