// TavKeloASM: the automation server for the Kelo chassis dynamometer.

#if TAVKELO_HAS_MQTT
#include <unistd.h>  // gethostname
#endif

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "ProgramVersion.hpp"
#include "host/HostContext.hpp"
#include "host/ProgramFile.hpp"
#include "runtime/LoopTimer.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "server/ComHosting.hpp"
#include "server/Registration.hpp"
#include "server/ServerAssembly.hpp"
#include "server/SignalWatcher.hpp"

namespace {

bool SplitListen(const std::string& listen, std::string& host, int& port) {
  size_t colon = listen.rfind(':');
  if (colon == std::string::npos || colon == 0) return false;
  host = listen.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  try {
    port = std::stoi(listen.substr(colon + 1));
  } catch (const std::exception&) {
    return false;
  }
  return port >= 0 && port <= 65535;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tavkelo;
  std::string commandLine;
  std::string otherArguments;
  for (int i = 1; i < argc; ++i) {
    commandLine += (i > 1 ? " " : "") + std::string(argv[i]);
  }
#ifdef _WIN32
  UseParentConsole();
#endif
  // COM starts the server with "-Embedding": it then ends when its last COM client has gone.
  [[maybe_unused]] bool embedding = false;
  std::vector<char*> arguments(argv, argv + argc);
#ifdef _WIN32
  for (auto it = arguments.begin() + 1; it != arguments.end();) {
    if (IsEmbeddingSwitch(*it)) {
      embedding = true;
      it = arguments.erase(it);
    } else {
      ++it;
    }
  }
#endif
  const std::string exePath = RunningProgramPath(argv[0] != nullptr ? argv[0] : "TavKeloASM");

  // Registration switches end the process before anything else happens.
  if (std::string sw = FindRegistrationSwitch(commandLine); !sw.empty()) {
    for (int i = 1; i < argc; ++i) {
      std::string arg = argv[i];
      if (FindRegistrationSwitch(arg).empty())
        otherArguments += (otherArguments.empty() ? "" : " ") + arg;
    }
    return PerformRegistration(sw, exePath, otherArguments);
  }

  const std::string version =
      MakeProgramVersionText(kProgramVersionMajor, kProgramVersionMinor, kProgramVersionRevision);
  CLI::App app{"TavKeloASM " + version +
               ": the automation server for the Kelo chassis dynamometer.\n"
               "Clients create clsKeloInterface objects through the remote automation API over HTTP"
#ifdef _WIN32
               " or through COM"
#endif
               ";\n"
               "the dashboard and the calibration wizards are at the address it prints."};
  HostOptions hostOptions;
  hostOptions.programFilePath = exePath;
  bool simulate = false;
  std::vector<std::string> portMappings;
  std::string listen = "127.0.0.1:5180";
#ifdef _WIN32
  // A Windows station gets the program as a folder: the pages are in "web" beside the executable.
  std::string webDir = exePath.substr(0, exePath.rfind('\\') + 1) + "web";
#else
  std::string webDir = TAVKELO_WEB_DIR;
#endif
  int leaseSeconds = 30;
  int connectPort = -1;
  std::string instance;
  uint32_t simSeed = 1;
  bool noReconnect = false;
  SecurityOptions security;
  std::string tokenFile;
  std::string tlsCert;
  std::string tlsKey;
#if TAVKELO_HAS_MQTT
  MqttOptions mqtt;
#endif
#if TAVKELO_HAS_HISTORY
  std::string historyPath;
  bool noHistory = false;
#endif
  app.add_flag("--simulate", simulate,
               "Serve every port without a --port mapping with an in-process simulated controller, "
               "and connect "
               "the dashboard's console to port 1");
  app.add_flag("--no-reconnect", noReconnect,
               "When the device goes away, leave the port closed until a client calls Connect "
               "(by default the server reopens it after 1, 2, 4 ... 30 s and connects again)");
  app.add_option("--port", portMappings,
                 "Map a port number to a device: N=/dev/ttyUSB0, N=socket://host:port or N=sim "
                 "(repeatable). "
#ifdef _WIN32
                 "Unmapped port N is COMN")
#else
                 "Unmapped port N is /dev/ttyS{N-1}")
#endif
      ->type_name("N=DEVICE");
  app.add_option("--listen", listen, "Address and port of the HTTP API and the web pages")
      ->type_name("ADDR:PORT")
      ->capture_default_str();
  app.add_option("--ini", hostOptions.iniPath,
                 "INI file to use instead of TavKeloASM.INI beside the executable");
  app.add_option("--web", webDir, "Folder of the dashboard's pages")->capture_default_str();
  app.add_option("--lease", leaseSeconds, "Default lease of a client's object, in seconds")
      ->check(CLI::Range(1, 3600))
      ->capture_default_str();
  app.add_option(
         "--connect", connectPort,
         "Connect the dashboard's console to this port at start (default: 1 with --simulate)")
      ->check(CLI::Range(1, 255));
  app.add_option("--sim-seed", simSeed, "Seed of the simulated controllers' noise and faults")
      ->capture_default_str();
  app.add_option(
      "--instance", instance,
      "Name of a separate server instance (its own one-instance lock and semaphores), for tests");
  app.add_option("--allow-origin", security.allowOrigins,
                 "Also serve browser requests from pages of this origin, e.g. "
                 "http://station.example:8080 (repeatable; the server's own pages always are)")
      ->type_name("URL");
  app.add_option(
         "--allow-host", security.allowHosts,
         "Also answer requests addressed to this host name, e.g. the name of a reverse "
         "proxy (repeatable; the listen address, localhost, 127.0.0.1 and [::1] always are)")
      ->type_name("NAME");
  app.add_option("--token-file", tokenFile,
                 "File of lines 'NAME ROLE TOKEN' (ROLE control or read), readable by its owner "
                 "only. Clients beyond loopback then need Authorization: Bearer TOKEN; required "
                 "when listening on an address that is not loopback")
      ->type_name("PATH");
  app.add_flag("--require-token", security.requireToken,
               "Ask for a token from clients on loopback too");
  app.add_flag("--insecure-no-auth", security.insecureNoAuth,
               "Listen beyond loopback without a token file: anyone who reaches the port can "
               "move the dyne");
  CLI::Option* certOption =
      app.add_option("--tls-cert", tlsCert,
                     "Serve HTTPS only, with this certificate (PEM; a chain, the server's first)")
          ->type_name("FILE")
          ->check(CLI::ExistingFile);
  app.add_option("--tls-key", tlsKey, "The unencrypted private key (PEM) of --tls-cert")
      ->type_name("FILE")
      ->check(CLI::ExistingFile)
      ->needs(certOption);
  certOption->needs("--tls-key");
  app.add_option("--max-requests-per-client", security.limits.requestsPerClient,
                 "Requests in progress at once from one client address (event streams included); "
                 "more are answered 429 with Retry-After (0: no limit)")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--max-objects-per-minute", security.limits.objectsPerMinute,
                 "Interface objects one client address may create in any minute; more are "
                 "answered 429 with Retry-After (0: no limit)")
      ->type_name("N")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
