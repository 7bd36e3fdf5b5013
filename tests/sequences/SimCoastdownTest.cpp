// The coastdown test run whole against the controller simulator: with the ASM regulator
// absorbing the set power in total, each window's actual time lands on the calculated one; the
// results reach the INI file and come back at the next start; a stop ends the test through
// PutDyneToSleep.

#include <gtest/gtest.h>

#include <cmath>

#include "SimRig.hpp"
#include "host/clsIniProfile.hpp"
#include "host/modMain.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

// Seconds in which `hp` absorbs the kinetic energy of `weightLb` between two speeds.
double CalculatedTime(double topMph, double bottomMph, double hp, double weightLb) {
  const double ftPerS = 22.0 / 15.0;
  const double energy =
      0.5 * weightLb / 32.17405 * (std::pow(topMph * ftPerS, 2) - std::pow(bottomMph * ftPerS, 2));
  return energy / (hp * 550.0);
}

class SimCoastdown : public ::testing::Test {
 protected:
  SimCoastdown() {
    rig.f.ctx->params.InstallDefaults();  // 30-25-20 mph at 8 HP, 20-15-10 mph at 12 HP
    rig.f.ctx->params.ConstantTargetTestTorqueTarget = 40.0f;
    rig.Connect();
  }
  std::string IniPath() { return clsIniProfile(rig.f.host->profile).FileName(); }

  KeloSimOptions options;
  test::SimRig rig{options};
};

TEST_F(SimCoastdown, BothWindowsLandOnTheCalculatedTime) {
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  ASSERT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  const float weight = rig.f.ctx->store.BaseInertia;
  EXPECT_NEAR(weight, 2000.0f, 5.0f) << "read from the controller at connect";
  const LossCurve& loss = rig.sim.Options().physics.loss;
  for (int w = 1; w <= 2; ++w) {
    SCOPED_TRACE(w);
    const CoastdownWindow& p =
        w == 1 ? rig.f.ctx->params.CoastdownHi : rig.f.ctx->params.CoastdownLo;
    const CoastdownResult& r = rig.f.ctx->results.Coastdown[static_cast<size_t>(w)];
    std::printf("window %d: ACDT %.3f s, CCDT %.3f s, delta %.3f %%, actual HP %.3f\n", w, r.ACDT,
                r.CCDT, r.PercentDelta, r.ActualHP);
    EXPECT_TRUE(r.Run);
    EXPECT_NEAR(r.CCDT, CalculatedTime(p.HiSpeed, p.LoSpeed, p.LoadHP, weight), 1e-4);
    EXPECT_LT(r.PercentDelta, 2.0f);
    EXPECT_NEAR(r.PercentDelta, std::fabs(r.ACDT - r.CCDT) * 100.0 / r.CCDT, 1e-3);
    EXPECT_NEAR(r.TimeDelta, r.ACDT - r.CCDT, 1e-6);
    // The device's stopwatch and the server's own crossings agree.
    EXPECT_NEAR(r.CoastMs / 1000.0, r.Stopwatch, 0.15);
    EXPECT_EQ(r.ACDT, r.Stopwatch);
    EXPECT_EQ(r.TopSpeed, p.HiSpeed);
    EXPECT_EQ(r.BotSpeed, p.LoSpeed);
    // The absorber takes what the rolls' own losses leave of the set power.
    EXPECT_NEAR(r.ActualHP + loss.PowerHp(p.MidSpeed), p.LoadHP, 0.03 * p.LoadHP);
  }
  // Each window was braked to rest, and the client's torque target given back.
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  EXPECT_EQ(rig.sim.Plant().Mode(), MachineMode::Off);
  const auto commands = rig.Commands();
  EXPECT_EQ(std::count(commands.begin(), commands.end(), "K"), 0)
      << "no Motor Off on a completed test";
  EXPECT_EQ(std::count(commands.begin(), commands.end(), "4"), 2)
      << "ASM regulator once per window";
  EXPECT_EQ(std::count(commands.begin(), commands.end(), "2"), 2)
      << "torque regulator once per window";
}

TEST_F(SimCoastdown, TheWindowCommandsGoOutInOrder) {
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  const std::vector<std::string> window1 = {"0",
                                            "J",
                                            "F228=8.0 Hp",
                                            "F230=25.0 mph",
                                            "I",
                                            "F207=30.0 mph",
                                            "F208=20.0 mph",
                                            "H",
                                            "4",
                                            "E227",
                                            "0",
                                            "F201=",
                                            "2",
                                            "0",
                                            "F201="};
  const std::vector<std::string> window2 = {"0",
                                            "J",
                                            "F228=12.0 Hp",
                                            "F230=15.0 mph",
                                            "I",
                                            "F207=20.0 mph",
                                            "F208=10.0 mph",
                                            "H",
                                            "4",
                                            "E227",
                                            "0",
                                            "F201=",
                                            "2",
                                            "0",
                                            "F201="};
  std::vector<std::string> expected = {"F229=0.0", "b"};
  expected.insert(expected.end(), window1.begin(), window1.end());
  expected.insert(expected.end(), window2.begin(), window2.end());
  const auto commands = rig.Commands();
  ASSERT_EQ(commands.size(), expected.size()) << ::testing::PrintToString(commands);
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(commands[i].rfind(expected[i], 0), 0u) << i << ": " << commands[i];
}

