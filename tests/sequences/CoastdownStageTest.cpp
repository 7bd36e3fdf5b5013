// The coastdown's window result rules and its power average, stepped directly (no link needed:
// commands that cannot be put are simply not awaited), and the INI persistence on its own.

#include <gtest/gtest.h>

#include <cmath>

#include "SequenceRig.hpp"
#include "host/clsIniProfile.hpp"
#include "sequences/TestSequencer.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

class CoastdownStages : public ::testing::Test {
 protected:
  CoastdownStages() : sequencer(*f.ctx) {
    f.ctx->params.InstallDefaults();
    f.ctx->store.BaseInertia = 2000.0f;
    SharedTestState& t = f.ctx->test;
    t.CurTest = test::Coastdown;
    t.StartedTestIndex = test::Coastdown;
    t.TestStage = 0;
    t.TestStageLogged = 0;
    Step();  // stage 0: records cleared, window 1
  }
  void Step() { sequencer.RunTestStep(test::Coastdown); }
  void At(float mph, float hp) {
    f.ctx->store.PreviousDyneSpeed = f.ctx->store.DyneSpeed;
    f.ctx->store.DyneSpeed = mph;
    f.ctx->store.DynePower = hp;
    Step();
  }
  const CoastdownResult& Hi() { return f.ctx->results.Coastdown[1]; }

  test::LinkFixture f{8};
  TestSequencer sequencer;
};

struct WindowTimes {
  const char* what;
  float stopwatch;
  int32_t coastMs;
  float expectedAcdt;
};

class CoastdownTimeChoice : public CoastdownStages,
                            public ::testing::WithParamInterface<WindowTimes> {};

TEST_P(CoastdownTimeChoice,
       TheServerTimeReplacesTheStopwatchOnlyWhenLongerByMoreThanOneAndAHalfSeconds) {
  const WindowTimes& c = GetParam();
  f.ctx->store.StopWatch1 = c.stopwatch;
  f.ctx->results.Coastdown[1].CoastMs = c.coastMs;
  sequencer.Coastdown().ComputeWindowResult(1);
  EXPECT_FLOAT_EQ(Hi().ACDT, c.expectedAcdt);
  EXPECT_EQ(Hi().Stopwatch, c.stopwatch);
}

INSTANTIATE_TEST_SUITE_P(Window1, CoastdownTimeChoice,
                         ::testing::Values(WindowTimes{"longer_by_exactly_1_5s", 10.5f, 12000,
                                                       10.5f},
                                           WindowTimes{"longer_by_more", 10.5f, 12001, 12.001f},
                                           WindowTimes{"shorter", 10.5f, 9000, 10.5f},
                                           WindowTimes{"no_marks", 10.5f, 0, 10.5f},
                                           WindowTimes{"no_stopwatch", 0.0f, 7600, 7.6f},
                                           WindowTimes{"too_short_to_count", 0.0f, 900, 0.0f}),
                         [](const auto& info) { return std::string(info.param.what); });

TEST_F(CoastdownStages, TheCalculatedTimeIsTheLoadAbsorbingTheKineticEnergy) {
  f.ctx->store.StopWatch1 = 7.0f;
  sequencer.Coastdown().ComputeWindowResult(1);
  // 30 -> 20 mph at 8 HP with 2000 lb.
  const double ftPerS = 22.0 / 15.0;
  const double energy =
      0.5 * 2000.0 / 32.17405 * (std::pow(30 * ftPerS, 2) - std::pow(20 * ftPerS, 2));
  const double ccdt = energy / (8.0 * 550.0);
  EXPECT_NEAR(Hi().CCDT, ccdt, 1e-5 * ccdt);
  EXPECT_NEAR(Hi().TimeDelta, 7.0 - ccdt, 1e-5);
  EXPECT_NEAR(Hi().PercentDelta, std::fabs(7.0 - ccdt) * 100.0 / ccdt, 1e-4);
  EXPECT_TRUE(Hi().Run);
  EXPECT_EQ(Hi().Date, f.loop.Now());
  EXPECT_EQ(Hi().TopSpeed, 30.0f);
  EXPECT_EQ(Hi().BotSpeed, 20.0f);
}

