// kelo-sim: a simulated Kelo dyne controller on a pseudo-terminal, a serial device or a TCP port,
// with operator commands on standard input.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "platform/SerialDevices.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "sim/KeloController.hpp"
#include "sim/OperatorConsole.hpp"
#include "sim/SimProcessIo.hpp"
#include "sim/SimTcpListener.hpp"

#ifndef _WIN32
#include "platform/FdSerialChannel.hpp"
#include "platform/PseudoTerminal.hpp"
#endif

using namespace tavkelo;

namespace {

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
      "protocol on a new pseudo-terminal (the default on Linux; the device path is printed), on\n"
      "a serial device or on a TCP port, with the physics of the rolls, absorber, load cell, "
      "scales and lifts behind it.\n"
      "Operator commands (weights 3, device on, scale left 60, fault motor, status, help, quit)\n"
      "are read from standard input. SIGINT or SIGTERM (Ctrl+C) ends it.",
      "kelo-sim"};
  app.get_formatter()->column_width(34);

  std::string tcp;
  std::string device;
  int baud = 9600;
  bool pace = false;
  bool noStdin = false;
  std::string requestLog;
  std::vector<std::string> setValues;
  app.add_option("--tcp", tcp,
                 "serve on TCP instead of a pseudo-terminal: [ADDR:]PORT (ADDR defaults to "
                 "127.0.0.1; port 0 picks one)");
  auto* deviceOption = app.add_option(
      "--device", device,
      "serve on an existing serial device instead: the far end of a null-modem cable "
      "(/dev/ttyUSB0, COM2), opened at --baud");
  deviceOption->excludes("--tcp");
  app.add_option("--baud", baud, "baud rate of --device and of --pace (10 bits a byte)")
      ->check(CLI::Range(50, 1000000))
      ->capture_default_str();
  app.add_flag("--pace", pace,
               "write replies one byte at a time at the --baud rate, as a real line would");
  app.add_option("--turnaround-us", options.line.turnaroundUs,
                 "microseconds from a request to its reply")
      ->capture_default_str();
  app.add_option("--request-log", requestLog,
                 "append each request received to FILE, a line each: milliseconds since start "
                 "and the request (D, E001, F000=4127.00)");
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

  RealTimeLoop loop;
  KeloController controller(loop, options);
  SimProcessIo process(loop);
  std::ofstream requests;
  if (!requestLog.empty()) {
    requests.open(requestLog, std::ios::app);
    if (!requests) {
      std::cerr << "kelo-sim: cannot write the request log " << requestLog << "\n";
      return 1;
    }
    const int64_t startUs = loop.NowUs();
    controller.SetOnRequest([&requests, &loop, startUs](const ReceivedRequest& request) {
      requests << (loop.NowUs() - startUs) / 1000 << " " << RequestName(request) << std::endl;
    });
  }

  std::unique_ptr<SerialChannel> line;
  std::unique_ptr<SimTcpListener> listener;
#ifndef _WIN32
  PseudoTerminal pty;  // keeps a slave descriptor open while the tool serves
#endif
  if (!tcp.empty()) {
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
  } else {
    std::string served = device;
    if (device.empty()) {
#ifdef _WIN32
      std::cerr << "kelo-sim: Windows has no pseudo-terminals: serve on --tcp or --device\n";
      return 2;
#else
      if (!pty.Open()) {
        std::cerr << "kelo-sim: cannot create a pseudo-terminal: " << pty.Error() << "\n";
        return 1;
      }
      served = pty.SlavePath();
      line = std::make_unique<FdSerialChannel>(loop, pty.ReleaseMaster(), served);
#endif
    } else {
      line = MakeSerialChannel(loop, device);
      line->SetSettings(std::to_string(baud) + ",N,8,1");
    }
    if (!line->Open()) {
      std::cerr << "kelo-sim: cannot open " << served << ": " << line->LastError() << "\n";
      return 1;
    }
    controller.SetOnLineLost([&] {
      std::cerr << "kelo-sim: " << served << " lost\n";
      loop.Stop();
    });
    controller.Attach(*line);
    std::cout << "kelo-sim: serving on " << served << std::endl;
  }

  OperatorConsole console(controller);
  if (!noStdin) {
    process.ReadCommands(console);
    if (SimProcessIo::InputIsTerminal())
      std::cerr << "kelo-sim: type 'help' for operator commands\n";
  }

  loop.Run();
  controller.Detach();
  std::cout << "kelo-sim: stopped" << std::endl;
  return 0;
}