#if TAVKELO_HAS_MQTT
  app.add_option("--mqtt", mqtt.url,
                 "Publish telemetry to this MQTT broker: mqtt://[user@]host[:port] or "
                 "mqtts://[user@]host[:port]")
      ->type_name("URL");
  app.add_option("--mqtt-ca", mqtt.caFile,
                 "CA certificate of an mqtts:// broker (default: the system's certificates)")
      ->type_name("FILE");
  app.add_option("--mqtt-password-file", mqtt.passwordFile,
                 "File whose first line is the password of the URL's user")
      ->type_name("FILE");
  app.add_option("--mqtt-rate", mqtt.readingsHz,
                 "Readings messages a second (at most one per poll cycle)")
      ->type_name("HZ")
      ->check(CLI::Range(0.1, 50.0))
      ->capture_default_str();
  app.add_option("--station", mqtt.station,
                 "This station's name in the MQTT topics tavkelo/<station>/... (default: the "
                 "host's name)");
#endif
#if TAVKELO_HAS_HISTORY
  app.add_option("--history", historyPath,
                 "History file of the runs (default: TavKeloASM.history.sqlite beside the INI "
                 "file)")
      ->type_name("PATH");
  app.add_flag("--no-history", noHistory, "Keep no history of the runs");
#endif
  app.set_version_flag("--version", "TavKeloASM " + version);
