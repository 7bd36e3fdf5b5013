// The kelo command-line client against a real TavKeloASM --simulate process: the type library,
// members by name on one saved object per user and server, the simulator's operator surface, the
// live readings, and the exit status of each kind of failure.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "E2eRig.hpp"
#include "client/AutomationClient.hpp"

namespace tavkelo::e2e {
namespace {

namespace fs = std::filesystem;

std::string Show(const RunResult& r) {
  return "status " + (r.status ? std::to_string(*r.status) : std::string("none")) + "\nout [" +
         r.out + "]\nerr [" + r.err + "]";
}

TEST(KeloCli, ASessionWithOneSavedObjectAndTheExitStatusOfEachKindOfFailure) {
  E2eRig rig;
  rig.WriteIni(0);
  E2eRig::Server server = rig.StartServer({"--simulate"});
  auto kelo = [&](const std::vector<std::string>& args) { return rig.Kelo(server.url, args); };
  auto saved = [&] {
    std::vector<std::string> files;
    for (const auto& e : fs::directory_iterator(rig.RuntimeDir())) {
      if (e.path().filename().string().rfind("kelo-object-", 0) == 0)
        files.push_back(e.path().string());
    }
    return files;
  };

  RunResult all = kelo({"typelib"});
  ASSERT_EQ(all.status, 0) << Show(all);
  for (const char* line :
       {"\nmethod  RaiseLifts(TWDLift As Boolean, FWDLift As Boolean) As QRTXErrorConstants   "
        "[talks to the dyne]\n",
        "\nput  AutoUpdateEnabled(value As Boolean)\n",
        "\nenum  QRTXErrorConstants: gQRTXErrNoError=0 "}) {
    EXPECT_NE(all.out.find(line), std::string::npos) << line;
  }
  RunResult one = kelo({"typelib", "getparasiticsatspeed"});
  EXPECT_EQ(
      one.out,
      "method  GetParasiticsAtSpeed(TheSpeed As Single, ByRef TWDRawPara As Single, ByRef "
      "FWDRawPara As Single, "
      "ByRef TWDUnseenPara As Single, ByRef FWDUnseenPara As Single) As QRTXErrorConstants\n");
  EXPECT_TRUE(saved().empty()) << "the type library needs no object";

  struct Step {
    std::vector<std::string> args;
    int status;
    // Status 0: the whole standard output, or a regular expression when it starts with "^".
    // Otherwise the standard error.
    const char* text;
  };
  const Step steps[] = {
      {{"call", "Init", "true", "1", "9600", "N"}, 0, ""},
      {{"call", "Connect"}, 0, "true\n"},
      {{"get", "Connected"}, 0, "true\n"},
      {{"get", "RollDiameter"}, 0, R"(^8\.555\d*\n$)"},
      {{"get", "CurTest"}, 0, "0 (gQRTXTINoTest)\n"},
      {{"call", "RaiseLifts", "true", "false"}, 0, "0 (No Error)\n"},
      {{"call", "RaiseLifts", "false", "true"}, 0, "2 (Dev: Invalid Parameter)\n"},
      {{"call", "LowerLifts", "yes", "no"}, 0, "0 (No Error)\n"},
      {{"call", "ErrorConstantToString", "gQRTXErrNoLinkToDevice"}, 0, "DI: No Link To Device\n"},
      {{"call", "GetParasiticsAtSpeed", "20"},
       0,
       R"(^0 \(No Error\)\nFWDRawPara = 0\.0\nFWDUnseenPara = 0\.0\nTWDRawPara = 0\.0\nTWDUnseenPara = \d+\.\d+\n$)"},
      {{"put", "AutoUpdateEnabled", "false"}, 0, ""},
      {{"get", "AutoUpdateEnabled"}, 0, "false\n"},
      {{"get", "VehSimTestOnlyIntegrateInWindow", "1"}, 0, R"(^(true|false)\n$)"},
      {{"sim", "status"}, 0, R"(^speed [\s\S]*write access open, requests \d+, line attached\n$)"},
      // refused by the server: 1
      {{"call", "RaiseLifts", "true"}, 1, "kelo: RaiseLifts takes 2 arguments, got 1\n"},
      {{"put", "Connected", "true"}, 1, "kelo: property Connected is read-only\n"},
      // a bad argument on the command line: 2
      {{"call", "RaiseLifts", "maybe", "false"},
       2,
       "kelo: TWDLift wants true or false, not 'maybe'\n"},
      {{"call", "SetWarmupTestParameters", "ten"},
       2,
       "kelo: NewWarmupTimeSeconds (Single) wants a number, not 'ten'\n"},
      {{"call", "StartTest", "gQRTXTINoSuchTest"},
       2,
       "kelo: TestIndex (QRTXTestIndeces) wants a number, not 'gQRTXTINoSuchTest'\n"},
      {{"get", "VehSimTestOnlyIntegrateInWindow"},
       2,
       "kelo: VehSimTestOnlyIntegrateInWindow needs WhichWin\n"},
  };
  for (size_t i = 0; i < std::size(steps); ++i) {
    const Step& s = steps[i];
    std::string label = "kelo";
    for (const std::string& a : s.args) label += " " + a;
    RunResult r = kelo(s.args);
    ASSERT_EQ(r.status, s.status) << label << "\n" << Show(r);
    // The first command creates this user's object; the others use it.
    EXPECT_EQ(r.err.rfind("kelo: created object ", 0) == 0, i == 0) << label << "\n" << r.err;
    if (s.status != 0) {
      EXPECT_EQ(r.err, s.text) << label;
    } else if (s.text[0] == '^') {
      EXPECT_TRUE(std::regex_match(r.out, std::regex(s.text))) << label << "\n" << Show(r);
    } else {
      EXPECT_EQ(r.out, s.text) << label;
    }
  }
  ASSERT_EQ(saved().size(), 1u) << "the object id is kept under XDG_RUNTIME_DIR";
  std::string id = test::ReadFile(saved()[0]);
  id.erase(id.find_last_not_of("\n") + 1);

  RunResult watch = kelo({"watch", "--count", "2"});
  ASSERT_EQ(watch.status, 0) << Show(watch);
  std::regex header("TavKeloASM " + server.url + "  (connected|not connected)\n");
  EXPECT_EQ(std::distance(std::sregex_iterator(watch.out.begin(), watch.out.end(), header),
                          std::sregex_iterator()),
            2)
      << watch.out;
  EXPECT_NE(watch.out.find("speed "), std::string::npos);

  RunResult release = kelo({"release"});
  ASSERT_EQ(release.status, 0) << Show(release);
  EXPECT_EQ(release.out, "released " + id + "\n");
  EXPECT_TRUE(saved().empty());
  EXPECT_EQ(AutomationClient(server.url).Request("GET", "/api/server")["objects"], 0);

  ASSERT_EQ(E2eRig::Stop(server), 0);
  RunResult unreachable = kelo({"get", "Connected"});
  EXPECT_EQ(unreachable.status, 1) << Show(unreachable);
  EXPECT_EQ(unreachable.err.rfind("kelo: cannot reach TavKeloASM at " + server.url + " (", 0), 0u)
      << unreachable.err;
}

}  // namespace
}  // namespace tavkelo::e2e