TEST_F(CoastdownStages, AZeroCalculatedTimeKeepsTheRunGoing) {
  f.ctx->params.CoastdownHi.LoadHP = 0.0f;
  f.ctx->store.StopWatch1 = 7.0f;
  sequencer.Coastdown().ComputeWindowResult(1);
  EXPECT_EQ(Hi().CCDT, 0.0f);
  EXPECT_EQ(Hi().TimeDelta, 7.0f);
  EXPECT_EQ(Hi().PercentDelta, 100.0f) << "all of the actual time is deviation";
  f.ctx->store.StopWatch1 = 0.0f;
  sequencer.Coastdown().ComputeWindowResult(1);
  EXPECT_EQ(Hi().PercentDelta, 0.0f);
}

TEST_F(CoastdownStages, TheActualPowerAveragesTheLastFifteenSamplesNearTheMiddleSpeed) {
  SharedTestState& t = f.ctx->test;
  t.TestStage = 12;
  Step();  // a fresh average
  ASSERT_EQ(t.TestStage, 13);
  // Middle speed 25 mph: only 24.25 to 25.75 counts.
  At(27.0f, 100.0f);
  At(25.76f, 100.0f);
  At(25.75f, 6.0f);
  At(25.0f, 7.0f);
  At(24.25f, 8.0f);
  At(24.24f, 100.0f);
  At(21.0f, 100.0f);
  At(19.0f, 100.0f);  // still within 1 mph under the low speed
  EXPECT_EQ(t.TestStage, 13);
  At(18.9f, 100.0f);  // under 19 mph: the window is over
  EXPECT_EQ(t.TestStage, 14);
  f.ctx->store.StopWatch1 = 7.0f;
  t.TestStage = 20;
  Step();
  EXPECT_FLOAT_EQ(Hi().ActualHP, 7.0f);
  EXPECT_EQ(t.TestStage, 2) << "on to the low window";

  // Depth 15: of twenty samples 1..20 the last fifteen count.
  t.TestStage = 12;
  Step();
  for (int i = 1; i <= 20; ++i) At(15.0f, static_cast<float>(i));  // the low window's middle
  At(8.9f, 0.0f);
  t.TestStage = 20;
  Step();
  EXPECT_FLOAT_EQ(f.ctx->results.Coastdown[2].ActualHP, 13.0f);
  EXPECT_EQ(t.TestStage, 999);
}

TEST_F(CoastdownStages, WithoutSamplesInTheBandTheActualPowerIsZero) {
  SharedTestState& t = f.ctx->test;
  t.TestStage = 12;
  Step();
  At(27.0f, 100.0f);
  At(18.0f, 100.0f);
  t.TestStage = 20;
  Step();
  EXPECT_EQ(Hi().ActualHP, 0.0f);
}

TEST_F(CoastdownStages, StageZeroClearsBothRecordsAndLogsTheParameters) {
  f.ctx->results.Coastdown[2].Run = true;
  f.ctx->results.Coastdown[2].ACDT = 5.0f;
  f.ctx->test.TestStage = 0;
  f.ctx->params.CoastdownLo.LoadHP = -55.0f;
  Step();
  EXPECT_FALSE(f.ctx->results.Coastdown[2].Run);
  EXPECT_EQ(f.ctx->results.Coastdown[2].ACDT, 0.0f);
  EXPECT_EQ(f.ctx->results.Coastdown[2].Date, f.loop.Now());
  const auto lines = test::LogLinesWithoutStamps(f);
  ASSERT_GE(lines.size(), 8u);
  EXPECT_EQ(lines[4], "");
  EXPECT_EQ(lines[5], "**** Coastdown Parameters ****");
  EXPECT_EQ(lines[6], "           Hi_Window: HiSpeed: 30.0  LoSpeed: 20.0  LoadHP: 08.0");
  EXPECT_EQ(lines[7], "           Lo_Window: HiSpeed: 20.0  LoSpeed: 10.0  LoadHP: -55.0");
}

