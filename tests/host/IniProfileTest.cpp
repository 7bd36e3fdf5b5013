#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Notices.hpp"
#include "host/clsIniProfile.hpp"
#include "platform/VbError.hpp"
#include "runtime/OleDate.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

class IniProfile : public ::testing::Test {
 protected:
  IniProfile() {
    env.appPath = dir.Path();
    env.notices = &notices;
    notices.SetEchoToStderr(false);
  }
  std::string IniText() { return test::ReadFile(dir.File("TavKeloASM.INI")); }
  void SetIni(const std::string& text) { test::WriteFile(dir.File("TavKeloASM.INI"), text); }

  test::TempDir dir;
  Notices notices;
  ProfileEnvironment env;
};

TEST_F(IniProfile, AMissingKeyReturnsTheDefaultAndWritesItBack) {
  clsIniProfile ini(env);
  EXPECT_EQ(ini.FileName(), dir.File("TavKeloASM.INI"));
  EXPECT_EQ(ini.GetInteger("LogControl", "RawSetting", 0), 0);
  EXPECT_EQ(IniText(), "[LogControl]\r\nRawSetting=0\r\n");
  EXPECT_TRUE(ini.GetBoolean("CommControl", "ZeroFillVariableNumber", true));
  EXPECT_EQ(IniText(),
            "[LogControl]\r\nRawSetting=0\r\n[CommControl]\r\nZeroFillVariableNumber=True\r\n");
}

TEST_F(IniProfile, ANewKeyGoesAtTheEndOfItsSection) {
  SetIni("[A]\r\nx=1\r\n\r\n[B]\r\ny=2\r\n");
  clsIniProfile ini(env);
  ini.WriteText("a", "z", "3");
  ini.WriteText("B", "Y", "4");
  EXPECT_EQ(IniText(), "[A]\r\nx=1\r\nz=3\r\n\r\n[B]\r\nY=4\r\n");
}

// Names ignore case, values are trimmed and read as their first 199 characters, and an empty
// value is rewritten with the default.
TEST_F(IniProfile, ValuesAreReadTrimmedAndCutAndAnEmptyOneIsRewrittenWithTheDefault) {
  const std::string before =
      "[logcontrol]\n  rawsetting =   63  \n[S]\r\nK=" + std::string(250, 'v') +
      "\r\nE=\r\nOther=5\r\n";
  SetIni(before);
  clsIniProfile ini(env);
  EXPECT_EQ(ini.GetInteger("LogControl", "RawSetting", 0), 63);
  EXPECT_EQ(ini.GetText("LOGCONTROL", "RAWSETTING", ""), "63");
  EXPECT_EQ(ini.GetText("s", "k", ""), std::string(199, 'v'));
  EXPECT_EQ(IniText(), before);
  EXPECT_EQ(ini.GetText("S", "E", "fallback"), "fallback");
  // The file is written back whole, every line ended by CR LF.
  EXPECT_EQ(IniText(), "[logcontrol]\r\n  rawsetting =   63  \r\n[S]\r\nK=" +
                           std::string(250, 'v') + "\r\nE=fallback\r\nOther=5\r\n");
}

// Integers: the leading number rounded half to even; one beyond an Integer is raised.
// Booleans: the table below; the empty text is rewritten with the default, "False".
TEST_F(IniProfile, IntegersAndBooleansReadTheirTexts) {
  for (auto [text, expected] :
       {std::pair{"12abc", 12}, {"2.5", 2}, {"3.5", 4}, {"abc", 0}, {"-7", -7}, {"&H3F", 63}}) {
    SetIni(std::string("[S]\r\nK=") + text + "\r\n");
    clsIniProfile ini(env);
    EXPECT_EQ(ini.GetInteger("S", "K", 99), expected) << text;
    EXPECT_EQ(ini.GetLong("S", "K", 99), expected) << text;
  }
  SetIni("[S]\r\nK=40000\r\n");
  EXPECT_THROW(clsIniProfile(env).GetInteger("S", "K", 0), VbRuntimeError);
  EXPECT_EQ(clsIniProfile(env).GetLong("S", "K", 0), 40000);
  for (const bool expected : {true, false}) {
    for (const char* text : expected
                                ? std::vector<const char*>{"yes", "t", "5", "-1", "Y", "TRUE"}
                                : std::vector<const char*>{"no", "F", "0", "", "ON", "False"}) {
      SetIni(std::string("[S]\r\nK=") + text + "\r\n");
      EXPECT_EQ(clsIniProfile(env).GetBoolean("S", "K", false), expected) << text;
    }
  }
}

TEST_F(IniProfile, DatesParseOrFallBackToTheDefault) {
  SetIni("[S]\r\nGood=2020-06-22 14:23:05\r\nBad=yesterday\r\n");
  clsIniProfile ini(env);
  double fallback = OleDateFromParts(2001, 1, 1);
  EXPECT_DOUBLE_EQ(ini.GetDate("S", "Good", fallback), OleDateFromParts(2020, 6, 22, 14, 23, 5));
  EXPECT_DOUBLE_EQ(ini.GetDate("S", "Bad", fallback), fallback);
  EXPECT_DOUBLE_EQ(ini.GetDate("S", "Missing", fallback), fallback);
  EXPECT_NE(IniText().find("Missing=2001-01-01 00:00:00\r\n"), std::string::npos);
}

