// TavKeloASM as a real process: a client of the generated remote interface drives the dyne behind
// kelo-sim over a pseudo-terminal or TCP; leases release abandoned objects; one instance per
// name; the registration switches; a clean stop on SIGTERM.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "E2eRig.hpp"
#include "RemoteKeloInterface.hpp"

namespace tavkelo::e2e {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// Polls `read` until it returns `expected` or the time runs out; returns the last value read.
template <class F>
auto PollUntil(F read, decltype(read()) expected, Millis timeout) {
  const auto deadline = Clock::now() + timeout;
  auto value = read();
  while (value != expected && Clock::now() < deadline) {
    std::this_thread::sleep_for(Millis(50));
    value = read();
  }
  return value;
}

struct Transport {
  const char* name;
  bool tcp;
};

void PrintTo(const Transport& t, std::ostream* out) { *out << t.name; }

class ServerOverALine : public ::testing::TestWithParam<Transport> {
 protected:
  E2eRig rig;
};

TEST_P(ServerOverALine, AClientDrivesTheDyneThroughTheServerAndTheServerStopsCleanly) {
  rig.WriteIni(63);
  const std::string device =
      GetParam().tcp ? "socket://127.0.0.1:" + std::to_string(rig.StartSimOnTcp()) : rig.StartSimOnPty();
  E2eRig::Server server = rig.StartServer({"--port", "1=" + device});
  EXPECT_NE(server.process->Stdout().find("  port 1: " + device + "\n"), std::string::npos) << Describe(*server.process);

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
    EXPECT_GT(k.SlaveVersion(), 0.0f);

    EXPECT_EQ(k.RaiseLifts(true, false), gQRTXErrNoError);
    EXPECT_EQ(k.RaiseLifts(false, true), gQRTXErrInvalidParameter) << "a front-wheel lift alone";
    EXPECT_EQ(k.LowerLifts(true, false), gQRTXErrNoError);

    EXPECT_EQ(k.StartTest(gQRTXTIConstantTarget), gQRTXErrNoError);
    EXPECT_EQ(k.CurTest(), gQRTXTIConstantTarget);
    EXPECT_EQ(k.StartTest(gQRTXTIConstantTarget), gQRTXErrCantStartTestNow) << "one test at a time";
    EXPECT_EQ(k.StopTest(), gQRTXErrNoError);
    EXPECT_EQ(PollUntil([&] { return k.CurTest(); }, gQRTXTINoTest, Millis(10000)), gQRTXTINoTest);
    EXPECT_EQ(k.LastTestCompletionStatus(), gQRTXLTCSICompleted);

    float raw = 9, fwdRaw = 9, unseen = 9, fwdUnseen = 9;
    EXPECT_EQ(k.GetParasiticsAtSpeed(20.0f, raw, fwdRaw, unseen, fwdUnseen), gQRTXErrNoError);
    EXPECT_EQ(raw, 0.0f);
    EXPECT_EQ(fwdRaw, 0.0f);
    EXPECT_EQ(fwdUnseen, 0.0f);
    EXPECT_GT(unseen, 0.0f) << "the loss at 20 mph from the dyne's stored curve";
    EXPECT_LT(unseen, 100.0f);
    EXPECT_EQ(k.ErrorConstantToString(gQRTXErrNoLinkToDevice), "DI: No Link To Device");
  }  // the object is released, and the client's connection closed: the stop need not wait for it
  {
    AutomationClient client(server.url);
    EXPECT_EQ(client.Request("GET", "/api/server")["objects"], 0);
  }

  ASSERT_EQ(E2eRig::Stop(server), 0) << Describe(*server.process);
  EXPECT_NE(server.process->Stdout().find("TavKeloASM: stopped\n"), std::string::npos) << Describe(*server.process);

