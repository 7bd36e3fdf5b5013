// The station as a fleet sees it, on the virtual-time loop against the simulator: a coastdown's
// events carry the results that the interface returns, the link's faults are counted as the link
// counts them (monotonic across its wrap and a client's reset), and the metrics name each run.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/InterfaceFixture.hpp"
#include "telemetry/StationMonitor.hpp"

namespace tavkelo {
namespace {

TEST(StationMonitor, ACoastdownsEventsCarryTheResultsTheInterfaceReturns) {
  test::InterfaceFixture f;
  StationMonitor monitor(*f.ctx);
  std::vector<nlohmann::json> events;
  monitor.AddEventListener([&](const nlohmann::json& e) { events.push_back(e); });
  f.ctx->params.InstallDefaults();
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  f.loop.PumpFor(1500);
  ASSERT_EQ(k->StartTest(gQRTXTICoastDown), gQRTXErrNoError);
  ASSERT_TRUE(f.loop.PumpUntil([&] { return k->CurTest() == gQRTXTINoTest; }, 600'000));
  ASSERT_EQ(k->LastTestCompletionStatus(), gQRTXLTCSICompleted);
  monitor.Observe();

  std::vector<std::string> types;
  for (const auto& e : events) types.push_back(e["type"]);
  ASSERT_EQ(types, (std::vector<std::string>{"testStarted", "testEnded"}));
  const nlohmann::json& ended = events[1];
  EXPECT_EQ(ended["test"], gQRTXTICoastDown);
  EXPECT_EQ(ended["outcome"], "completed");
  const nlohmann::json& high = ended["results"]["coastdown"][0];
  const nlohmann::json& low = ended["results"]["coastdown"][1];
  EXPECT_EQ(high["run"], k->CDTestTopWindowRun());
  EXPECT_EQ(high["actualSeconds"].get<float>(), k->CDTestTopWindowActualTime());
  EXPECT_EQ(high["calculatedSeconds"].get<float>(), k->CDTestTopWindowCalcTime());
  EXPECT_EQ(high["actualHp"].get<float>(), k->CDTestTopWindowActualHP());
  EXPECT_EQ(low["actualSeconds"].get<float>(), k->CDTestBottomWindowActualTime());
  EXPECT_EQ(low["topSpeedMph"].get<float>(), k->CDTestBottomWindowActualTopSpeed());
  EXPECT_GT(high["actualSeconds"].get<float>(), 0.5f);

  MetricsText out;
  monitor.WriteMetrics(out);
  const std::string& text = out.Text();
  EXPECT_NE(text.find("tavkelo_test_runs_total{test=\"coastdown\",outcome=\"completed\"} 1\n"),
            std::string::npos);
  EXPECT_NE(text.find("tavkelo_test_runs_total{test=\"coastdown\",outcome=\"aborted\"} 0\n"),
            std::string::npos);
  EXPECT_NE(text.find("tavkelo_seconds_since_last_pass{kind=\"coastdown\"} 0\n"),
            std::string::npos);
  EXPECT_GT(monitor.PollCycles(), 100u);
}

TEST(StationMonitor, ErrorTotalsFollowTheLinksCountersAcrossTheirWrapAndAReset) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  StationMonitor monitor(*f.ctx);
  // Faults on the line, counted by the link as it finishes each exchange.
  f.sim.Faults().Schedule(FaultKind::WrongChecksum, 3);
  f.loop.PumpFor(3000);
  f.sim.Faults().Schedule(FaultKind::Silence, 2);
  f.loop.PumpFor(5000);
  monitor.Observe();
  const LinkCounters& c = f.ctx->store.counters;
  ASSERT_GT(c.checksumErrors + c.timeoutErrors, 0);
  EXPECT_EQ(monitor.ErrorTotal(1), static_cast<uint64_t>(c.checksumErrors));
  EXPECT_EQ(monitor.ErrorTotal(2), static_cast<uint64_t>(c.timeoutErrors));
  EXPECT_EQ(monitor.ErrorTotal(3), static_cast<uint64_t>(c.nakCount));

  // The link's device counter as a client and the wrap at 999999 leave it: the total only grows.
  struct Step {
    int32_t linkCounter;
    uint64_t total;
  };
  const Step steps[] = {
      {5, 5},      {7, 7}, {0, 7} /* a client's reset */, {2, 9}, {999998, 1000005},
      {1, 1000008} /* wrapped past 999999 */};
  for (const Step& s : steps) {
    f.ctx->store.counters.deviceErrors = s.linkCounter;
    monitor.Observe();
    EXPECT_EQ(monitor.ErrorTotal(0), s.total) << s.linkCounter;
  }
}

TEST(StationMonitor, TheLinkLostAndRestoredAndNoticesAreEvents) {
  test::InterfaceFixture f;
  auto k = f.NewInterface();
  ASSERT_TRUE(k->Connect());
  StationMonitor monitor(*f.ctx);
  std::vector<std::string> types;
  monitor.AddEventListener([&](const nlohmann::json& e) { types.push_back(e["type"]); });
  f.loop.PumpFor(1000);
  f.sim.Faults().Schedule(FaultKind::Silence, 12);
  ASSERT_TRUE(f.loop.PumpUntil([&] { return std::string(monitor.LinkState()) == "lost"; }, 30'000));
  ASSERT_TRUE(f.loop.PumpUntil([&] { return std::string(monitor.LinkState()) == "up"; }, 30'000));
  f.host->notices.MessageBox("Calibration due", 0);
  monitor.Observe();
  EXPECT_EQ(types, (std::vector<std::string>{"linkLost", "linkRestored", "notice"}));
}

}  // namespace
}  // namespace tavkelo