// ---- persistence ----

TEST(CoastdownResultsFile, WritesTheDocumentedKeysAndFormats) {
  test::LinkFixture f{0};
  CoastdownResult& hi = f.ctx->results.Coastdown[1];
  hi.Run = true;
  hi.Date = OleDateFromParts(2021, 3, 4, 5, 6, 7);
  hi.CCDT = 7.596f;
  hi.ACDT = 7.594f;
  hi.TopSpeed = 30.0f;
  hi.BotSpeed = 20.0f;
  hi.ActualHP = 5.705f;
  hi.Stopwatch = 7.594f;
  f.ctx->results.Coastdown[2].Date = OleDateFromParts(2021, 3, 4, 5, 8, 9);
  CoastdownResultsStore(*f.ctx).LoadSaveCoastdownResults(true);
  const std::string ini = test::ReadFile(clsIniProfile(f.host->profile).FileName());
  for (const char* line :
       {"HiWinDate=2021-03-04 05:06:07", "HiWinRun=True", "HiWinCCDT=7.60", "HiWinACDT=7.59",
        "HiWinTopSpeed=30.00", "HiWinBotSpeed=20.00", "HiWinHP=5.71",
        "LoWinDate=2021-03-04 05:08:09", "LoWinRun=False", "LoWinCCDT=0.00", "LoWinHP=0.00"}) {
    const size_t at = ini.find(line);
    ASSERT_NE(at, std::string::npos) << line << "\n" << ini;
    const size_t end = at + std::string(line).size();
    EXPECT_TRUE(end == ini.size() || ini[end] == '\r' || ini[end] == '\n')
        << line << " is the whole value";
  }
}

TEST(CoastdownResultsFile, MissingKeysReadAsTheirDefaultsAndAreWrittenBack) {
  test::LinkFixture f{0};
  f.ctx->results.Coastdown[1].ACDT = 3.0f;
  f.ctx->results.Coastdown[1].CoastMs = 3000;
  const auto [hiDate, loDate] = CoastdownResultsStore(*f.ctx).LoadForStartup();
  const double expected = f.loop.Now() + 100.0;
  EXPECT_NEAR(hiDate, expected, 1.0 / 86400.0);
  EXPECT_NEAR(loDate, expected, 1.0 / 86400.0);
  EXPECT_FALSE(f.ctx->results.Coastdown[1].Run);
  EXPECT_EQ(f.ctx->results.Coastdown[1].ACDT, 0.0f);
  EXPECT_EQ(f.ctx->results.Coastdown[1].CoastMs, 0) << "not stored: cleared";
  const std::string ini = test::ReadFile(clsIniProfile(f.host->profile).FileName());
  EXPECT_NE(ini.find("HiWinRun=False"), std::string::npos) << ini;
  EXPECT_NE(ini.find("LoWinACDT=0"), std::string::npos) << ini;
}

TEST(CoastdownResultsFile, AMalformedDateFallsBackAndNumbersReadTheirLeadingValue) {
  test::LinkFixture f{0};
  const std::string path = clsIniProfile(f.host->profile).FileName();
  test::WriteFile(
      path, "[CoastdownResults]\r\nHiWinDate=yesterday\r\nHiWinRun=yes\r\nHiWinACDT=7.5 s\r\n");
  CoastdownResultsStore(*f.ctx).LoadSaveCoastdownResults(false);
  EXPECT_NEAR(f.ctx->results.Coastdown[1].Date, f.loop.Now() + 100.0, 1.0 / 86400.0);
  EXPECT_TRUE(f.ctx->results.Coastdown[1].Run);
  EXPECT_EQ(f.ctx->results.Coastdown[1].ACDT, 7.5f);
}

}  // namespace
}  // namespace tavkelo
