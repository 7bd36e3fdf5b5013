// TavKeloASM as a real process: a client of the generated remote interface drives the dyne behind
// kelo-sim over a pseudo-terminal or TCP; leases release abandoned objects; one instance per
// name; the registration switches; bad options and unsafe listeners; a clean stop on SIGTERM.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "E2eRig.hpp"
#include "RemoteKeloInterface.hpp"
#include "platform/SingleInstanceLock.hpp"
#include "support/LoopbackSocket.hpp"

namespace tavkelo::e2e {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Polls `read` until it returns `expected` or ten seconds have passed; returns the last value read.
template <class F>
auto PollUntil(F read, decltype(read()) expected) {
  const auto deadline = Clock::now() + Millis(10000);
  auto value = read();
  while (value != expected && Clock::now() < deadline) {
    std::this_thread::sleep_for(Millis(50));
    value = read();
  }
  return value;
}

class ServerOverALine : public ::testing::TestWithParam<bool> {
};  // true: TCP, false: a pseudo-terminal

TEST_P(ServerOverALine, AClientDrivesTheDyneThroughTheServerAndTheServerStopsCleanly) {
  E2eRig rig;
  rig.WriteIni(63);
  const std::string device = rig.StartSim(GetParam());
  E2eRig::Server server = rig.StartServer({"--port", "1=" + device});
  EXPECT_NE(server.process->Stdout().find("  port 1: " + device + "\n"), std::string::npos)
      << Describe(*server.process);
  {
    AutomationClient client(server.url);
    RemoteKeloInterface k(client);
    k.Init(true, 1, 9600, "N");
    ASSERT_TRUE(k.Connect()) << rig.LogText();
    EXPECT_TRUE(k.Connected());
    EXPECT_EQ(k.SerialPort(), 1);
    EXPECT_EQ(k.Parity(), "N");
    EXPECT_NEAR(k.RollDiameter(), 8.555, 0.001) << "the simulated dyne's 217.3 mm rolls";
    EXPECT_NEAR(k.PrimarySpeedMPH(), 0.0, 0.1) << "the rolls stand still";
    EXPECT_NEAR(k.SlaveVersion(), 3.12, 1e-4);
    EXPECT_EQ(k.RaiseLifts(true, false), gQRTXErrNoError);
    EXPECT_EQ(k.LowerLifts(true, false), gQRTXErrNoError) << "a test starts with the lifts down";
    EXPECT_EQ(k.StartTest(gQRTXTIConstantTarget), gQRTXErrNoError);
    EXPECT_EQ(k.CurTest(), gQRTXTIConstantTarget);
    EXPECT_EQ(k.StopTest(), gQRTXErrNoError);
    EXPECT_EQ(PollUntil([&] { return k.CurTest(); }, gQRTXTINoTest), gQRTXTINoTest);
    EXPECT_EQ(k.LastTestCompletionStatus(), gQRTXLTCSICompleted);
    float raw = 9, fwdRaw = 9, unseen = 9, fwdUnseen = 9;
    EXPECT_EQ(k.GetParasiticsAtSpeed(20.0f, raw, fwdRaw, unseen, fwdUnseen), gQRTXErrNoError);
    EXPECT_TRUE(raw == 0 && fwdRaw == 0 && fwdUnseen == 0 && unseen > 0 && unseen < 100)
        << "by reference: " << unseen;
  }  // the object is released, and the client's connection closed: the stop need not wait for it
  EXPECT_EQ(AutomationClient(server.url).Request("GET", "/api/server")["objects"], 0);

  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
  EXPECT_NE(server.process->Stdout().find("TavKeloASM: stopped\n"), std::string::npos)
      << Describe(*server.process);
  // The log in DATA and the INI given with --ini, nothing beside the executable.
  ASSERT_EQ(rig.LogFiles().size(), 1u) << "one log file in " << rig.DataDir();
  const std::string log = rig.LogText();
  for (const char* line : {"TavKeloASM: Main - Ver: ", " - Logging Control[63, 0x003F]",
                           "TavKeloASM-Log-ClsCal:T ComErr:T MisCmd:T DynTst:T RawCom:T GetVar:T",
                           "clsKeloInterface: Init Act:True COM1: [9600,N,8,1]",
                           "clsKeloInterface: Connect - 'COM1'  Settings: 9600,N,8,1  ... Success",
                           "clsKeloInterface: RaiseLifts - No Error",
                           "clsKeloInterface: StartTest(Constant Target) - No Error",
                           "clsKeloInterface: Class_Terminate - Complete"}) {
    EXPECT_NE(log.find(line), std::string::npos) << "the log lacks: " << line;
  }
  EXPECT_NE(log.find("TavKeloASM-Log:'" + rig.LogFiles()[0] + "'"), std::string::npos);
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Connect - 'COM1'"), 1) << "the client's one connect";
  EXPECT_EQ(rig.LogCount("... Fail."), 0);
  const std::string ini = test::ReadFile(rig.IniPath());
  EXPECT_NE(ini.find("RawSetting=63"), std::string::npos);
  EXPECT_NE(ini.find("ZeroFillVariableNumber="), std::string::npos) << ini;
}

INSTANTIATE_TEST_SUITE_P(Transports, ServerOverALine, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "Tcp" : "PseudoTerminal";
                         });

