// kelo-sim: a simulated Kelo dyne controller on a pseudo-terminal or a TCP port, with operator
// commands on standard input.

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "platform/FdSerialChannel.hpp"
#include "platform/PseudoTerminal.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "sim/KeloController.hpp"
#include "sim/OperatorConsole.hpp"
#include "sim/SimTcpListener.hpp"

using namespace tavkelo;

namespace {

// Turns SIGINT and SIGTERM into a stop of the loop between handlers.
class StopOnSignals {
 public:
  explicit StopOnSignals(EventLoop& loop) : loop_(loop) {
    // A background job may have inherited SIGINT as ignored; an ignored signal never reaches the
    // signalfd, so both get their default disposition back (blocked, they still kill nothing).
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    fd_ = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (fd_ >= 0) watch_ = loop_.WatchFd(fd_, POLLIN, [this](short) { OnSignal(); });
  }
  ~StopOnSignals() {
    if (watch_ != 0) loop_.UnwatchFd(watch_);
    if (fd_ >= 0) ::close(fd_);
  }

 private:
  void OnSignal() {
    signalfd_siginfo info{};
    while (::read(fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    }
    loop_.Stop();
  }
  EventLoop& loop_;
  int fd_ = -1;
  int watch_ = 0;
};

// Operator lines from standard input. At the end of input the tool quits when the input was a
// terminal or a pipe (the operator or the program driving us is gone); after a file or /dev/null
// it keeps serving. A background job that may not read its terminal stops reading it instead.
class StdinCommands {
 public:
  StdinCommands(EventLoop& loop, OperatorConsole& console) : loop_(loop), console_(console) {
    struct stat st {};
    quitAtEnd_ =
        ::isatty(0) || (::fstat(0, &st) == 0 && (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)));
    watch_ = loop_.WatchFd(0, POLLIN, [this](short revents) { OnReadable(revents); });
  }
  ~StdinCommands() { Stop(); }

 private:
  void Stop() {
    if (watch_ != 0) loop_.UnwatchFd(watch_);
    watch_ = 0;
  }
  void OnReadable(short) {
    char buf[1024];
    ssize_t n = ::read(0, buf, sizeof buf);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
      Stop();
      if (n == 0 && quitAtEnd_) loop_.Stop();
      return;
    }
    pending_.append(buf, static_cast<size_t>(n));
    for (size_t eol; (eol = pending_.find('\n')) != std::string::npos;) {
      std::string line = pending_.substr(0, eol);
      pending_.erase(0, eol + 1);
      if (!line.empty() && line.back() == '\r') line.pop_back();
      OperatorConsole::Result result = console_.Execute(line);
      if (!result.text.empty())
        std::cout << result.text << (result.text.back() == '\n' ? "" : "\n");
      std::cout.flush();
      if (result.quit) {
        loop_.Stop();
        Stop();
        return;
      }
    }
  }

  EventLoop& loop_;
  OperatorConsole& console_;
  int watch_ = 0;
  bool quitAtEnd_ = true;
  std::string pending_;
};

