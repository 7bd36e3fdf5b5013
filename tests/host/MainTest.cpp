#include <gtest/gtest.h>

#include "host/HostContext.hpp"
#include "host/modMain.hpp"
#include "runtime/OleDate.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

class MainTest : public ::testing::Test {
 protected:
  MainTest() : host(loop, Options()) {}
  HostOptions Options() {
    dir.MakeDir("app/bin");
    dir.MakeDir("app/LOGS");
    HostOptions o;
    o.programFilePath = dir.File("app/bin/TavKeloASM");
    o.instanceLockPath = dir.File("TavKeloASM.lock");
    o.echoNotices = false;
    return o;
  }
  std::string Ini() { return dir.File("app/bin/TavKeloASM.INI"); }
  std::string LogPath() { return dir.File("app/LOGS/KELO_20200622.LOG"); }
  std::string LogText() { return test::ReadFile(LogPath()); }

  test::TempDir dir;
  VirtualTimeLoop loop;
  HostContext host;
};

TEST_F(MainTest, RawSetting63WritesAllStartUpLines) {
  test::WriteFile(Ini(), "[LogControl]\r\nRawSetting=63\r\n");
  test::WriteFile(dir.File("app/bin/TavKeloASM"), "binary");
  modMain entry(host);
  MainHooks hooks;
  hooks.loadCoastdownResults = [] {
    return std::make_pair(OleDateFromParts(2020, 6, 1, 8, 0, 0),
                          OleDateFromParts(2020, 6, 2, 9, 30, 0));
  };
  bool idle = false;
  hooks.enterIdleState = [&] { idle = true; };
  ASSERT_EQ(entry.Main("", hooks), MainOutcome::Serving);
  EXPECT_TRUE(idle);
  const std::string& v = host.ProgramVersionText;
  std::string expected =
      "142305.00-TavKeloASM: Main - Ver: " + v + " - Logging Control[63, 0x003F]\r\n" +
      "142305.00-TavKeloASM-Log-ClsCal:T ComErr:T MisCmd:T DynTst:T RawCom:T GetVar:T\r\n" +
      "142305.00-TavKeloASM-Me:'" + dir.File("app/bin/TavKeloASM") + "'\r\n" +
      "142305.00-              (" + host.ProgramFileDate + ")\r\n" + "142305.00-TavKeloASM-Log:'" +
      LogPath() + "'\r\n" + "142305.00-TavKeloASM-ZeroFillVarNum:True\r\n" +
      "142305.00-TavKeloASM-LCDHi:2020-06-01 08:00:00\r\n" +
      "142305.00-TavKeloASM-LCDLo:2020-06-02 09:30:00\r\n" +
      "142305.00-TavKeloASM: Main - Ver: " + v + " - Exiting ...\r\n";
  std::string text = LogText();
  ASSERT_GE(text.size(), expected.size());
  EXPECT_EQ(text.substr(text.size() - expected.size()), expected);
  EXPECT_EQ(host.ProgramFileDate.size(), 19u);
  EXPECT_NE(test::ReadFile(Ini()).find("ZeroFillVariableNumber=True"), std::string::npos);
}

// A first start: no log, the defaults written back, and the update tick ten seconds back, or
// equal to the start tick when the tick count is 10000 or less.
TEST_F(MainTest, RawSettingZeroWritesNoLogAtAll) {
  modMain entry(host);
  ASSERT_EQ(entry.Main("", MainHooks{}), MainOutcome::Serving);
  EXPECT_FALSE(test::FileExists(LogPath()));
  EXPECT_EQ(test::ReadFile(Ini()),
            "[LogControl]\r\nRawSetting=0\r\n[CommControl]\r\nZeroFillVariableNumber=True\r\n");
  EXPECT_TRUE(host.ZeroFillVariableNumber);
  EXPECT_EQ(host.TestTimeStartTick, static_cast<int32_t>(loop.TickCount()));
  EXPECT_EQ(TickDiff(host.TestTimeStartTick, host.LastUpdateTick), 10000);
  VirtualTimeLoop::Options early;
  early.startTick = 10000;
  VirtualTimeLoop earlyLoop(early);
  HostOptions options = host.options;
  options.instanceLockPath = dir.File("early.lock");
  HostContext earlyHost(earlyLoop, options);
  modMain(earlyHost).Main("", MainHooks{});
  EXPECT_EQ(earlyHost.LastUpdateTick, earlyHost.TestTimeStartTick);
}

TEST_F(MainTest, RegistrationSwitchesEndTheStartWithNothingWritten) {
  test::WriteFile(Ini(), "[LogControl]\r\nRawSetting=63\r\n");
  for (const char* line : {"/unreg", "-REG", "/RegServer", "x -unregister y"}) {
    modMain entry(host);
    EXPECT_EQ(entry.Main(line, MainHooks{}), MainOutcome::RegistrationSwitch) << line;
  }
  EXPECT_FALSE(test::FileExists(LogPath()));
  EXPECT_EQ(test::ReadFile(Ini()), "[LogControl]\r\nRawSetting=63\r\n");
}

TEST_F(MainTest, AStartWithoutTheLockEndsAtOnceAndWritesNothing) {
  test::WriteFile(Ini(), "[LogControl]\r\nRawSetting=63\r\n");
  SingleInstanceLock other(dir.File("TavKeloASM.lock"));
  ASSERT_TRUE(other.TryAcquire());
  struct Case {
    const char* what;
    std::string lockPath;
    MainOutcome outcome;
  };
  const Case cases[] = {
      {"another process holds it", dir.File("TavKeloASM.lock"), MainOutcome::AlreadyRunning},
#ifndef _WIN32
      // A lock file needs its folder; the Windows mutex has none.
      {"its folder is missing", dir.File("no-such-folder/TavKeloASM.lock"),
       MainOutcome::LockUnavailable},
#endif
  };
  for (const Case& c : cases) {
    HostOptions options = host.options;
    options.instanceLockPath = c.lockPath;
    HostContext start(loop, options);
    modMain entry(start);
    EXPECT_EQ(entry.Main("", MainHooks{}), c.outcome) << c.what;
    EXPECT_EQ(entry.InstanceLock()->Error() != 0, c.outcome == MainOutcome::LockUnavailable)
        << c.what;
    EXPECT_FALSE(test::FileExists(LogPath())) << c.what;
    EXPECT_EQ(test::ReadFile(Ini()), "[LogControl]\r\nRawSetting=63\r\n") << c.what;
  }
}

TEST_F(MainTest, AnOverflowingLogSettingStartsWithLoggingOffAndZeroFillCanBeSwitchedOff) {
  test::WriteFile(
      Ini(), "[LogControl]\r\nRawSetting=40000\r\n[CommControl]\r\nZeroFillVariableNumber=no\r\n");
  modMain entry(host);
  EXPECT_EQ(entry.Main("", MainHooks{}), MainOutcome::Serving);
  EXPECT_FALSE(host.ZeroFillVariableNumber);
  EXPECT_EQ(host.log.LogControlValue(), 0);
  ASSERT_FALSE(host.notices.Since(0).empty());
  EXPECT_NE(host.notices.Since(0)[0].text.find("-Desc:Overflow"), std::string::npos);
}

TEST(ProgramVersionText, MajorThenTwoDigitMinorAndRevision) {
  EXPECT_EQ(MakeProgramVersionText(1, 5, 2), "1.05.02");
  EXPECT_EQ(MakeProgramVersionText(2, 10, 0), "2.10.00");
}

}  // namespace
}  // namespace tavkelo