TEST(ServerProcess, AnAbandonedObjectIsReleasedWhenItsLeaseRunsOut) {
  E2eRig rig;
  rig.WriteIni(1);
  E2eRig::Server server = rig.StartServer({"--simulate", "--lease", "2"});
  {
    AutomationClient client(server.url);
    RemoteKeloInterface object(client);
    EXPECT_EQ(object.LeaseSeconds(), 2);
    const auto lastUse = Clock::now();
    object.Abandon();  // the client goes quiet: no pings, no release
    EXPECT_EQ(
        PollUntil([&] { return client.Request("GET", "/api/server")["objects"].get<int>(); }, 0),
        0);
    EXPECT_GT(SecondsSince(lastUse), 1.9) << "not before the lease ran out";
    EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate - Complete"), 1) << rig.LogText();
  }  // an idle keep-alive connection would hold the stop back
  EXPECT_EQ(E2eRig::Stop(server), 0);
}

TEST(ServerProcess, SigtermReleasesALiveObjectWhichDisconnectsTheLink) {
  E2eRig rig;
  rig.WriteIni(1);
  const std::string device = rig.StartSim(false);
  E2eRig::Server server = rig.StartServer({"--port", "1=" + device, "--lease", "600"});
  {
    AutomationClient client(server.url);
    RemoteKeloInterface k(client);
    k.Init(true, 1, 9600, "N");
    ASSERT_TRUE(k.Connect()) << rig.LogText();
    k.Abandon();  // the object stays, connected, when this client goes away
  }
  EXPECT_EQ(AutomationClient(server.url).Request("GET", "/api/server")["objects"], 1);
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate"), 0);

  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
  EXPECT_NE(server.process->Stdout().find("TavKeloASM: stopped\n"), std::string::npos)
      << Describe(*server.process);
  // The stop releases the client's object, which disconnects the link, then the server's own
  // console object, which was never connected.
  const std::string log = rig.LogText();
  std::vector<std::string> released;
  const std::string prefix = "clsKeloInterface: ";
  for (size_t at = log.find("... Success"); (at = log.find(prefix, at)) != std::string::npos;) {
    const size_t end = log.find("\r\n", at);
    released.push_back(log.substr(at + prefix.size(), end - at - prefix.size()));
    at = end;
  }
  const std::vector<std::string> expected = {"Class_Terminate",
                                             "DisConnect",
                                             "Disconnect...",
                                             "Class_Terminate - Complete",
                                             "Class_Terminate",
                                             "DisConnect",
                                             "Class_Terminate - Complete"};
  EXPECT_EQ(released, expected) << log;
}

