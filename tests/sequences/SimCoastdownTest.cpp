// The coastdown test run whole against the controller simulator: with the ASM regulator
// absorbing the set power in total, each window's actual time lands on the calculated one; the
// log is the golden one; the results reach the INI file and come back at the next start; a stop
// ends the test through PutDyneToSleep.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "SequenceRig.hpp"
#include "host/clsIniProfile.hpp"
#include "host/modMain.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

class SimCoastdown : public ::testing::Test {
 protected:
  SimCoastdown() {
    rig.f.ctx->params.InstallDefaults();  // 30-25-20 mph at 8 HP, 20-15-10 mph at 12 HP
    rig.f.ctx->params.ConstantTargetTestTorqueTarget = 40.0f;
    rig.Connect();
  }
  std::string Ini() { return test::ReadFile(clsIniProfile(rig.f.host->profile).FileName()); }

  test::SimRig rig;
};

TEST_F(SimCoastdown, BothWindowsLandOnTheCalculatedTimeTheGoldenLogAndTheResultsComeBack) {
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  ASSERT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  test::ExpectGoldenLog(rig.f, "coastdown.log");
  const float weight = rig.f.ctx->store.BaseInertia;
  EXPECT_NEAR(weight, 2000.0f, 5.0f) << "read from the controller at connect";
  for (int w = 1; w <= 2; ++w) {
    SCOPED_TRACE(w);
    const CoastdownWindow& p =
        w == 1 ? rig.f.ctx->params.CoastdownHi : rig.f.ctx->params.CoastdownLo;
    const CoastdownResult& r = rig.f.ctx->results.Coastdown[static_cast<size_t>(w)];
    EXPECT_TRUE(r.Run);
    EXPECT_NEAR(r.CCDT, test::CoastPowerHp(p.HiSpeed, p.LoSpeed, 1.0, weight) / p.LoadHP, 1e-4);
    EXPECT_LT(r.PercentDelta, 2.0f);
    std::printf("window %d: actual %.3f s, calculated %.3f s, percent delta %.3f%%\n", w, r.ACDT,
                r.CCDT, r.PercentDelta);
    // The device's stopwatch and the server's own crossings agree.
    EXPECT_NEAR(r.CoastMs / 1000.0, r.Stopwatch, 0.15);
    // The absorber takes what the rolls' own losses leave of the set power.
    const double rollLoss = rig.sim.Options().physics.loss.PowerHp(p.MidSpeed);
    EXPECT_NEAR(r.ActualHP + rollLoss, p.LoadHP, 0.03 * p.LoadHP);
  }
  // Each window braked to rest with the torque regulator, the client's torque target given back.
  std::vector<std::string> expected = {"F229=0.0", "b"};
  for (auto [hp, mid, top, bottom] : {std::array<std::string, 4>{"8.0", "25.0", "30.0", "20.0"},
                                      {"12.0", "15.0", "20.0", "10.0"}}) {
    expected.insert(expected.end(), {"0", "J", "F228=" + hp + " Hp", "F230=" + mid + " mph", "I",
                                     "F207=" + top + " mph", "F208=" + bottom + " mph", "H", "4",
                                     "E227", "0", "F201=", "2", "0", "F201="});
  }
  test::ExpectCommands(rig.Commands(), expected);
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  EXPECT_EQ(rig.sim.Plant().Mode(), MachineMode::Off);

  // The results are saved, and read back at the next start.
  const std::string ini = Ini();
  ASSERT_NE(ini.find("[CoastdownResults]"), std::string::npos) << ini;
  char line[64];
  std::snprintf(line, sizeof line, "HiWinCCDT=%.2f", rig.f.ctx->results.Coastdown[1].CCDT);
  EXPECT_NE(ini.find(line), std::string::npos) << ini;
  std::snprintf(line, sizeof line, "LoWinHP=%.2f", rig.f.ctx->results.Coastdown[2].ActualHP);
  EXPECT_NE(ini.find(line), std::string::npos) << ini;
  EXPECT_NE(ini.find("HiWinRun=True"), std::string::npos);
  EXPECT_NE(ini.find("HiWinDate=2020-06-22 14:"), std::string::npos) << "the virtual loop's date";

  // The next start: a new process state on the same INI file, through the entry routine's hooks.
  HostOptions options = rig.f.host->options;
  options.instanceLockPath = rig.f.dir.File("second.lock");
  HostContext host(rig.f.loop, options);
  KeloContext ctx(host);
  ctx.test.CurTest = test::Coastdown;
  ctx.test.SleepStatus = seqstatus::Running;
  modMain main(host);
  ASSERT_EQ(main.Main("", TestSequencer::StartupHooks(ctx)), MainOutcome::Serving);
  for (size_t w = 1; w <= 2; ++w) {
    SCOPED_TRACE(w);
    const CoastdownResult& before = rig.f.ctx->results.Coastdown[w];
    const CoastdownResult& after = ctx.results.Coastdown[w];
    EXPECT_TRUE(after.Run);
    EXPECT_NEAR(after.Date, before.Date, 1.0 / 86400.0) << "to the second";
    for (auto [a, b] : {std::pair{after.CCDT, before.CCDT},
                        {after.ACDT, before.ACDT},
                        {after.TopSpeed, before.TopSpeed},
                        {after.BotSpeed, before.BotSpeed},
                        {after.ActualHP, before.ActualHP}}) {
      EXPECT_NEAR(a, b, 0.005 + 1e-6);  // kept to two decimals
    }
  }
  // ...and the idle state of a fresh start.
  EXPECT_EQ(ctx.test.CurTest, test::None);
  EXPECT_EQ(ctx.test.SleepStatus, seqstatus::Finished);
  EXPECT_EQ(ctx.test.PeakSampleCounter, 999);
}

