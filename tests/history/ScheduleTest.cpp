// The calibration schedule at its edges, on the virtual clock: a coastdown exactly 7 days old is
// due, a second more is overdue, a changed interval moves the date, a failed coastdown makes the
// parasitic check due at once; and the opt-in lock-out refuses the target-controlled tests with a
// log line that says why while the station can still run its own checks.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "history/CalibrationSchedule.hpp"
#include "history/HistoryRecorder.hpp"
#include "host/clsIniProfile.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

constexpr double kDay = 86400.0;

std::string StateOf(CalibrationSchedule& schedule, double now, const std::string& kind) {
  for (const ScheduleItem& item : schedule.Items(now))
    if (item.kind == kind) return item.state;
  return "missing";
}

TEST(Schedule, StatesAtTheEdges) {
  struct Case {
    const char* name;
    double coastdownAgeDays;  // < 0: no coastdown
    bool coastdownPassed;
    double parasiticsAgeDays;  // < 0: none
    double coastdownDays;      // the interval in force
    const char* coastdown;
    const char* parasitics;
  };
  const Case cases[] = {
      {"fresh", 1, true, 1, 7, "ok", "ok"},
      {"a day before, to the second: due", 6, true, 1, 7, "due", "ok"},
      {"just outside the day before", 5.99, true, 1, 7, "ok", "ok"},
      {"exactly 7 days: still due", 7, true, 1, 7, "due", "ok"},
      {"7 days and a second: overdue", 7 + 1 / kDay, true, 1, 7, "overdue", "ok"},
      {"a longer interval", 8, true, 1, 10, "ok", "ok"},
      {"a shorter interval", 3, true, 1, 2, "overdue", "ok"},
      {"parasitics 30 days old", 1, true, 30, 7, "ok", "due"},
      {"parasitics 31 days old", 1, true, 31, 7, "ok", "overdue"},
      {"a failed coastdown after the parasitics", 1, false, 2, 7, "never_run", "overdue"},
      {"a failed coastdown before the parasitics", 3, false, 2, 7, "never_run", "ok"},
      {"nothing ever run", -1, true, -1, 7, "never_run", "never_run"},
      {"a failed coastdown and no parasitics", 1, false, -1, 7, "never_run", "overdue"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    test::TempDir dir;
    HistoryStore store;
    std::string error;
    ASSERT_TRUE(store.Open(dir.File("h.sqlite"), nullptr, error)) << error;
    const double now = 1.8e9;
    auto add = [&](const char* kind, double ageDays, bool passed) {
      RunRow row;
      row.id = store.NextId();
      row.kind = kind;
      row.status = "completed";
      row.startUnix = row.endUnix = now - ageDays * kDay;
      row.passed = passed;
      store.InsertRun(row);
    };
    if (c.coastdownAgeDays >= 0) add("coastdown", c.coastdownAgeDays, c.coastdownPassed);
    if (c.parasiticsAgeDays >= 0) add("parasitics", c.parasiticsAgeDays, true);
    store.Flush();
    ScheduleConfig config;
    config.coastdownDays = c.coastdownDays;
    CalibrationSchedule schedule(store, config);
    EXPECT_EQ(StateOf(schedule, now, "coastdown"), c.coastdown);
    EXPECT_EQ(StateOf(schedule, now, "parasitics"), c.parasitics);
    EXPECT_EQ(StateOf(schedule, now, "load_cell"), "never_run");
    const nlohmann::json j = schedule.Json(now);
    EXPECT_EQ(j["items"].size(), 4u);
  }
}

TEST(Schedule, TheIniSectionFillsItselfWithTheDefaultsAndReadsChangedIntervals) {
  test::InterfaceFixture f;
  ScheduleConfig first = ScheduleConfig::Load(f.host->profile);
  EXPECT_EQ(first.coastdownDays, 7.0);
  EXPECT_EQ(first.parasiticsDays, 30.0);
  EXPECT_EQ(first.loadCellDays, 180.0);
  EXPECT_FALSE(first.lockOutWhenOverdue);
  const std::string ini = test::ReadFile(clsIniProfile(f.host->profile).FileName());
  EXPECT_NE(ini.find("[Schedule]"), std::string::npos);
  EXPECT_NE(ini.find("CoastdownDays=7"), std::string::npos);
  clsIniProfile(f.host->profile).WriteText("Schedule", "CoastdownDays", "3.5");
  clsIniProfile(f.host->profile).WriteText("Schedule", "LockOutWhenOverdue", "True");
  const ScheduleConfig changed = ScheduleConfig::Load(f.host->profile);
  EXPECT_EQ(changed.coastdownDays, 3.5);
  EXPECT_TRUE(changed.lockOutWhenOverdue);
}

TEST(Schedule, TheLockOutRefusesTargetTestsWhileTheCoastdownIsOverdueAndSaysWhy) {
  test::InterfaceFixture f;
  HistoryStore store;
  std::string error;
  ASSERT_TRUE(store.Open(f.dir.File("h.sqlite"), nullptr, error)) << error;
  HistoryRecorder recorder(*f.ctx, store);
  ScheduleConfig config;
  config.lockOutWhenOverdue = true;
  CalibrationSchedule schedule(store, config);
  schedule.Install(*f.ctx);
  f.ctx->params.InstallDefaults();
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  f.loop.PumpFor(1500);

  // Never run: the target tests are refused, the station's own checks are not.
  EXPECT_EQ(k->StartTest(gQRTXTIConstantTarget), gQRTXErrCantStartTestNow);
  EXPECT_TRUE(f.LogContains("StartTest refused: the coastdown check was never run"));
  ASSERT_EQ(k->StartTest(gQRTXTICoastDown), gQRTXErrNoError);
  ASSERT_TRUE(f.loop.PumpUntil([&] { return k->CurTest() == gQRTXTINoTest; }, 900'000));
  ASSERT_EQ(k->LastTestCompletionStatus(), gQRTXLTCSICompleted);
  store.Flush();
  ASSERT_EQ(store.List({}).front()["passed"], true) << store.List({}).front().dump();

  // Passed: allowed.
  ASSERT_EQ(k->StartTest(gQRTXTIConstantTarget), gQRTXErrNoError);
  k->StopTest();
  ASSERT_TRUE(f.loop.PumpUntil([&] { return k->CurTest() == gQRTXTINoTest; }, 60'000));
  // A week of rest is more than the simulated rolls should integrate: the passing coastdown is
  // instead dated back to 2 seconds short of 7 days, then the clock moves on.
  RunRow old;
  old.id = store.NextId();
  old.kind = "coastdown";
  old.status = "completed";
  old.passed = true;
  old.startUnix = old.endUnix = LocalOleToUnix(f.loop.Now()) - 7 * kDay + 2;
  store.InsertRun(old);
  store.Flush();  // inserts are queued for the writer thread
  ASSERT_EQ(store.List({}).size(), 3u);
  EXPECT_TRUE(store.List({})[2]["passed"]);
  // Only the newest pass counts: the real coastdown just now keeps it ok.
  EXPECT_EQ(StateOf(schedule, LocalOleToUnix(f.loop.Now()), "coastdown"), "ok");
  HistoryStore other;
  ASSERT_TRUE(other.Open(f.dir.File("h2.sqlite"), nullptr, error)) << error;
  schedule.Uninstall(*f.ctx);
  CalibrationSchedule weekOld(other, config);
  weekOld.Install(*f.ctx);
  RunRow copy = old;
  copy.id = other.NextId();
  other.InsertRun(copy);
  other.Flush();
  EXPECT_EQ(StateOf(weekOld, LocalOleToUnix(f.loop.Now()), "coastdown"), "due");
  ASSERT_EQ(k->StartTest(gQRTXTIASM), gQRTXErrNoError);
  k->StopTest();
  ASSERT_TRUE(f.loop.PumpUntil([&] { return k->CurTest() == gQRTXTINoTest; }, 60'000));

  // A few seconds more: overdue, refused with the date in the log line; warm-up still runs.
  f.loop.PumpFor(5000);
  EXPECT_EQ(StateOf(weekOld, LocalOleToUnix(f.loop.Now()), "coastdown"), "overdue");
  EXPECT_EQ(k->StartTest(gQRTXTIVehSim), gQRTXErrCantStartTestNow);
  EXPECT_TRUE(f.LogContains("StartTest refused: the coastdown check is overdue since "));
  EXPECT_EQ(k->StartTest(gQRTXTIWarmup), gQRTXErrNoError);
  CalibrationSchedule::Uninstall(*f.ctx);
}

}  // namespace
}  // namespace tavkelo
