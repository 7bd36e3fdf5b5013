#include <gtest/gtest.h>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

KeloSimOptions WithSetup(std::map<uint8_t, double> setup) {
  KeloSimOptions o;
  o.setup = std::move(setup);
  return o;
}

TEST(Connect, ReadsTheInformationThenGrantsAccessAndSetsTheTorqueRelease) {
  test::InterfaceFixture f(WithSetup({{30, 10.0}}));
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  EXPECT_TRUE(k->Connected());
  EXPECT_TRUE(k->AutoUpdateEnabled());
  std::vector<std::string> names = f.RequestNames();
  std::vector<std::string> expected = {"E000", "E006", "E001", "E051", "E052", "E053", "E098", "E099",
                                       "D",    "F000=4127.00", "E030", "F030=20"};
  ASSERT_GE(names.size(), expected.size());
  names.resize(expected.size());
  EXPECT_EQ(names, expected);
  EXPECT_TRUE(f.sim.WriteAccess());
  EXPECT_TRUE(f.LogContains("clsKeloInterface: Connect - 'COM1'  Settings: 9600,N,8,1  ... Success"));
  EXPECT_TRUE(f.LogContains("**** Current Dyne Information ****\r\n           Firmware_Version: 3.12\r\n"));
}

TEST(Connect, ATorqueReleaseOfTwentyIsLeftAlone) {
  test::InterfaceFixture f(WithSetup({{30, 20.0}}));
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  std::vector<std::string> names = f.RequestNames();
  ASSERT_GE(names.size(), 11u);
  EXPECT_EQ(names[10], "E030");
  for (const auto& n : names) EXPECT_NE(n.rfind("F030", 0), 0u) << "no write of variable 30";
}

struct ClampCase {
  double diameter01mm;
  double inertiaKg;
  float diameterIn;
  float inertiaLb;
  bool invalid;
};

class InformationClamps : public ::testing::TestWithParam<ClampCase> {};

TEST_P(InformationClamps, DiameterAndInertiaAreBounded) {
  test::InterfaceFixture f(WithSetup({{1, GetParam().diameter01mm}, {6, GetParam().inertiaKg}}));
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  EXPECT_NEAR(k->RollDiameter(), GetParam().diameterIn, 1e-3);
  EXPECT_NEAR(k->TWDEquivalentWeight(), GetParam().inertiaLb, 1.0);
  EXPECT_EQ(f.LogContains("clsKeloInterface: ReadDyneInformation-ERROR-Code:2"), GetParam().invalid);
}

INSTANTIATE_TEST_SUITE_P(
    Values, InformationClamps,
    ::testing::Values(ClampCase{2173, 907, 8.555f, 907 * 2.20462f, false},
                      // 10.0 inches survives the first bound and is clamped by the second
                      ClampCase{2540, 907, 8.555f, 907 * 2.20462f, false},
                      // 3500 lb is replaced by 2000
                      ClampCase{2173, 3500 / 2.20462, 8.555f, 2000.0f, false},
                      // 6.9 inches is invalid information and clamped; 12 inches is replaced at once
                      ClampCase{6.9 * 254.0, 907, 8.555f, 907 * 2.20462f, true},
                      ClampCase{12 * 254.0, 300, 8.555f, 2000.0f, true},
                      ClampCase{9.0 * 254.0, 1200 / 2.20462, 9.0f, 1200.0f, false}));

TEST(Connect, AFailedHandshakeLeavesItDisconnected) {
  KeloSimOptions o;
  o.faults.silence = 1.0;
  test::InterfaceFixture f(o);
  auto k = f.NewInterface();
  EXPECT_FALSE(k->Connect());
  EXPECT_FALSE(k->Connected());
  EXPECT_FALSE(k->AutoUpdateEnabled());
  EXPECT_TRUE(f.LogContains("clsKeloInterface: Connect - 'COM1'  Settings: 9600,N,8,1  ... Fail. Kelo Comm Error[4]"));
  size_t before = f.RequestCount();
  f.loop.PumpFor(5000);
  EXPECT_EQ(f.RequestCount(), before) << "no poller after a failed connect";
}