bool ParseHostPort(const std::string& text, std::string& host, uint16_t& port) {
  auto colon = text.rfind(':');
  std::string portText = colon == std::string::npos ? text : text.substr(colon + 1);
  host = colon == std::string::npos || colon == 0 ? "127.0.0.1" : text.substr(0, colon);
  try {
    size_t used = 0;
    unsigned long value = std::stoul(portText, &used);
    if (used != portText.size() || value > 65535) return false;
    port = static_cast<uint16_t>(value);
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  KeloSimOptions options;
  SimPhysicsOptions& physics = options.physics;
  SimFaultOptions& faults = options.faults;

  CLI::App app{
      "kelo-sim: a simulated Kelo chassis-dyne controller. It serves the controller's serial\n"
      "protocol on a new pseudo-terminal (the default; the device path is printed) or on a TCP\n"
      "port, with the physics of the rolls, absorber, load cell, scales and lifts behind it.\n"
      "Operator commands (weights 3, device on, scale left 60, fault motor, status, help, quit)\n"
      "are read from standard input. SIGINT or SIGTERM ends it.",
      "kelo-sim"};
  app.get_formatter()->column_width(34);

  std::string tcp;
  int baud = 9600;
  bool pace = false;
  bool noStdin = false;
  std::vector<std::string> setValues;
  app.add_option("--tcp", tcp,
                 "serve on TCP instead of a pseudo-terminal: [ADDR:]PORT (ADDR defaults to "
                 "127.0.0.1; port 0 picks one)");
  app.add_option("--baud", baud, "baud rate used for --pace (10 bits a byte)")
      ->check(CLI::Range(50, 1000000))
      ->capture_default_str();
  app.add_flag("--pace", pace,
               "write replies one byte at a time at the --baud rate, as a real line would");
  app.add_option("--turnaround-us", options.line.turnaroundUs,
                 "microseconds from a request to its reply")
      ->capture_default_str();
  app.add_flag("--no-stdin", noStdin, "read no operator commands (for running in the background)");

  auto* dyne = "Dyne";
  app.add_option("--inertia-kg", options.setup[6],
                 "base inertia, kg (variable 6; 907 kg is about 2000 lb)")
      ->group(dyne);
  app.add_option("--roll-diameter", options.setup[1],
                 "roll diameter in 0.1 mm (variable 1; 2173 = 8.555 in)")
      ->group(dyne);
  app.add_option(
         "--set", setValues,
         "set-up variable at start, VAR=VALUE in controller units (repeatable), e.g. --set 59=1000")
      ->group(dyne);
  app.add_option("--loss-a", physics.loss.a,
                 "parasitic loss HP(v) = a + b v + c v^2 + d v^3 (v in mph): a")
      ->group(dyne)
      ->capture_default_str();
  app.add_option("--loss-b", physics.loss.b, "loss term b")->group(dyne)->capture_default_str();
  app.add_option("--loss-c", physics.loss.c, "loss term c")->group(dyne)->capture_default_str();
  app.add_option("--loss-d", physics.loss.d, "loss term d")->group(dyne)->capture_default_str();
  app.add_option("--top-speed", physics.motorTopSpeedMph,
                 "speed the motor runs the rolls up to, mph")
      ->group(dyne)
      ->capture_default_str();
  app.add_option("--motor-force", physics.motorMaxForceLbf, "motor's pull at the roll surface, lbf")
      ->group(dyne)
      ->capture_default_str();
  app.add_option("--lift-travel", physics.liftTravelS, "lift travel time, s")
      ->group(dyne)
      ->capture_default_str();
  app.add_flag("--lifts-up", physics.liftsUpAtStart, "start with the lifts up")->group(dyne);
  app.add_option("--firmware", options.firmwareVersion, "firmware version read from variable 0")
      ->group(dyne)
      ->capture_default_str();
  app.add_option("--torque-noise", physics.loadCell.noiseLbf, "amplitude of load-cell noise, lbf")
      ->group(dyne)
      ->capture_default_str();

  auto* fault = "Faults (probabilities per reply, 0 to 1)";
  app.add_option("--seed", faults.seed, "seed of the fault and noise generators")
      ->group(fault)
      ->capture_default_str();
  app.add_option("--p-lose", faults.loseByte, "lose one byte of a reply")
      ->group(fault)
      ->check(CLI::Range(0.0, 1.0));
  app.add_option("--p-corrupt", faults.corruptByte, "corrupt one byte of a reply")
      ->group(fault)
      ->check(CLI::Range(0.0, 1.0));
  app.add_option("--p-late", faults.lateReply, "hold a reply back by --late-ms")
      ->group(fault)
      ->check(CLI::Range(0.0, 1.0));
  app.add_option("--p-checksum", faults.wrongChecksum, "send a data frame with a wrong checksum")
      ->group(fault)
      ->check(CLI::Range(0.0, 1.0));
  app.add_option("--p-nak", faults.nak, "refuse a request with NAK")
      ->group(fault)
      ->check(CLI::Range(0.0, 1.0));
  app.add_option("--p-silence", faults.silence, "carry a request out but send no reply")
      ->group(fault)
      ->check(CLI::Range(0.0, 1.0));
  int64_t lateMs = faults.lateReplyUs / 1000;
  app.add_option("--late-ms", lateMs, "delay of a late reply, ms")
      ->group(fault)
      ->capture_default_str();

  CLI11_PARSE(app, argc, argv);

  // Options left at their defaults must not override the set-up defaults.
  if (app.count("--inertia-kg") == 0) options.setup.erase(6);
  if (app.count("--roll-diameter") == 0) options.setup.erase(1);
  for (const std::string& item : setValues) {
    auto eq = item.find('=');
    try {
      if (eq == std::string::npos) throw std::invalid_argument(item);
      int number = std::stoi(item.substr(0, eq));
      if (number < 1 || number > 99) throw std::out_of_range(item);
      options.setup[static_cast<uint8_t>(number)] = std::stod(item.substr(eq + 1));
    } catch (const std::exception&) {
      std::cerr << "kelo-sim: --set wants VAR=VALUE with VAR from 1 to 99, not '" << item << "'\n";
      return 2;
    }
  }
  faults.lateReplyUs = lateMs * 1000;
  physics.loadCell.noiseSeed = faults.seed;
  if (pace) options.line.bytePacingUs = 10'000'000 / baud;
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGTTIN,
           SIG_IGN);  // a background job's read of the terminal fails instead of stopping it

  RealTimeLoop loop;
  KeloController controller(loop, options);
  StopOnSignals signals(loop);

  PseudoTerminal pty;
  std::unique_ptr<FdSerialChannel> ptyChannel;
  std::unique_ptr<SimTcpListener> listener;
  if (tcp.empty()) {
    if (!pty.Open()) {
      std::cerr << "kelo-sim: cannot create a pseudo-terminal: " << pty.Error() << "\n";
      return 1;
    }
    ptyChannel = std::make_unique<FdSerialChannel>(loop, pty.ReleaseMaster(), pty.SlavePath());
    controller.SetOnLineLost([&] {
      std::cerr << "kelo-sim: pseudo-terminal lost\n";
      loop.Stop();
    });
    controller.Attach(*ptyChannel);
    std::cout << "kelo-sim: serving on " << pty.SlavePath() << std::endl;
  } else {
    std::string host;
    uint16_t port = 0;
    if (!ParseHostPort(tcp, host, port)) {
      std::cerr << "kelo-sim: --tcp wants [ADDR:]PORT, not '" << tcp << "'\n";
      return 2;
    }
    listener = std::make_unique<SimTcpListener>(loop, controller);
    listener->SetOnEvent(
        [](const std::string& what) { std::cerr << "kelo-sim: " << what << "\n"; });
    if (!listener->Listen(host, port)) {
      std::cerr << "kelo-sim: " << listener->Error() << "\n";
      return 1;
    }
    std::cout << "kelo-sim: serving on tcp " << host << ":" << listener->Port() << std::endl;
  }

  OperatorConsole console(controller);
  std::unique_ptr<StdinCommands> commands;
  if (!noStdin) {
    commands = std::make_unique<StdinCommands>(loop, console);
    if (::isatty(0)) std::cerr << "kelo-sim: type 'help' for operator commands\n";
  }

  loop.Run();
  commands.reset();
  controller.Detach();
  std::cout << "kelo-sim: stopped" << std::endl;
  return 0;
}
