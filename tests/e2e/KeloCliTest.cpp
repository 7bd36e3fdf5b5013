// The kelo command-line client against a real TavKeloASM --simulate process: the type library,
// members by name on one saved object per user and server, the simulator's operator surface, the
// live readings, the exit status of each kind of failure, and tokens from --token or
// $TAVKELO_TOKEN with the audit trail they leave.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <sstream>

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

TEST(KeloCli, TokensFromTheOptionOrTheEnvironmentAndTheAuditTrailOfTheRun) {
  E2eRig rig;
  rig.WriteIni(0);
  const std::string control = "ctl-0123456789abcdef";
  const std::string read = "view-0123456789abcdef";
  const std::string tokens = rig.DataDir() + "/tokens";
  test::WriteFile(tokens, "operator control " + control + "\ninspector read " + read + "\n");
  ::chmod(tokens.c_str(), 0600);
  E2eRig::Server server =
      rig.StartServer({"--simulate", "--token-file", tokens, "--require-token"});
  auto kelo = [&](std::vector<std::string> args, const std::string& envToken = "") {
    std::vector<std::string> argv{kCliExe, "--server", server.url};
    argv.insert(argv.end(), args.begin(), args.end());
    Environment env = rig.Env();
    if (!envToken.empty()) env["TAVKELO_TOKEN"] = envToken;
    return RunToEnd(argv, env, Millis(30000));
  };
  struct Step {
    std::vector<std::string> args;
    std::string envToken;
    int status;
    const char* err;  // the end of the standard error
  };
  const Step steps[] = {
      {{"--token", control, "call", "Init", "true", "1", "9600", "N"}, "", 0, ""},
      {{"call", "RaiseLifts", "true", "false"}, read, 1, "the token inspector may only read\n"},
      {{"get", "Connected"}, "", 1, "kelo: this server wants a token"},
      {{"--token", read + "x", "readings"},
       "",
       1,
       "kelo: the token is not valid for this server\n"},
      // A read token reads the readings; an object of its own it may not create.
      {{"readings"}, read, 0, ""},
      {{"release"}, control, 0, ""},
  };
  for (const Step& s : steps) {
    RunResult r = kelo(s.args, s.envToken);
    EXPECT_EQ(r.status, s.status) << s.args.back() << "\n" << Show(r);
    const std::string err = s.err;
    EXPECT_NE(r.err.find(err), std::string::npos) << Show(r);
  }
  ASSERT_EQ(E2eRig::Stop(server), 0);

  // One audit line for each state-changing request, named by its token.
  std::string audit;
  for (const auto& e : fs::directory_iterator(rig.DataDir())) {
    if (e.path().filename().string().rfind("AUDIT_", 0) == 0) audit += test::ReadFile(e.path());
  }
  std::vector<std::string> seen;
  std::string id;
  std::istringstream lines(audit);
  for (std::string line; std::getline(lines, line);) {
    nlohmann::json entry = nlohmann::json::parse(line);
    if (id.empty()) id = entry["result"].value("id", "");
    std::string path = entry["path"].get<std::string>();
    if (size_t at = path.find(id); !id.empty() && at != std::string::npos)
      path.replace(at, id.size(), "{id}");
    seen.push_back(entry["who"].get<std::string>() + " " + entry["method"].get<std::string>() +
                   " " + path + " " + std::to_string(entry["status"].get<int>()));
  }
  // kelo takes its saved object with a ping, and creates one when that fails.
  EXPECT_EQ(seen, (std::vector<std::string>{
                      "operator POST /automation/objects 201",
                      "operator POST /automation/objects/{id}/methods/Init 200",
                      "inspector POST /automation/objects/{id}/ping 403",
                      "inspector POST /automation/objects 403",
                      "unidentified POST /automation/objects/{id}/ping 401",
                      "unidentified POST /automation/objects 401",
                      "operator DELETE /automation/objects/{id} 200",
                  }))
      << audit;
}

}  // namespace
}  // namespace tavkelo::e2e