TEST(ServerProcess, ClientsCreatingObjectsWhileTheConsoleConnectsWaitTheirTurn) {
  // A free loopback port, so that a client can knock before the server says where it serves.
  const int port = test::LoopbackSocket(false).Port();
  std::atomic<bool> done{false};
  std::atomic<int> created{0}, attempts{0};
  std::thread knocking([&] {
    const auto deadline = Clock::now() + Millis(30000);
    while (!done && Clock::now() < deadline) {
      httplib::Client client("127.0.0.1", port);
      client.set_connection_timeout(0, 200'000);
      ++attempts;
      if (auto r = client.Post("/automation/objects", "{}", "application/json");
          r && r->status == 201)
        ++created;
      std::this_thread::sleep_for(Millis(5));
    }
  });
  struct JoinAtEnd {  // also when the start fails and throws
    std::atomic<bool>& done;
    std::thread& thread;
    ~JoinAtEnd() {
      done = true;
      thread.join();
    }
  } joinAtEnd{done, knocking};
  E2eRig rig;
  rig.WriteIni(1);
  E2eRig::Server server = rig.StartServer({"--simulate"}, "127.0.0.1:" + std::to_string(port));
  EXPECT_NE(server.process->Stdout().find("console connected to port 1: yes"), std::string::npos)
      << Describe(*server.process);
  EXPECT_EQ(PollUntil([&] { return created.load() >= 3; }, true), true) << attempts << " attempts";
  done = true;
  EXPECT_GE(AutomationClient(server.url).Request("GET", "/api/server")["objects"].get<int>(), 3);
  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
}

TEST(ServerProcess, ASecondServerOfTheSameInstanceEndsAtOnceAndWritesNothing) {
  E2eRig rig;
  rig.WriteIni(63);
  // No console and no poller: the first server's log stays quiet, so any new line is the second's.
  E2eRig::Server first = rig.StartServer({});
  const std::string logBefore = rig.LogText();
  const std::string iniBefore = test::ReadFile(rig.IniPath());
  ASSERT_EQ(rig.LogCount("Kelo Dyne Log Data - "), 1);

  // The lock is the machine's, whatever folders the second start's environment names.
  const std::string elsewhere = rig.DataDir() + "/elsewhere";
  fs::create_directories(elsewhere);
  const Environment moved{{"XDG_RUNTIME_DIR", elsewhere}, {"TMPDIR", elsewhere}};
  for (const Environment& env : {Environment{}, moved}) {
    SCOPED_TRACE(env.empty() ? "the same environment" : "another XDG_RUNTIME_DIR and TMPDIR");
    const auto started = Clock::now();
    RunResult second = rig.RunServer({"--listen", "127.0.0.1:0", "--simulate"}, env);
    EXPECT_EQ(second.status, 3);
    EXPECT_EQ(second.err, "TavKeloASM: another instance is already running\n");
    EXPECT_EQ(second.out, "") << "it serves nothing";
    EXPECT_LT(SecondsSince(started), 5.0);
    EXPECT_EQ(rig.LogText(), logBefore) << "no log line";
    EXPECT_EQ(test::ReadFile(rig.IniPath()), iniBefore);
    EXPECT_EQ(first.process->Wait(Millis(0)), std::nullopt) << "the first serves on";
  }
  // The first server's semaphore names (its console object holds them) were left alone.
  for (const char* name : {"KeloReadingsLock", "KeloInterfaceLock"}) {
    EXPECT_TRUE(fs::exists("/dev/shm/sem." + std::string(name) + "." + rig.Instance())) << name;
  }

  // After the first stops, the name is free again.
  ASSERT_EQ(E2eRig::Stop(first), 0);
  E2eRig::Server again = rig.StartServer({"--simulate"});
  EXPECT_EQ(E2eRig::Stop(again), 0);
}

TEST(ServerProcess, RegistrationSwitchesInstallOrRemoveTheUserUnitAndDoNothingElse) {
  struct Registration {
    std::vector<std::string> args;
    bool onlyHome;          // XDG_CONFIG_HOME empty: the unit goes under $HOME/.config
    const char* printed;    // the start of what it prints
    const char* execStart;  // what follows the program in ExecStart; nullptr: no unit afterwards
  };
  const Registration cases[] = {
      {{"/REG"}, false, "TavKeloASM: installed ", ""},
      {{"/unreg"}, false, "TavKeloASM: removed ", nullptr},
      {{"/unreg"}, false, "TavKeloASM: no unit at ", nullptr},
      {{"-reg", "--simulate", "--lease", "60"},
       false,
       "TavKeloASM: installed ",
       " --simulate --lease 60"},
      {{"-UNREG"}, false, "TavKeloASM: removed ", nullptr},
      {{"--simulate", "/RegServer"}, true, "TavKeloASM: installed ", " --simulate"},
      {{"/UnRegServer"}, true, "TavKeloASM: removed ", nullptr},
  };
  E2eRig rig;
  rig.WriteIni(63);
  const std::string iniBefore = test::ReadFile(rig.IniPath());
  for (const auto& c : cases) {
    std::string label;
    for (const std::string& a : c.args) label += a + " ";
    const std::string unit = (c.onlyHome ? rig.Env()["HOME"] + "/.config" : rig.ConfigDir()) +
                             "/systemd/user/TavKeloASM.service";
    const auto started = Clock::now();
    RunResult r =
        rig.RunServer(c.args, c.onlyHome ? Environment{{"XDG_CONFIG_HOME", ""}} : Environment{});
    EXPECT_EQ(r.status, 0) << label << r.err;
    EXPECT_LT(SecondsSince(started), 5.0) << label;
    EXPECT_EQ(r.out.rfind(c.printed, 0), 0u) << label << r.out;
    EXPECT_NE(r.out.find(unit), std::string::npos) << label << r.out;
    EXPECT_EQ(fs::exists(unit), c.execStart != nullptr) << label;
    if (c.execStart != nullptr && fs::exists(unit)) {
      std::string text = test::ReadFile(unit);
      EXPECT_NE(text.find(std::string("ExecStart=") + kServerExe + " --instance " + rig.Instance() +
                          " --ini " + rig.IniPath() + c.execStart + "\n"),
                std::string::npos)
          << label << "\n"
          << text;
      EXPECT_NE(text.find("[Install]\nWantedBy=default.target\n"), std::string::npos) << text;
    }
    EXPECT_TRUE(rig.LogFiles().empty()) << label << ": no log";
    EXPECT_EQ(test::ReadFile(rig.IniPath()), iniBefore) << label << ": no settings read or written";
    EXPECT_FALSE(fs::exists(SingleInstanceLock::DefaultPath("TavKeloASM." + rig.Instance())))
        << label << ": no lock";
  }
}

TEST(ServerProcess, BadOptionsAndUnsafeListenersEndTheServerWithAUsageStatus) {
  E2eRig rig;
  const std::string tokens = rig.DataDir() + "/tokens";
  test::WriteFile(tokens, "station control 0123456789abcdef0123\n");
  ::chmod(tokens.c_str(), 0644);
  struct Case {
    std::vector<std::string> args;
    std::string says;
  };
  const Case cases[] = {
      {{"--port", "0=sim"}, "TavKeloASM: --port: port number must be 1 to 255, got '0'\n"},
      {{"--listen", "5180"}, "TavKeloASM: --listen wants ADDR:PORT, got '5180'\n"},
      {{"--listen", "0.0.0.0:0"},
       "TavKeloASM: listening on 0.0.0.0 serves the dyne's API beyond this machine: give "
       "--token-file PATH"},
      {{"--token-file", tokens},
       "TavKeloASM: the token file " + tokens + " is open to other users (mode 0644)"},
      {{"--require-token"}, "TavKeloASM: --require-token needs --token-file\n"},
  };
  for (const Case& c : cases) {
    RunResult r = rig.RunServer(c.args);
    EXPECT_EQ(r.status, 2) << c.says;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
    EXPECT_EQ(r.out.find("serving"), std::string::npos);
  }
}

}  // namespace
}  // namespace tavkelo::e2e

