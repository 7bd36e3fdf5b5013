#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "host/HostContext.hpp"
#include "runtime/OleDate.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

// An executable at <tmp>/app/bin/TavKeloASM with a LOGS folder at <tmp>/app/LOGS.
class LogTest : public ::testing::Test {
 protected:
  LogTest() : host(loop, Options()) {
    host.log.SetEnvLookup([](const std::string&) { return std::string(); });
  }
  HostOptions Options() {
    dir.MakeDir("app/bin");
    HostOptions o;
    o.programFilePath = dir.File("app/bin/TavKeloASM");
    o.echoNotices = false;
    return o;
  }
  std::string LogPath() { return dir.File("app/LOGS/KELO_20200622.LOG"); }

  test::TempDir dir;
  VirtualTimeLoop loop;
  HostContext host;
};

// The header block, stamped and continued lines, an error with its description under its code,
// and a second open on the same day (no flag family, but logging on) appending another header.
TEST_F(LogTest, HeaderBlockStampedLinesAndErrorsAreExact) {
  dir.MakeDir("app/LOGS");
  host.log.SetLogControlValue(1);
  host.log.OpenLogFile();
  EXPECT_EQ(host.log.LogFileName(), LogPath());
  loop.PumpFor(470);
  host.log.WriteLog("clsKeloInterface: AccelTorque(Not Implemented)");
  host.log.WriteLog("~bcontinued");
  host.log.WriteLog("~Rabc");
  host.log.WriteLog("");
  host.log.LogError(2, "Invalid Dyne Information", "clsKeloInterface: ReadDyneInformation", 0);
  const std::string code = "142305.47-clsKeloInterface: ReadDyneInformation-ERROR-Code:2\r\n";
  const std::string desc = std::string(10 + 37 + 6, ' ') + "-Desc:Invalid Dyne Information\r\n";
  EXPECT_EQ(code.find("-Code:"), desc.find("-Desc:")) << "-Desc: stands under -Code:";
  std::string expected = "\r\n" + std::string(59, '-') +
                         "\r\n"
                         "Kelo Dyne Log Data - 20200622_142305\r\n"
                         "\r\n"
                         "142305.47-clsKeloInterface: AccelTorque(Not Implemented)\r\n"
                         "          continued\r\n"
                         "~Rabc\r\n"
                         "\r\n" +
                         code + desc;
  EXPECT_EQ(test::ReadFile(LogPath()), expected);
  EXPECT_TRUE(host.notices.Since(0).empty()) << "no box without option 16";

  host.log.SetLogControlValue(64);
  loop.PumpFor(3'600'000);
  host.log.OpenLogFile();
  EXPECT_EQ(test::ReadFile(LogPath()).substr(expected.size()),
            "\r\n" + std::string(59, '-') + "\r\nKelo Dyne Log Data - 20200622_152305\r\n\r\n");
  EXPECT_FALSE(host.log.ClsCal());
}

TEST_F(LogTest, WithLoggingOffNothingIsWrittenButTheBoxIsShown) {
  host.log.SetLogControlValue(0);
  host.log.LogError(5, "boom", "where", 16);
  host.log.WriteLog("nothing");
  auto shown = host.notices.Since(0);
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].text, "where-ERROR-Code:5\r\n           -Desc:boom");
  EXPECT_FALSE(test::FileExists(LogPath()));
}

// Without a LOGS folder beside the program the log goes to DATA, and without DATA to the
// temporary folder (/tmp; C:\TMP on Windows).
TEST_F(LogTest, WithoutLogsFolderTheDataFolderOrTheTemporaryFolderIsUsed) {
  host.log.SetLogControlValue(1);
  host.log.OpenLogFile();
#ifdef _WIN32
  EXPECT_EQ(host.log.LogFileName(), "C:\\TMP\\KELO_20200622.LOG");
#else
  EXPECT_EQ(host.log.LogFileName(), "/tmp/KELO_20200622.LOG");
#endif
  std::string data = dir.MakeDir("data");
  host.log.SetEnvLookup([data](const std::string& name) { return name == "DATA" ? data : ""; });
  host.log.OpenLogFile();
  EXPECT_EQ(host.log.LogFileName(), test::Native(data + "/KELO_20200622.LOG"));
  EXPECT_TRUE(test::FileExists(test::Native(data + "/KELO_20200622.LOG")));
}

TEST_F(LogTest, AMissingDataFolderFailsTheOpenAndSwitchesLoggingOff) {
  std::string missing = dir.File("nowhere");
  host.log.SetEnvLookup([missing](const std::string&) { return missing; });
  host.log.SetLogControlValue(63);
  host.log.OpenLogFile();
  EXPECT_EQ(host.log.LogFileName(), "");
  EXPECT_EQ(host.log.LogControlValue(), 0);
  EXPECT_FALSE(host.log.DynTst());
  auto shown = host.notices.Since(0);
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].text.rfind(
                "Error Opening '" + test::Native(missing + "/KELO_20200622.LOG") + "'  (", 0),
            0u);
}

TEST(LogStamp, HundredthsNeverReadOneHundred) {
  const double now = OleDateFromParts(2020, 6, 22, 14, 23, 5);
  for (auto [fraction, expected] : {std::pair{0.0, "142305.00-"},
                                    {0.47, "142305.47-"},
                                    {0.994, "142305.99-"},
                                    {0.995, "142305.00-"},
                                    {0.996, "142305.00-"}})
    EXPECT_EQ(DiagnosticLog::Stamp(now, 51785.0 + fraction), expected) << fraction;
}

}  // namespace
}  // namespace tavkelo
