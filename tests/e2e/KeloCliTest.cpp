// The kelo command-line client against a real TavKeloASM --simulate process: members by name,
// one saved object per user and server, the simulator's operator surface, the live readings, and
// the exit status of each kind of failure.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "E2eRig.hpp"
#include "client/AutomationClient.hpp"

namespace tavkelo::e2e {
namespace {

namespace fs = std::filesystem;

class KeloCli : public ::testing::Test {
 protected:
  KeloCli() {
    rig.WriteIni(0);
    server = rig.StartServer({"--simulate"});
  }
  ~KeloCli() override { E2eRig::Stop(server); }
  RunResult Kelo(const std::vector<std::string>& args) { return rig.Kelo(server.url, args); }
  std::vector<fs::path> SavedObjects() const {
    std::vector<fs::path> files;
    for (const auto& e : fs::directory_iterator(rig.RuntimeDir())) {
      if (e.path().filename().string().rfind("kelo-object-", 0) == 0) files.push_back(e.path());
    }
    return files;
  }

  E2eRig rig;
  E2eRig::Server server;
};

std::string Show(const RunResult& r) {
  return "status " + (r.status ? std::to_string(*r.status) : std::string("none")) + "\nout [" + r.out + "]\nerr [" + r.err + "]";
}

TEST_F(KeloCli, ListsTheTypeLibraryWithoutAnObject) {
  RunResult all = Kelo({"typelib"});
  ASSERT_EQ(all.status, 0) << Show(all);
  EXPECT_NE(all.out.find("method  RaiseLifts(TWDLift As Boolean, FWDLift As Boolean) As QRTXErrorConstants   [talks to the dyne]\n"),
            std::string::npos)
      << all.out.substr(0, 2000);
  EXPECT_NE(all.out.find("put  AutoUpdateEnabled(value As Boolean)\n"), std::string::npos);
  EXPECT_NE(all.out.find("enum  QRTXErrorConstants: gQRTXErrNoError=0 "), std::string::npos);
  RunResult one = Kelo({"typelib", "getparasiticsatspeed"});
  ASSERT_EQ(one.status, 0) << Show(one);
  EXPECT_EQ(one.out,
            "method  GetParasiticsAtSpeed(TheSpeed As Single, ByRef TWDRawPara As Single, ByRef FWDRawPara As Single, "
            "ByRef TWDUnseenPara As Single, ByRef FWDUnseenPara As Single) As QRTXErrorConstants\n");
  EXPECT_TRUE(SavedObjects().empty()) << "the type library needs no object";
}

TEST_F(KeloCli, DrivesTheSimulatedDyneWithOneSavedObject) {
  struct Step {
    std::vector<std::string> args;
    const char* out;  // the whole standard output, or a regular expression when it starts with "^"
  };
  const Step steps[] = {
      {{"call", "Init", "true", "1", "9600", "N"}, ""},
      {{"call", "Connect"}, "true\n"},
      {{"get", "Connected"}, "true\n"},
      {{"get", "PrimarySpeedMPH"}, R"(^-?\d+(\.\d+)?(e-?\d+)?\n$)"},
      {{"get", "RollDiameter"}, R"(^8\.555\d*\n$)"},
      {{"get", "CurTest"}, "0 (gQRTXTINoTest)\n"},
      {{"call", "RaiseLifts", "true", "false"}, "0 (No Error)\n"},
      {{"call", "RaiseLifts", "false", "true"}, "2 (Dev: Invalid Parameter)\n"},
      {{"call", "LowerLifts", "yes", "no"}, "0 (No Error)\n"},
      {{"call", "ErrorConstantToString", "gQRTXErrNoLinkToDevice"}, "DI: No Link To Device\n"},
      {{"call", "GetParasiticsAtSpeed", "20"},
       R"(^0 \(No Error\)\nFWDRawPara = 0\.0\nFWDUnseenPara = 0\.0\nTWDRawPara = 0\.0\nTWDUnseenPara = \d+\.\d+\n$)"},
      {{"put", "AutoUpdateEnabled", "false"}, ""},
      {{"get", "AutoUpdateEnabled"}, "false\n"},
      {{"put", "AutoUpdateEnabled", "true"}, ""},
      {{"get", "VehSimTestOnlyIntegrateInWindow", "1"}, R"(^(true|false)\n$)"},
      {{"sim", "status"}, R"(^speed [\s\S]*write access open, requests \d+, line attached\n$)"},
  };
  for (size_t i = 0; i < std::size(steps); ++i) {
    const Step& s = steps[i];
    RunResult r = Kelo(s.args);
    std::string label = "kelo";
    for (const std::string& a : s.args) label += " " + a;
    ASSERT_EQ(r.status, 0) << label << "\n" << Show(r);
    if (s.out[0] == '^') {
      EXPECT_TRUE(std::regex_match(r.out, std::regex(s.out))) << label << "\n" << Show(r);
    } else {
      EXPECT_EQ(r.out, s.out) << label;
    }
    // The first command creates this user's object; the others use it.
    EXPECT_EQ(r.err.find("kelo: created object ") == 0, i == 0) << label << "\n" << r.err;
  }
  ASSERT_EQ(SavedObjects().size(), 1u) << "the object id is kept under XDG_RUNTIME_DIR";
  std::string id = test::ReadFile(SavedObjects()[0].string());
  id.erase(id.find_last_not_of("\n") + 1);
  AutomationClient client(server.url);
  EXPECT_EQ(client.Request("GET", "/api/server")["objects"], 1);

  RunResult watch = Kelo({"watch", "--count", "2"});
  ASSERT_EQ(watch.status, 0) << Show(watch);
  std::regex header("TavKeloASM " + server.url + "  (connected|not connected)\n");
  EXPECT_EQ(std::distance(std::sregex_iterator(watch.out.begin(), watch.out.end(), header), std::sregex_iterator()), 2)
      << watch.out;
  EXPECT_NE(watch.out.find("speed "), std::string::npos);

  RunResult release = Kelo({"release"});
  ASSERT_EQ(release.status, 0) << Show(release);
  EXPECT_EQ(release.out, "released " + id + "\n");
  EXPECT_TRUE(SavedObjects().empty());
  EXPECT_EQ(client.Request("GET", "/api/server")["objects"], 0);
}

struct Failure {
  std::vector<std::string> args;
  int status;
  const char* err;
};

TEST_F(KeloCli, EachKindOfFailureHasItsExitStatusAndMessage) {
  const Failure cases[] = {
      // refused by the server: 1
      {{"call", "RaiseLifts", "true"}, 1, "kelo: RaiseLifts takes 2 arguments, got 1\n"},
      {{"call", "Frobnicate"}, 1, "kelo: clsKeloInterface has no method Frobnicate\n"},
      {{"get", "Frobnicate"}, 1, "kelo: clsKeloInterface has no property Frobnicate\n"},
      {{"put", "Connected", "true"}, 1, "kelo: property Connected is read-only\n"},
      {{"call", "Init", "true", "40000", "9600", "N"}, 1,
       "kelo: argument SerialPort (Integer): 40000 is out of range -32768 to 32767\n"},
      {{"call", "GetSystemParameter", "300"}, 1, "kelo: argument WhichParam (Byte): 300 is out of range 0 to 255\n"},
      {{"sim", "nonsense-command"}, 1, ""},
      // a bad argument on the command line: 2
      {{"call", "RaiseLifts", "maybe", "false"}, 2, "kelo: TWDLift wants true or false, not 'maybe'\n"},
      {{"call", "SetWarmupTestParameters", "ten"}, 2, "kelo: NewWarmupTimeSeconds (Single) wants a number, not 'ten'\n"},
      {{"call", "StartTest", "gQRTXTINoSuchTest"}, 2,
       "kelo: TestIndex (QRTXTestIndeces) wants a number, not 'gQRTXTINoSuchTest'\n"},
      {{"get", "VehSimTestOnlyIntegrateInWindow"}, 2, "kelo: VehSimTestOnlyIntegrateInWindow needs WhichWin\n"},
  };
  for (const auto& c : cases) {
    std::string label = "kelo";
    for (const std::string& a : c.args) label += " " + a;
    RunResult r = Kelo(c.args);
    EXPECT_EQ(r.status, c.status) << label << "\n" << Show(r);
    if (*c.err != '\0') {
      // The first command of the run also says that it created the object.
      std::string err = r.err;
      if (err.rfind("kelo: created object ", 0) == 0) err = err.substr(err.find('\n') + 1);
      EXPECT_EQ(err, c.err) << label;
    }
  }
}

TEST_F(KeloCli, AServerThatCannotBeReachedIsAFailureToo) {
  E2eRig::Stop(server);
  RunResult r = Kelo({"get", "Connected"});
  EXPECT_EQ(r.status, 1) << Show(r);
  EXPECT_EQ(r.err.rfind("kelo: cannot reach TavKeloASM at " + server.url + " (", 0), 0u) << r.err;
}

}  // namespace
}  // namespace tavkelo::e2e