TEST_F(SimCoastdown, AStopDuringTheCoastGoesThroughPutDyneToSleepAndSavesNothing) {
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunUntil([this] { return rig.T().TestStage == 13 && rig.sim.SpeedMph() < 25.0; },
                           120.0, 5));
  const double stoppedAt = rig.Now();
  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(120.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Aborted);
  const auto after = rig.Commands(stoppedAt);
  test::ExpectCommands(after, {"0", "K", "F201=", "2", "0", "F201=", "B", "I", "S", "b"});
  // 90 ft-lb to brake, then the client's 40 ft-lb back, as lbf at the roll surface.
  const double rollRadiusFt = rig.f.ctx->store.RollDiameter / 24.0;
  EXPECT_NEAR(std::stod(after.at(2).substr(5)), 90.0 / rollRadiusFt, 0.11);
  EXPECT_NEAR(std::stod(after.at(5).substr(5)), 40.0 / rollRadiusFt, 0.11);
  EXPECT_LT(rig.sim.SpeedMph(), 0.5);
  EXPECT_FALSE(rig.sim.Plant().Switches().beltCompensation);
  EXPECT_EQ(Ini().find("CoastdownResults"), std::string::npos);
  EXPECT_TRUE(rig.f.LogContains("**** Coastdown Aborted ****"));
}

TEST_F(SimCoastdown, ANegativeLowWindowLoadEndsTheTestAfterTheHighWindow) {
  rig.f.ctx->params.CoastdownLo.LoadHP = -55.0f;
  rig.Start(test::Coastdown);
  ASSERT_TRUE(rig.RunToEnd(600.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  EXPECT_TRUE(rig.f.ctx->results.Coastdown[1].Run);
  EXPECT_FALSE(rig.f.ctx->results.Coastdown[2].Run);
  EXPECT_NE(Ini().find("LoWinRun=False"), std::string::npos);
}

TEST(CoastdownResultsFile, MissingKeysReadAsNotRunAndAreWrittenBack) {
  test::LinkFixture f{0};
  f.ctx->results.Coastdown[1].ACDT = 3.0f;
  f.ctx->results.Coastdown[1].CoastMs = 3000;
  CoastdownResultsStore(*f.ctx).LoadForStartup();
  EXPECT_FALSE(f.ctx->results.Coastdown[1].Run);
  EXPECT_EQ(f.ctx->results.Coastdown[1].ACDT, 0.0f);
  EXPECT_EQ(f.ctx->results.Coastdown[1].CoastMs, 3000) << "not stored: left as it was";
  const std::string ini = test::ReadFile(clsIniProfile(f.host->profile).FileName());
  EXPECT_NE(ini.find("HiWinRun=False"), std::string::npos) << ini;
  EXPECT_NE(ini.find("LoWinACDT=0"), std::string::npos) << ini;
}

}  // namespace
}  // namespace tavkelo