TEST(Connect, APortThatCannotBeOpenedGivesFalseWithoutALogLine) {
  test::InterfaceFixture f;
  auto k = std::make_unique<clsKeloInterface>(*f.ctx);
  k->Init(true, 7, 9600, "N");  // no port 7 in this fixture
  EXPECT_FALSE(k->Connect());
  EXPECT_FALSE(f.LogContains("Connect - "));
}

TEST(Connect, ThePollerKeepsTheStoreCurrent) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  EXPECT_GE(k->TimeSinceLastUpdate(), 10.0f) << "at least ten seconds before the first update";
  f.sim.Plant().MotorOn();
  f.loop.PumpFor(20000);
  EXPECT_GT(k->PrimarySpeedMPH(), 35.0f);
  EXPECT_TRUE(k->WarmupMotorEnable());
  EXPECT_LT(k->TimeSinceLastUpdate(), 1.1f);
}

TEST(DisConnect, WithdrawsTheAccessCodeAndClosesThePort) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  k->DisConnect();
  EXPECT_FALSE(k->Connected());
  EXPECT_FALSE(f.sim.WriteAccess());
  EXPECT_FALSE(f.ctx->comm.PortOpen());
  EXPECT_EQ(f.RequestNames().back(), "F000=0.00");
  // And a second connect works again, giving the interface lock back.
  ASSERT_TRUE(k->Connect());
  EXPECT_EQ(k->RaiseLifts(true, false), gQRTXErrNoError);
}

TEST(Update, RefreshesOnceOnlyWhileAutomaticUpdatesAreOff) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  EXPECT_FALSE(k->Update()) << "not connected";
  ASSERT_TRUE(k->Connect());
  f.loop.PumpFor(1500);
  size_t before = f.RequestCount();
  EXPECT_TRUE(k->Update());
  EXPECT_LE(f.RequestCount() - before, 1u) << "automatic updates on: Update sends nothing itself";
  k->AutoUpdateEnabled(false);
  f.loop.PumpFor(2000);
  before = f.RequestCount();
  EXPECT_TRUE(k->Update());
  std::vector<std::string> names = f.RequestNames(before);
  std::vector<std::string> expected = {"D", "C", "E210", "E225", "E217", "E216", "E224", "E222"};
  EXPECT_EQ(names, expected);
}

TEST(AutoUpdate, AWriteIsIgnoredUnderARunningSequence) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  for (int16_t test : {1, 2, 3}) {
    f.ctx->test.CurTest = test;
    k->AutoUpdateEnabled(false);
    EXPECT_TRUE(k->AutoUpdateEnabled()) << test;
  }
  f.ctx->test.CurTest = 4;
  k->AutoUpdateEnabled(false);
  EXPECT_FALSE(k->AutoUpdateEnabled());
  f.ctx->test.CurTest = 0;
  f.ctx->test.SleepStatus = 1;
  k->AutoUpdateEnabled(true);
  EXPECT_FALSE(k->AutoUpdateEnabled());
}

TEST(AutoUpdateErrorCount, TheResetClearsOnlyTheFirstTwoCounters) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  LinkCounters& c = f.ctx->store.counters;
  c.checksumErrors = 3;
  c.timeoutErrors = 2;
  c.deviceErrors = 1;
  c.nakCount = 4;
  c.parseErrors = 5;
  c.commEvents = 100;  // not an update error
  EXPECT_EQ(k->AutoUpdateErrorCount(), 15);
  k->ResetAutoUpdateErrorCount();
  EXPECT_EQ(k->AutoUpdateErrorCount(), 11);
}

}  // namespace
}  // namespace tavkelo
