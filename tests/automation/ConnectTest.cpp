// Connecting to the simulated controller: the handshake's exchanges, the torque-release rule, the
// bounds on the information read, a failed handshake, disconnecting, and the update settings.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

KeloSimOptions WithSetup(std::map<uint8_t, double> setup) {
  KeloSimOptions o;
  o.setup = std::move(setup);
  return o;
}

TEST(Connect, ReadsTheInformationGrantsAccessAndSetsTheTorqueReleaseToTwentyWhenItIsNot) {
  for (double release : {10.0, 20.0}) {
    test::InterfaceFixture f(WithSetup({{30, release}}));
    auto k = f.NewInterface();
    ASSERT_TRUE(k->Connect());
    EXPECT_TRUE(k->Connected());
    EXPECT_TRUE(k->AutoUpdateEnabled());
    EXPECT_TRUE(f.sim.WriteAccess());
    std::vector<std::string> names = f.RequestNames();
    std::vector<std::string> expected = {"E000", "E006", "E001", "E051",         "E052", "E053",
                                         "E098", "E099", "D",    "F000=4127.00", "E030"};
    if (release != 20.0) expected.push_back("F030=20");
    ASSERT_GE(names.size(), expected.size());
    EXPECT_EQ(std::vector<std::string>(names.begin(), names.begin() + expected.size()), expected)
        << release;
    EXPECT_EQ(std::count_if(names.begin(), names.end(),
                            [](const std::string& n) { return n.rfind("F030", 0) == 0; }),
              release != 20.0 ? 1 : 0);
    EXPECT_TRUE(
        f.LogContains("clsKeloInterface: Connect - 'COM1'  Settings: 9600,N,8,1  ... Success"));
    EXPECT_TRUE(f.LogContains(
        "**** Current Dyne Information ****\r\n           Firmware_Version: 3.12\r\n"));

    // Disconnecting withdraws the access code and closes the port.
    k->DisConnect();
    EXPECT_FALSE(k->Connected());
    EXPECT_FALSE(f.sim.WriteAccess());
    EXPECT_FALSE(f.ctx->comm.PortOpen());
    EXPECT_EQ(f.RequestNames().back(), "F000=0.00");
  }
}

TEST(Connect, TheInformationDumpNeedsOnlyLoggingOnWhileTheMemberLinesNeedTheInterfaceFlag) {
  // Communication errors only: logging is on, so the dump is written, but no member line.
  test::InterfaceFixture f({}, 2);
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  EXPECT_TRUE(f.LogContains("**** Current Dyne Information ****"));
  EXPECT_FALSE(f.LogContains("clsKeloInterface: Connect"));
  EXPECT_FALSE(f.LogContains("clsKeloInterface: Init"));
}

TEST(Connect, TheDiameterAndTheInertiaReadAreBounded) {
  struct Case {
    double diameter01mm, inertiaKg;
    float diameterIn, inertiaLb;
    bool invalid;
  };
  const Case cases[] = {
      {2173, 907, 8.555f, 907 * 2.20462f, false},
      {2540, 907, 8.555f, 907 * 2.20462f,
       false},  // 10.0 in passes the first bound, the second clamps it
      {2173, 3500 / 2.20462, 8.555f, 2000.0f, false},    // 3500 lb is replaced by 2000
      {6.9 * 254.0, 907, 8.555f, 907 * 2.20462f, true},  // invalid information, clamped
      {12 * 254.0, 300, 8.555f, 2000.0f, true},          // replaced at once
      {9.0 * 254.0, 1200 / 2.20462, 9.0f, 1200.0f, false},
  };
  for (const auto& c : cases) {
    test::InterfaceFixture f(WithSetup({{1, c.diameter01mm}, {6, c.inertiaKg}}));
    auto k = f.NewInterface();
    ASSERT_TRUE(k->Connect());
    EXPECT_NEAR(k->RollDiameter(), c.diameterIn, 1e-3) << c.diameter01mm;
    EXPECT_NEAR(k->TWDEquivalentWeight(), c.inertiaLb, 1.0) << c.inertiaKg;
    EXPECT_EQ(f.LogContains("clsKeloInterface: ReadDyneInformation-ERROR-Code:2"), c.invalid)
        << c.diameter01mm;
  }
}

TEST(Connect, AFailedHandshakeOrAPortThatCannotOpenLeavesItDisconnected) {
  KeloSimOptions o;
  o.faults.silence = 1.0;
  test::InterfaceFixture f(o);
  auto noPort = std::make_unique<clsKeloInterface>(*f.ctx);
  noPort->Init(true, 7, 9600, "N");  // no port 7 in this fixture
  EXPECT_FALSE(noPort->Connect());
  EXPECT_FALSE(f.LogContains("Connect - ")) << "a port that cannot open writes no line";
  auto k = f.NewInterface();
  EXPECT_FALSE(k->Connect());
  EXPECT_FALSE(k->Connected());
  EXPECT_FALSE(k->AutoUpdateEnabled());
  EXPECT_TRUE(f.LogContains(
      "clsKeloInterface: Connect - 'COM1'  Settings: 9600,N,8,1  ... Fail. Kelo Comm Error[4]"));
  size_t before = f.RequestCount();
  f.loop.PumpFor(5000);
  EXPECT_EQ(f.RequestCount(), before) << "no poller after a failed connect";
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
  EXPECT_EQ(f.RequestNames(before),
            (std::vector<std::string>{"D", "C", "E210", "E225", "E217", "E216", "E224", "E222"}));
}

TEST(AutoUpdate, AWriteIsIgnoredUnderARunningSequenceOrWhileAsleep) {
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