TEST_F(IniProfile, RealsUseTheGeneralNumberText) {
  clsIniProfile ini(env);
  EXPECT_DOUBLE_EQ(ini.GetReal("S", "R", 2.25), 2.25);
  EXPECT_EQ(IniText(), "[S]\r\nR=2.25\r\n");
}

TEST_F(IniProfile, GetValueDispatchesOnTheDestinationsType) {
  SetIni("[S]\r\nI=12\r\nF=1.5\r\nT=text\r\nB=yes\r\n");
  clsIniProfile ini(env);
  ProfileVariant i = int16_t{0};
  ini.GetValue("S", "I", i, ProfileVariant{int16_t{3}});
  EXPECT_EQ(std::get<int16_t>(i), 12);
  ProfileVariant f = 0.0f;
  ini.GetValue("S", "F", f, ProfileVariant{0.0});
  EXPECT_DOUBLE_EQ(std::get<double>(f), 1.5) << "a Single comes back as a Double";
  ProfileVariant t = std::string();
  ini.GetValue("S", "T", t, ProfileVariant{std::string("d")});
  EXPECT_EQ(std::get<std::string>(t), "text");
  ProfileVariant b = false;
  ini.GetValue("S", "B", b, ProfileVariant{false});
  EXPECT_TRUE(std::get<bool>(b));
  ProfileVariant l = int32_t{0};
  ini.GetValue("S", "L", l, ProfileVariant{int32_t{77}});
  EXPECT_EQ(std::get<int32_t>(l), 77);

  std::string before = IniText();
  ProfileVariant date = ProfileDate{1.0};
  ini.GetValue("S", "D", date, ProfileVariant{std::string("2020-01-01")});
  EXPECT_DOUBLE_EQ(std::get<ProfileDate>(date).value, 1.0);
  ProfileVariant empty;
  ini.GetValue("S", "E", empty, ProfileVariant{int16_t{1}});
  EXPECT_EQ(IniText(), before) << "dates and empty destinations read and write nothing";
}

TEST_F(IniProfile, GetValueConvertsItsDefaultLikeTheClassicConversions) {
  clsIniProfile ini(env);
  ProfileVariant i = int16_t{0};
  ini.GetValue("S", "A", i, ProfileVariant{std::string(" 12 ")});
  EXPECT_EQ(std::get<int16_t>(i), 12);
  for (const char* bad : {"abc", "12abc", ""}) {
    ProfileVariant j = int16_t{0};
    EXPECT_THROW(ini.GetValue("S", "B", j, ProfileVariant{std::string(bad)}), VbRuntimeError)
        << bad;
  }
  ProfileVariant b = false;
  ini.GetValue("S", "C", b, ProfileVariant{std::string("true")});
  EXPECT_TRUE(std::get<bool>(b));
  ProfileVariant c = true;
  EXPECT_THROW(ini.GetValue("S", "D", c, ProfileVariant{std::string("yes")}), VbRuntimeError);
  ProfileVariant t = std::string();
  ini.GetValue("S", "E", t, ProfileVariant{ProfileDate{OleDateFromParts(2020, 6, 22, 14, 23, 5)}});
  EXPECT_EQ(std::get<std::string>(t), "2020-06-22 14:23:05");
}

TEST_F(IniProfile, AMissingFileIsCreatedOnWrite) {
  env.defaultFileName = test::Native("sub/x");
  dir.MakeDir("sub");
  clsIniProfile ini(env);
  EXPECT_EQ(ini.FileName(), dir.File("sub/x.INI"));
  EXPECT_EQ(ini.GetText("S", "K", "v"), "v");
  EXPECT_EQ(test::ReadFile(dir.File("sub/x.INI")), "[S]\r\nK=v\r\n");
}

// Drive, folder, name and extension composed, with APP the application folder (the separator is
// the platform's: "\\" on Windows).
TEST_F(IniProfile, ResolvePathComposesDriveFolderNameAndExtension) {
  env.appPath = test::Native("/opt/tavkelo/bin");
  clsIniProfile ini(env);
  for (auto [name, expected] :
       {std::pair{"TavKeloASM.INI", "/opt/tavkelo/bin/TavKeloASM.INI"},
        {"settings", "/opt/tavkelo/bin/settings.INI"},
        {"sub/x.ini", "/opt/tavkelo/bin/sub/x.ini"},
        {"/cfg/x.ini", "/cfg/x.ini"},
        {"x.y.z", "/opt/tavkelo/bin/x.y.z"},
        {"/cfg.d/settings", "/cfg.d/settings.INI"},  // a dot in a folder is no extension
        // A drive with a relative folder lands in the application folder: kept.
        {"D:cfg/x.ini", "D:/opt/tavkelo/bin/cfg/x.ini"}}) {
    EXPECT_EQ(ini.ResolveProfilePath(test::Native(name), ".INI"), test::Native(expected)) << name;
  }
}

TEST_F(IniProfile, AFailedRuntimeProbeShowsItsMessageAndGivesNoPath) {
  env.failRuntimeProbe = true;
  clsIniProfile ini(env);
  EXPECT_EQ(ini.FileName(), "");
  auto shown = notices.Since(0);
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].text, "MSAFINX.DLL is missing");
  EXPECT_EQ(shown[0].style, 4112);
}

}  // namespace
}  // namespace tavkelo