#ifdef _WIN32
  app.footer(
      "COM: inspection programs create TavKeloASM.clsKeloInterface; COM starts this server for "
      "them (with\n"
      "-Embedding and the arguments registered) and it ends 2 s after the last one has released "
      "its object.\n"
      "Registration (as an administrator): /REG registers the class, its type library and this "
      "executable, with\n"
      "the other arguments given, under HKLM\\Software\\Classes; /UNREG removes them; either "
      "ends the process.\n"
      "Only one server runs per machine (per --instance).\n"
      "Stop with Ctrl+C, Ctrl+Break, by closing its console, or with taskkill (without /F): "
      "client objects are\n"
      "released and the link is disconnected. Logoff and shutdown stop it the same way.\n"
      "The INI file TavKeloASM.INI is beside the executable; the log is in LOGS beside the "
      "executable's folder.\n"
      "Commands (every POST, PUT and DELETE) are written to AUDIT_YYYYMMDD.LOG beside the "
      "diagnostic log.\n"
      "This Windows build has no history of the runs (SQLite), no MQTT telemetry (libmosquitto) "
      "and no HTTPS\n"
      "(OpenSSL): put a TLS-terminating reverse proxy in front and name it with --allow-host.");
#else
  app.footer(
      "Registration: /REG installs a systemd user unit that starts this server with the other "
      "arguments given,\n"
      "/UNREG removes it; either ends the process. Only one server runs per machine (per "
      "--instance).\n"
      "Stop with Ctrl-C or SIGTERM: client objects are released and the link is disconnected.\n"
      "Commands (every POST, PUT and DELETE) are written to AUDIT_YYYYMMDD.LOG beside the "
      "diagnostic log.\n"
      "TLS: not served by TavKeloASM itself; put a TLS-terminating reverse proxy in front and "
      "name it with --allow-host.");
#endif
  try {
    app.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }

  std::string host;
  int httpPort = 0;
  if (!SplitListen(listen, host, httpPort)) {
    std::fprintf(stderr, "TavKeloASM: --listen wants ADDR:PORT, got '%s'\n", listen.c_str());
    return 2;
  }
  if (!tokenFile.empty()) {
    std::string error;
    if (!LoadTokenFile(tokenFile, security.tokens, error)) {
      std::fprintf(stderr, "TavKeloASM: %s\n", error.c_str());
      return 2;
    }
  }
  if (std::string refusal = StartupRefusal(host, security); !refusal.empty()) {
    std::fprintf(stderr, "TavKeloASM: %s\n", refusal.c_str());
    return 2;
  }
  if (security.insecureNoAuth && security.tokens.empty()) {
    std::fprintf(stderr,
                 "TavKeloASM: WARNING: --insecure-no-auth: anyone who can reach %s can move the "
                 "dyne\n",
                 listen.c_str());
  }
  if (!instance.empty()) {
    hostOptions.semaphoreSuffix = "." + instance;
    hostOptions.instanceLockPath = SingleInstanceLock::DefaultPath("TavKeloASM." + instance);
  }

  ServerOptions options;
#if TAVKELO_HAS_MQTT
  if (mqtt.station.empty()) {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) == 0) mqtt.station = name;
  }
  options.mqtt = mqtt;
#endif
#if TAVKELO_HAS_HISTORY
  options.historyPath = historyPath;
  options.history = !noHistory;
#endif
  options.host = hostOptions;
  options.commandLine = commandLine;
  options.simulate = simulate;
  options.reconnect = !noReconnect;
  options.sim.faults.seed = simSeed;
  options.portMappings = portMappings;
  options.http.host = host;
  options.http.port = httpPort;
  options.http.webDir = webDir;
  options.http.leaseSeconds = leaseSeconds;
  options.http.security = security;
  options.http.tlsCert = tlsCert;
  options.http.tlsKey = tlsKey;
#ifdef _WIN32
  // The loop's thread is a single-threaded apartment: COM calls arrive as messages it pumps.
  ComApartment apartment;