  // The log in DATA and the INI given with --ini, nothing beside the executable.
  ASSERT_EQ(rig.LogFiles().size(), 1u) << "one log file in " << rig.DataDir();
  const std::string log = rig.LogText();
  for (const char* line : {"TavKeloASM: Main - Ver: ", " - Logging Control[63, 0x003F]",
                           "TavKeloASM-Log-ClsCal:T ComErr:T MisCmd:T DynTst:T RawCom:T GetVar:T",
                           "clsKeloInterface: Init Act:True COM1: [9600,N,8,1]",
                           "clsKeloInterface: Connect - 'COM1'  Settings: 9600,N,8,1  ... Success",
                           "clsKeloInterface: RaiseLifts - No Error", "clsKeloInterface: StartTest(Constant Target) - No Error",
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

INSTANTIATE_TEST_SUITE_P(Transports, ServerOverALine,
                         ::testing::Values(Transport{"PseudoTerminal", false}, Transport{"Tcp", true}),
                         [](const ::testing::TestParamInfo<Transport>& info) { return std::string(info.param.name); });

TEST(ServerProcess, AnAbandonedObjectIsReleasedWhenItsLeaseRunsOut) {
  E2eRig rig;
  rig.WriteIni(1);
  E2eRig::Server server = rig.StartServer({"--simulate", "--lease", "2"});
  auto client = std::make_unique<AutomationClient>(server.url);
  auto object = std::make_unique<RemoteKeloInterface>(*client);
  const std::string id = object->Id();
  EXPECT_EQ(object->LeaseSeconds(), 2);
  EXPECT_FALSE(object->Connected());
  const auto lastUse = Clock::now();
  object->Abandon();  // the client goes quiet: no pings, no release
  object.reset();

  auto objects = [&] { return client->Request("GET", "/api/server")["objects"].get<int>(); };
  EXPECT_EQ(PollUntil(objects, 0, Millis(10000)), 0);
  const double seconds = std::chrono::duration<double>(Clock::now() - lastUse).count();
  EXPECT_GT(seconds, 1.9) << "not before the lease ran out";
  try {
    client->Request("GET", "/automation/objects/" + id + "/properties/Connected");
    ADD_FAILURE() << "the object outlived its lease";
  } catch (const ClientError& e) {
    EXPECT_EQ(e.Status(), 404);
    EXPECT_EQ(std::string(e.what()), "unknown object " + id + " (released, or its lease ran out)");
  }
  EXPECT_EQ(rig.LogCount("clsKeloInterface: Class_Terminate - Complete"), 1) << rig.LogText();

  {
    // A client that keeps pinging keeps its object over the same time.
    RemoteKeloInterface kept(*client);
    std::this_thread::sleep_for(Millis(3500));
    EXPECT_EQ(objects(), 1);
    EXPECT_FALSE(kept.Connected());
  }
  client.reset();  // an idle keep-alive connection would hold the stop back
  EXPECT_EQ(E2eRig::Stop(server), 0);
}

TEST(ServerProcess, ASecondServerOfTheSameInstanceEndsAtOnceAndWritesNothing) {
  E2eRig rig;
  rig.WriteIni(63);
  // No console and no poller: the first server's log stays quiet, so any new line is the second's.
  E2eRig::Server first = rig.StartServer({});
  const size_t logBefore = rig.LogText().size();
  const std::string iniBefore = test::ReadFile(rig.IniPath());
  ASSERT_EQ(rig.LogCount("Kelo Dyne Log Data - "), 1);
  ASSERT_EQ(rig.LogCount("TavKeloASM: Main - Ver: "), 2);

  const auto started = Clock::now();
  RunResult second = RunToEnd({kServerExe, "--instance", rig.Instance(), "--listen", "127.0.0.1:0", "--ini", rig.IniPath(),
                               "--simulate"},
                         rig.Env(), kExitTimeout);
  ASSERT_TRUE(second.status.has_value()) << "the second server kept running";
  EXPECT_EQ(*second.status, 3);
  EXPECT_EQ(second.err, "TavKeloASM: another instance is already running\n");
  EXPECT_EQ(second.out, "") << "it serves nothing";
  EXPECT_LT(std::chrono::duration<double>(Clock::now() - started).count(), 5.0);
  EXPECT_EQ(rig.LogText().size(), logBefore) << "no log line";
  EXPECT_EQ(rig.LogCount("Kelo Dyne Log Data - "), 1);
  EXPECT_EQ(rig.LogCount("TavKeloASM: Main - Ver: "), 2);
  EXPECT_EQ(test::ReadFile(rig.IniPath()), iniBefore);
  EXPECT_TRUE(first.process->Running());

  // Another instance name runs beside it; after the first stops, its name is free again.
  E2eRig other;
  other.WriteIni(0);
  E2eRig::Server beside = other.StartServer({"--simulate"});
  EXPECT_TRUE(beside.process->Running());
  EXPECT_EQ(E2eRig::Stop(beside), 0);
  ASSERT_EQ(E2eRig::Stop(first), 0);
  E2eRig::Server again = rig.StartServer({"--simulate"});
  EXPECT_TRUE(again.process->Running());
  EXPECT_EQ(E2eRig::Stop(again), 0);
}

struct Registration {
  std::vector<std::string> args;
  bool onlyHome;           // XDG_CONFIG_HOME empty: the unit goes under $HOME/.config
  bool installs;           // else removes
  const char* printed;     // start of what it prints
  const char* execStart;   // the arguments that follow the program in ExecStart (installs only)
};

TEST(ServerProcess, RegistrationSwitchesInstallOrRemoveTheUserUnitAndDoNothingElse) {
  const Registration cases[] = {
      {{"/REG"}, false, true, "TavKeloASM: installed ", ""},
      {{"/unreg"}, false, false, "TavKeloASM: removed ", nullptr},
      {{"/unreg"}, false, false, "TavKeloASM: no unit at ", nullptr},
      {{"-reg", "--simulate", "--lease", "60"}, false, true, "TavKeloASM: installed ", " --simulate --lease 60"},
      {{"--simulate", "/RegServer"}, false, true, "TavKeloASM: installed ", " --simulate"},
      {{"-UNREG"}, false, false, "TavKeloASM: removed ", nullptr},
      {{"/Reg"}, true, true, "TavKeloASM: installed ", ""},
      {{"/UnRegServer"}, true, false, "TavKeloASM: removed ", nullptr},
  };
  E2eRig rig;
  rig.WriteIni(63);
  const std::string iniBefore = test::ReadFile(rig.IniPath());
  for (const auto& c : cases) {
    std::string label;
    for (const std::string& a : c.args) label += a + " ";
    Environment env = rig.Env();
    if (c.onlyHome) env["XDG_CONFIG_HOME"] = "";
    const std::string unit = (c.onlyHome ? rig.HomeDir() + "/.config" : rig.ConfigDir()) + "/systemd/user/TavKeloASM.service";
    std::vector<std::string> argv{kServerExe, "--instance", rig.Instance(), "--ini", rig.IniPath()};
    argv.insert(argv.end(), c.args.begin(), c.args.end());

    const auto started = Clock::now();
    RunResult r = RunToEnd(argv, env, kExitTimeout);
    ASSERT_TRUE(r.status.has_value()) << label;
    EXPECT_EQ(*r.status, 0) << label << r.err;
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - started).count(), 5.0) << label;
    EXPECT_EQ(r.out.rfind(c.printed, 0), 0u) << label << r.out;
    EXPECT_NE(r.out.find(unit), std::string::npos) << label << r.out;
    EXPECT_EQ(fs::exists(unit), c.installs) << label;
    if (c.installs) {
      std::string text = test::ReadFile(unit);
      std::string expected = std::string("ExecStart=") + kServerExe + " --instance " + rig.Instance() + " --ini " +
                             rig.IniPath() + c.execStart + "\n";
      EXPECT_NE(text.find(expected), std::string::npos) << label << "\n" << text;
      EXPECT_NE(text.find("[Install]\nWantedBy=default.target\n"), std::string::npos) << text;
    }
    EXPECT_TRUE(rig.LogFiles().empty()) << label << ": no log";
    EXPECT_EQ(test::ReadFile(rig.IniPath()), iniBefore) << label << ": no settings read or written";
    EXPECT_FALSE(fs::exists(rig.RuntimeDir() + "/TavKeloASM." + rig.Instance() + ".lock")) << label << ": no lock";
  }
}

TEST(ServerProcess, BadOptionsEndTheServerWithAUsageStatus) {
  E2eRig rig;
  struct Case {
    std::vector<std::string> args;
    int status;
    const char* says;
  };
  const Case cases[] = {
      {{"--port", "0=sim"}, 2, "TavKeloASM: --port: port number must be 1 to 255, got '0'"},
      {{"--port", "1=socket://nohost"}, 2, "TavKeloASM: --port: expected socket://host:port, got 'socket://nohost'"},
      {{"--listen", "5180"}, 2, "TavKeloASM: --listen wants ADDR:PORT, got '5180'"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> argv{kServerExe, "--instance", rig.Instance(), "--ini", rig.IniPath()};
    argv.insert(argv.end(), c.args.begin(), c.args.end());
    RunResult r = RunToEnd(argv, rig.Env(), kExitTimeout);
    ASSERT_TRUE(r.status.has_value());
    EXPECT_EQ(*r.status, c.status) << c.says;
    EXPECT_NE(r.err.find(c.says), std::string::npos) << r.err;
    EXPECT_EQ(r.out.find("serving"), std::string::npos);
  }
}

}  // namespace
}  // namespace tavkelo::e2e