TEST_F(SimCoastdown, ResultsAreSavedAndReadBackAtTheNextStart) {
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  const std::string ini = test::ReadFile(IniPath());
  ASSERT_NE(ini.find("[CoastdownResults]"), std::string::npos) << ini;
  const CoastdownResult hi = rig.f.ctx->results.Coastdown[1];
  const CoastdownResult lo = rig.f.ctx->results.Coastdown[2];
  char expected[64];
  std::snprintf(expected, sizeof expected, "HiWinCCDT=%.2f", hi.CCDT);
  EXPECT_NE(ini.find(expected), std::string::npos) << ini;
  std::snprintf(expected, sizeof expected, "LoWinHP=%.2f", lo.ActualHP);
  EXPECT_NE(ini.find(expected), std::string::npos) << ini;
  EXPECT_NE(ini.find("HiWinRun=True"), std::string::npos);
  EXPECT_NE(ini.find("HiWinDate=2020-06-22 14:"), std::string::npos) << "the virtual loop's date";
  EXPECT_EQ(ini.find("Stopwatch"), std::string::npos);
  EXPECT_EQ(ini.find("Delta"), std::string::npos);

  // The next start: a new process state on the same INI file, through the entry routine's hooks.
  HostOptions options = rig.f.host->options;
  options.instanceLockPath = rig.f.dir.File("second.lock");
  HostContext host(rig.f.loop, options);
  KeloContext ctx(host);
  ctx.test.CurTest = test::Coastdown;
  ctx.test.SleepStatus = seqstatus::Running;
  modMain main(host);
  ASSERT_EQ(main.Main("", TestSequencer::StartupHooks(ctx)), MainOutcome::Serving);
  for (int w = 1; w <= 2; ++w) {
    SCOPED_TRACE(w);
    const CoastdownResult& before = rig.f.ctx->results.Coastdown[static_cast<size_t>(w)];
    const CoastdownResult& after = ctx.results.Coastdown[static_cast<size_t>(w)];
    EXPECT_TRUE(after.Run);
    EXPECT_NEAR(after.Date, before.Date, 1.0 / 86400.0) << "to the second";
    for (auto [a, b] : {std::pair{after.CCDT, before.CCDT},
                        {after.ACDT, before.ACDT},
                        {after.TopSpeed, before.TopSpeed},
                        {after.BotSpeed, before.BotSpeed},
                        {after.ActualHP, before.ActualHP}}) {
      EXPECT_NEAR(a, b, 0.005 + 1e-6);  // kept to two decimals
    }
    EXPECT_EQ(after.CoastMs, 0);
  }
  // ...and the idle state of the shared test state.
  EXPECT_EQ(ctx.test.CurTest, test::None);
  EXPECT_EQ(ctx.test.SleepStatus, seqstatus::Finished);
  EXPECT_EQ(ctx.test.LcwsStatus, seqstatus::Finished);
  EXPECT_EQ(ctx.test.PeakSampleCounter, 999);
  EXPECT_EQ(ctx.test.PeakSampleIndex, -1);
  EXPECT_EQ(ctx.test.TestStartDate, rig.f.loop.Now());
}

TEST_F(SimCoastdown, AStopDuringTheCoastGoesThroughPutDyneToSleepAndSavesNothing) {
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunUntil(
      [this] { return rig.f.ctx->test.TestStage == 13 && rig.sim.SpeedMph() < 25.0; }, 120.0, 5));
  const double stoppedAt = rig.f.loop.NowUs() / 1e6;
  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(120.0));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  std::vector<std::string> after;
  for (const ReceivedRequest& r : rig.sim.Requests()) {
    if (r.atUs / 1e6 < stoppedAt) continue;
    std::string name(1, static_cast<char>(r.command));
    if (r.command == 'F') name += std::to_string(r.variable) + "=" + r.valueText;
    if (r.command == 'C' || r.command == 'D' || r.command == 'E') continue;
    after.push_back(name);
  }
  const std::vector<std::string> sleep = {"0", "K", "F201=", "2", "0", "F201=", "B", "I", "S", "b"};
  ASSERT_EQ(after.size(), sleep.size()) << ::testing::PrintToString(after);
  for (size_t i = 0; i < sleep.size(); ++i)
    EXPECT_EQ(after[i].rfind(sleep[i], 0), 0u) << i << ": " << after[i];
  // 90 ft-lb to brake, then the client's 40 ft-lb back, as lbf at the roll surface.
  const double rollRadiusFt = rig.f.ctx->store.RollDiameter / 24.0;
  EXPECT_NEAR(std::stod(after[2].substr(5)), 90.0 / rollRadiusFt, 0.11);
  EXPECT_NEAR(std::stod(after[5].substr(5)), 40.0 / rollRadiusFt, 0.11);
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  EXPECT_FALSE(rig.sim.Plant().Switches().beltCompensation);
  EXPECT_EQ(test::ReadFile(IniPath()).find("CoastdownResults"), std::string::npos);
  EXPECT_TRUE(rig.f.LogContains("**** Coastdown Aborted ****"));
  EXPECT_FALSE(rig.f.ctx->results.Coastdown[1].Run);
}

TEST_F(SimCoastdown, ANegativeLowWindowLoadEndsTheTestAfterTheHighWindow) {
  rig.f.ctx->params.CoastdownLo.LoadHP = -55.0f;
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  EXPECT_TRUE(rig.f.ctx->results.Coastdown[1].Run);
  EXPECT_FALSE(rig.f.ctx->results.Coastdown[2].Run);
  EXPECT_FALSE(rig.f.LogContains("**** Coastdown Lo Window Pass Starting ****"));
  EXPECT_NE(test::ReadFile(IniPath()).find("LoWinRun=False"), std::string::npos);
}

}  // namespace
}  // namespace tavkelo