namespace tavkelo::e2e {
namespace {

// The readings answer of a server process, polled in real time until `done` holds (a bound that
// only stops a broken run from hanging).
nlohmann::json ReadingsUntil(const std::string& url,
                             const std::function<bool(const nlohmann::json&)>& done) {
  AutomationClient client(url);
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(40);
  nlohmann::json readings;
  while (std::chrono::steady_clock::now() < until) {
    readings = client.Request("GET", "/api/readings");
    if (done(readings)) return readings;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return readings;
}

TEST(ServerProcess, TheServerReconnectsByItselfWhenKeloSimIsKilledAndStartedAgain) {
  E2eRig rig;
  rig.WriteIni(1);
  const std::string device = rig.StartSim(true);
  const std::string address = device.substr(std::string("socket://").size());
  E2eRig::Server server = rig.StartServer({"--port", "1=" + device, "--lease", "600"});
  {
    AutomationClient client(server.url);
    RemoteKeloInterface k(client);
    k.Init(true, 1, 9600, "N");
    ASSERT_TRUE(k.Connect()) << rig.LogText();
    k.Abandon();  // the object stays connected; no client calls Connect again
  }
  ASSERT_GT(ReadingsUntil(server.url,
                          [](const nlohmann::json& r) {
                            return r["counters"]["statusReplies"].get<int64_t>() > 0;
                          })["counters"]["statusReplies"]
                .get<int64_t>(),
            0);

  rig.KillSims();
  nlohmann::json lost = ReadingsUntil(
      server.url, [](const nlohmann::json& r) { return r["link"]["reconnecting"] == true; });
  ASSERT_EQ(lost["link"]["reconnecting"], true) << lost.dump();
  static const std::regex text(R"(^link lost, reconnecting \(attempt \d+, next in \d+ s\)$)");
  EXPECT_TRUE(std::regex_match(lost["link"]["text"].get<std::string>(), text)) << lost.dump();
  EXPECT_GE(lost["counters"]["commEvents"], 1);

  rig.StartSim(true, address);
  nlohmann::json back = ReadingsUntil(server.url, [&](const nlohmann::json& r) {
    return r["link"]["reconnecting"] == false && r["link"]["restored"] == 1;
  });
  EXPECT_EQ(back["link"]["reconnecting"], false) << back.dump();
  EXPECT_EQ(back["link"]["restored"], 1) << back.dump();
  EXPECT_EQ(back["connected"], true);
  // Polling resumed: the status replies go on counting.
  const int64_t repliesBack = back["counters"]["statusReplies"];
  nlohmann::json polling = ReadingsUntil(server.url, [&](const nlohmann::json& r) {
    return r["counters"]["statusReplies"].get<int64_t>() > repliesBack + 1;
  });
  EXPECT_GT(polling["counters"]["statusReplies"].get<int64_t>(), repliesBack + 1);
  EXPECT_EQ(rig.LogCount("LinkRecovery - link restored at attempt "), 1) << rig.LogText();
  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
}

}  // namespace
}  // namespace tavkelo::e2e

namespace tavkelo::e2e {
namespace {

// With --tls-cert and --tls-key the server answers HTTPS only: a client that trusts the
// certificate reads the API, plain HTTP on the same port gets no answer, and a key that cannot be
// loaded ends the start with its reason.
TEST(ServerProcess, WithACertificateItServesHttpsOnly) {
  E2eRig rig;
  const std::string cert = rig.DataDir() + "/server.crt";
  const std::string key = rig.DataDir() + "/server.key";
  RunResult made = RunToEnd(
      {"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out",
       cert, "-days", "2", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"},
      {}, std::chrono::seconds(60));
  ASSERT_EQ(made.status, 0) << made.err;

  E2eRig::Server server = rig.StartServer({"--simulate", "--tls-cert", cert, "--tls-key", key});
  ASSERT_EQ(server.url.rfind("https://127.0.0.1:", 0), 0u) << server.url;
  const int port = std::stoi(server.url.substr(server.url.rfind(':') + 1));

  httplib::SSLClient tls("127.0.0.1", port);
  tls.set_ca_cert_path(cert.c_str());
  tls.enable_server_certificate_verification(true);
  auto readings = tls.Get("/api/readings");
  ASSERT_TRUE(readings) << httplib::to_string(readings.error());
  EXPECT_EQ(readings->status, 200);
  EXPECT_NE(readings->body.find("\"connected\""), std::string::npos) << readings->body;
  auto session = tls.Get("/api/session");
  ASSERT_TRUE(session);
  EXPECT_EQ(session->status, 200);

  httplib::Client plain("127.0.0.1", port);
  plain.set_read_timeout(3, 0);
  auto refused = plain.Get("/api/readings");
  EXPECT_TRUE(!refused || refused->status != 200) << "plain HTTP was served";
  EXPECT_EQ(rig.Stop(server), 0);

  test::WriteFile(key, "not a key\n");
  RunResult bad = rig.RunServer({"--tls-cert", cert, "--tls-key", key});
  EXPECT_EQ(bad.status, 4);
  EXPECT_NE(bad.err.find("TavKeloASM: cannot load the TLS certificate " + cert), std::string::npos)
      << bad.err;
}

}  // namespace
}  // namespace tavkelo::e2e
