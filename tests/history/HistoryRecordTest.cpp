// The history on the virtual-time loop against the simulator: each run's row holds what the
// interface returned, its trace the samples the poller saw, and a run that a dying process left
// in progress is found interrupted by the next start.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "history/HistoryRecorder.hpp"
#include "history/HistoryStore.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

struct Rig {
  test::InterfaceFixture f;
  HistoryStore store;
  std::unique_ptr<HistoryRecorder> recorder;
  std::unique_ptr<clsKeloInterface> k;

  Rig() {
    std::string error;
    EXPECT_TRUE(store.Open(f.dir.File("history.sqlite"), nullptr, error)) << error;
    recorder = std::make_unique<HistoryRecorder>(*f.ctx, store);
    f.ctx->params.InstallDefaults();
    k = f.NewInterface();
    EXPECT_TRUE(k->Connect());
    f.loop.PumpFor(1500);
  }
  // Runs test `index` to its end and returns its stored row.
  nlohmann::json Run(QRTXTestIndeces index) {
    EXPECT_EQ(k->StartTest(index), gQRTXErrNoError);
    EXPECT_TRUE(f.loop.PumpUntil([&] { return k->CurTest() == gQRTXTINoTest; }, 900'000));
    store.Flush();
    auto rows = store.List({});
    EXPECT_FALSE(rows.empty());
    return rows.empty() ? nlohmann::json() : rows.front();
  }
};

float F(const nlohmann::json& v) {
  return static_cast<float>(v.get<double>());
}

TEST(HistoryRecord, ACoastdownsRowAndTraceHoldWhatTheInterfaceAndThePollerSaw) {
  Rig r;
  const nlohmann::json row = r.Run(gQRTXTICoastDown);
  ASSERT_EQ(r.k->LastTestCompletionStatus(), gQRTXLTCSICompleted);
  EXPECT_EQ(row["kind"], "coastdown");
  EXPECT_EQ(row["status"], "completed");
  EXPECT_EQ(row["source"], "recorded");
  const nlohmann::json& res = row["results"];
  EXPECT_EQ(F(res["highCalculatedSeconds"]), r.k->CDTestTopWindowCalcTime());
  EXPECT_EQ(F(res["highActualSeconds"]), r.k->CDTestTopWindowActualTime());
  EXPECT_EQ(F(res["highActualHp"]), r.k->CDTestTopWindowActualHP());
  EXPECT_EQ(F(res["lowActualSeconds"]), r.k->CDTestBottomWindowActualTime());
  EXPECT_EQ(F(res["lowTopSpeedMph"]), r.k->CDTestBottomWindowActualTopSpeed());
  EXPECT_EQ(F(res["lowBottomSpeedMph"]), r.k->CDTestBottomWindowActualBottomSpeed());
  EXPECT_EQ(F(row["parameters"]["highWindowTopMph"]), r.k->CDTestHiWinTopSpeed());
  EXPECT_EQ(F(row["parameters"]["lowWindowLoadHp"]), r.k->CDTestLoWinTargetLoadHP());
  EXPECT_EQ(F(row["rollDiameter"]), r.f.ctx->store.RollDiameter);
  EXPECT_EQ(F(row["firmware"]), r.f.ctx->store.DyneVersion);
  EXPECT_GT(row["firmware"].get<double>(), 0.0);
  EXPECT_EQ(row["passed"], HistoryRecorder::CoastdownPasses(res, 7.0));
  EXPECT_TRUE(row["linkCounters"].contains("timeoutErrors"));
  EXPECT_GT(row["endUnix"].get<double>(), row["startUnix"].get<double>());

  const auto trace = r.store.Trace(row["id"]);
  ASSERT_TRUE(trace.has_value());
  ASSERT_EQ(static_cast<int64_t>(trace->size()), row["samples"].get<int64_t>());
  ASSERT_GT(trace->size(), 200u);
  EXPECT_LT(trace->front().speedMph, 1.0f);  // from rest
  EXPECT_LT(trace->back().speedMph, 0.5f);   // to rest
  EXPECT_EQ(trace->back().speedMph, r.f.ctx->store.DyneSpeed);
  float top = 0.0f;
  for (size_t i = 1; i < trace->size(); ++i) {
    ASSERT_GE((*trace)[i].ms, (*trace)[i - 1].ms);
    top = std::max(top, (*trace)[i].speedMph);
  }
  EXPECT_GT(top, r.k->CDTestHiWinTopSpeed());
  // The run took as long as its trace says, to the poll.
  const double seconds = row["endUnix"].get<double>() - row["startUnix"].get<double>();
  EXPECT_NEAR(trace->back().ms / 1000.0, seconds, 0.1);
  // The high window's coast: the last sample above its top and the first below its bottom
  // bound the actual coast time.
  int64_t above = -1, below = -1;
  for (const TraceSample& s : *trace) {
    if (s.speedMph >= r.k->CDTestTopWindowActualTopSpeed()) {
      above = s.ms;
    } else if (above >= 0 && s.speedMph <= r.k->CDTestTopWindowActualBottomSpeed()) {
      below = s.ms;
      break;
    }
  }
  ASSERT_GT(above, 0);
  ASSERT_GT(below, above);
  EXPECT_NEAR((below - above) / 1000.0, r.k->CDTestTopWindowActualTime(), 0.25);
}

TEST(HistoryRecord, AParasiticRunKeepsTheFitAndTheLossesAndAStopKeepsItsReason) {
  Rig r;
  const nlohmann::json row = r.Run(gQRTXTIParasitics);
  ASSERT_EQ(row["status"], "completed");
  const ParasiticsOutputs& o = r.f.tests.Parasitics().Outputs;
  const nlohmann::json& res = row["results"];
  EXPECT_EQ(F(res["coefK"]), o.CoefK);
  EXPECT_EQ(F(res["coefB"]), o.CoefB);
  EXPECT_EQ(F(res["losses15MphHp"]), r.f.ctx->store.Losses15MphHP);
  EXPECT_EQ(F(res["losses25MphHp"]), r.f.ctx->store.Losses25MphHP);
  EXPECT_GT(res["losses35MphHp"].get<double>(), res["losses25MphHp"].get<double>() * 0.9);
  EXPECT_EQ(F(res["window4LossHp"]), r.f.tests.Parasitics().ParasiticsResults.LossHP[4]);
  EXPECT_EQ(row["passed"], true);

  // A warm-up stopped by the client: aborted, with the reason, no results.
  ASSERT_EQ(r.k->StartTest(gQRTXTIWarmup), gQRTXErrNoError);
  r.f.loop.PumpFor(5000);
  r.k->StopTest();
  ASSERT_TRUE(r.f.loop.PumpUntil([&] { return r.k->CurTest() == gQRTXTINoTest; }, 120'000));
  r.store.Flush();
  const nlohmann::json stopped = r.store.List({}).front();
  EXPECT_EQ(stopped["kind"], "warmup");
  EXPECT_EQ(stopped["status"], "aborted");
  EXPECT_EQ(stopped["passed"], false);
  EXPECT_NE(stopped["reason"].get<std::string>().find("stopped on request"), std::string::npos);
  EXPECT_EQ(r.store.Count(), 2);
}

TEST(HistoryRecord, ARunLeftInProgressIsInterruptedAtTheNextOpenAndTheIniCoastdownImportedOnce) {
  test::InterfaceFixture f;
  const std::string path = f.dir.File("h.sqlite");
  // The INI's stored coastdown, as start-up loads it.
  for (size_t w = 1; w <= 2; ++w) {
    CoastdownResult& c = f.ctx->results.Coastdown[w];
    c.Run = true;
    c.Date = f.loop.Now() - 2.0;
    c.CCDT = 10.0f;
    c.ACDT = w == 1 ? 10.5f : 12.0f;  // the low window 20% off: a failed coastdown
  }
  std::string error;
  auto first = std::make_unique<HistoryStore>();
  ASSERT_TRUE(first->Open(path, nullptr, error)) << error;
  {
    HistoryRecorder recorder(*f.ctx, *first);
    EXPECT_TRUE(recorder.ImportIniCoastdown());
    EXPECT_FALSE(recorder.ImportIniCoastdown());
    recorder.RunStarted("warmup", {{"warmupTimeSeconds", 300}});
    for (int i = 0; i < 3; ++i) recorder.RunSample(2);
    first->Flush();
    // Another process opens the file while the run is open: as after a kill, the run is
    // interrupted.
    HistoryStore second;
    ASSERT_TRUE(second.Open(path, nullptr, error)) << error;
    EXPECT_EQ(second.InterruptedAtOpen(), 1);
    const auto rows = second.List({});
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["status"], "interrupted");
    EXPECT_EQ(rows[1]["source"], "ini");
    EXPECT_EQ(rows[1]["passed"], false);
    EXPECT_FLOAT_EQ(F(rows[1]["results"]["lowPercentDelta"]), 20.0f);
    EXPECT_EQ(second.Pragma("PRAGMA user_version"), std::to_string(HistoryStore::kSchemaVersion));
    EXPECT_EQ(second.Pragma("PRAGMA journal_mode"), "wal");
  }
  first.reset();
  // A second start imports nothing again.
  HistoryStore third;
  ASSERT_TRUE(third.Open(path, nullptr, error)) << error;
  HistoryRecorder again(*f.ctx, third);
  EXPECT_FALSE(again.ImportIniCoastdown());
  third.Flush();
  EXPECT_EQ(third.Count(), 2);
  // A file from a newer server is refused, not changed.
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(f.dir.File("n.sqlite").c_str(), &db), SQLITE_OK);
  sqlite3_exec(db, "PRAGMA user_version=9", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  HistoryStore newer;
  EXPECT_FALSE(newer.Open(f.dir.File("n.sqlite"), nullptr, error));
  EXPECT_NE(error.find("newer than this server's"), std::string::npos) << error;
}

}  // namespace
}  // namespace tavkelo