#endif
  RealTimeLoop loop;
  ServerAssembly server(loop, options);
  switch (server.Result()) {
    case ServerAssembly::Outcome::Ready:
    case ServerAssembly::Outcome::RegistrationSwitch:  // taken care of above
      break;
    case ServerAssembly::Outcome::AlreadyRunning:
      std::fprintf(stderr, "TavKeloASM: another instance is already running\n");
      return 3;
    case ServerAssembly::Outcome::LockUnavailable:
      std::fprintf(stderr, "TavKeloASM: %s\n", server.Error().c_str());
      return 5;
    case ServerAssembly::Outcome::BadPortMapping:
      std::fprintf(stderr, "TavKeloASM: --port: %s\n", server.Error().c_str());
      return 2;
    case ServerAssembly::Outcome::BadMqttOptions:
      std::fprintf(stderr, "TavKeloASM: --mqtt: %s\n", server.Error().c_str());
      return 2;
  }

  // Signals are blocked before any thread starts, so that they reach the loop alone.
  LoopTimer shutdown(loop);
  // The orderly end: a signal (or its Windows equivalents), or the last COM client gone.
  bool stopping = false;
  // COM clients that still hold objects at the end lose them first (Windows).
  std::function<void()> releaseComObjects = [] {};
  auto stop = [&] {
    if (stopping) return;
    stopping = true;
    std::printf("TavKeloASM: stopping\n");
    const SharedTestState& running = server.Engine().Context().test;
    if (running.CurTest != 0 || running.CurCalibration != calibration::None) {
      // The dyne is brought to rest first: a test's own closing commands need the link.
      std::printf("TavKeloASM: waiting for the running %s to end\n",
                  running.CurTest != 0 ? "test" : "calibration");
    }
    std::fflush(stdout);
    server.BeginStop();
    // Requests in progress still need the loop: wait for the listener to finish, then release.
    shutdown.SetHandler([&] {
      if (!server.ListenerDone()) return;
      shutdown.SetEnabled(false);
      loop.Post(
          [&] {
            releaseComObjects();
            server.Release();
            loop.Stop();
          },
          CallKind::CanWait);
    });
    shutdown.SetInterval(20);
    shutdown.SetEnabled(true);
  };
  SignalWatcher signals(loop, [&](int) { stop(); });

  std::string error;
  if (!server.Serve(error)) {
    std::fprintf(stderr, "TavKeloASM: %s\n", error.c_str());
    return 4;
  }
#ifdef _WIN32
  ComHosting com(loop, server.Engine().Context(), exePath,
                 embedding ? std::function<void()>(stop) : std::function<void()>());
  releaseComObjects = [&com] { com.DisconnectClients(); };
  if (!com.Start(error)) {
    std::fprintf(stderr, "TavKeloASM: COM clients cannot reach this server: %s\n", error.c_str());
    if (embedding) return 4;  // started by COM for a client it cannot serve
  }
#endif
  if (connectPort < 0 && simulate) connectPort = 1;
  // The console connects as a call that can wait, run by the loop like a client's: clients that
  // call while it connects are queued behind it instead of running inside its wait.
  loop.Post(
      [&] {
        const auto console = static_cast<int16_t>(connectPort);
        if (connectPort > 0 && !server.ConnectConsole(console)) {
          std::fprintf(stderr, "TavKeloASM: the console could not connect to port %d (%s)\n",
                       connectPort, server.Ports().Describe(console).c_str());
        }
        std::printf("TavKeloASM %s serving %s://%s:%d/ (pid %d)\n",
                    server.Host().ProgramVersionText.c_str(), tlsCert.empty() ? "http" : "https",
                    host.c_str(), server.Server().Port(), RunningProcessId());
        for (int16_t p = 1; p <= 2; ++p) {
          std::printf("  port %d: %s\n", p, server.Ports().Describe(p).c_str());
        }
        if (connectPort > 0) {
          std::printf("  console connected to port %d: %s\n", connectPort,
                      server.Server().Console().Connected() ? "yes" : "no");
        }
#ifdef _WIN32
        std::printf("Stop with Ctrl+C or taskkill (without /F).\n");
#else
        std::printf("Stop with Ctrl-C or SIGTERM.\n");
#endif
        std::fflush(stdout);
      },
      CallKind::CanWait);
  loop.Run();
  std::printf("TavKeloASM: stopped\n");
  return 0;
}
