// The history and the schedule over HTTP, in-process on virtual time against the simulated dyne:
// a coastdown started from the console is found in the list, with its results and its trace as
// JSON and CSV; pages follow each other newest first without gaps; bad filters get clear 400s and
// unknown runs 404.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "ServerRig.hpp"

namespace tavkelo {
namespace {

using nlohmann::json;

TEST(HistoryRoutes, ACoastdownIsListedWithItsResultsAndItsTrace) {
  test::ServerRig rig;
  ASSERT_EQ(rig.Request("GET", "/api/history").json["runs"].size(), 0u);
  const json started = rig.Request("POST", "/api/console/start", R"({"test": 3})").json;
  ASSERT_EQ(started["result"], 0) << started.dump();
  for (int i = 0; i < 200 && rig.Assembly().Engine().Context().test.CurTest != 0; ++i)
    rig.PassTime(1000);
  ASSERT_EQ(rig.Assembly().Engine().Context().test.CurTest, 0);

  const json list = rig.Request("GET", "/api/history?kind=coastdown&status=completed").json;
  ASSERT_EQ(list["runs"].size(), 1u) << list.dump();
  const json& run = list["runs"][0];
  const CoastdownResult& high = rig.Assembly().Engine().Context().results.Coastdown[1];
  EXPECT_EQ(static_cast<float>(run["results"]["highActualSeconds"].get<double>()), high.ACDT);
  EXPECT_EQ(list["nextCursor"], nullptr);
  const std::string id = std::to_string(run["id"].get<int64_t>());
  const test::Reply one = rig.Request("GET", "/api/history/" + id);
  EXPECT_EQ(one.json["parameters"], run["parameters"]);
  EXPECT_TRUE(one.json["endUtc"].get<std::string>().ends_with("Z"));

  const json trace = rig.Request("GET", "/api/history/" + id + "/trace").json;
  const size_t count = trace["count"];
  EXPECT_EQ(count, run["samples"].get<size_t>());
  EXPECT_EQ(trace["columns"]["speedMph"].size(), count);
  EXPECT_GT(count, 100u);
  const test::Reply csv = rig.Request("GET", "/api/history/" + id + "/trace.csv");
  EXPECT_EQ(csv.status, 200);
  EXPECT_TRUE(csv.text.starts_with("timeS,speedMph,"));
  EXPECT_EQ(static_cast<size_t>(std::count(csv.text.begin(), csv.text.end(), '\n')), count + 1);
  const test::Reply all = rig.Request("GET", "/api/history.csv");
  EXPECT_TRUE(all.text.starts_with("id,kind,status,"));
  EXPECT_NE(all.text.find("," + std::string("coastdown") + ",completed,"), std::string::npos);
  EXPECT_NE(all.text.find("highActualSeconds="), std::string::npos);

  // The schedule: coastdown ok; the rest never run.
  const json schedule = rig.Request("GET", "/api/schedule").json;
  ASSERT_EQ(schedule["items"].size(), 4u);
  EXPECT_EQ(schedule["items"][0]["kind"], "coastdown");
  EXPECT_EQ(schedule["items"][0]["state"], run["passed"] ? "ok" : "never_run");
  EXPECT_EQ(schedule["items"][2]["state"], "never_run");
}

TEST(HistoryRoutes, PagesFollowNewestFirstAndBadRequestsSayWhatIsWrong) {
  test::ServerRig rig;
  HistoryStore& store = *rig.Assembly().History();
  const double base = 1.75e9;
  for (int i = 0; i < 7; ++i) {
    RunRow row;
    row.id = store.NextId();
    row.kind = i % 2 ? "parasitics" : "warmup";
    row.status = "completed";
    row.passed = true;
    row.startUnix = row.endUnix = base + (i == 6 ? 3 : i) * 3600.0;  // two runs share a start
    store.InsertRun(row);
  }
  store.Flush();
  std::vector<int64_t> seen;
  std::string cursor;
  for (int page = 0; page < 5; ++page) {
    const json j = rig.Request("GET", "/api/history?limit=3" + cursor).json;
    for (const json& r : j["runs"]) seen.push_back(r["id"].get<int64_t>());
    if (j["nextCursor"].is_null()) break;
    cursor = "&cursor=" + j["nextCursor"].get<std::string>();
  }
  // Runs 7 and 4 start at the same second: the id keeps them apart across the page's edge.
  EXPECT_EQ(seen, (std::vector<int64_t>{6, 5, 7, 4, 3, 2, 1}));
  // Filters by time (UTC) and kind.
  const json since = rig.Request("GET", "/api/history?kind=warmup&since=" +
                                            std::to_string(static_cast<int64_t>(base + 3600)))
                         .json;
  std::set<int64_t> ids;
  for (const json& r : since["runs"]) ids.insert(r["id"].get<int64_t>());
  EXPECT_EQ(ids, (std::set<int64_t>{3, 5, 7}));

  struct Bad {
    const char* path;
    int status;
    const char* error;
  };
  const Bad cases[] = {
      {"/api/history?kind=coast", 400, "kind must be one of"},
      {"/api/history?status=done", 400, "status must be one of"},
      {"/api/history?since=yesterday", 400, "since must be a date"},
      {"/api/history?until=2026-13-01", 400, "until must be a date"},
      {"/api/history?since=2026-02-01&until=2026-01-01", 400, "until must not be before since"},
      {"/api/history?limit=0", 400, "limit must be a whole number from 1 to 1000"},
      {"/api/history?cursor=abc", 400, "cursor must be the nextCursor"},
      {"/api/history/999", 404, "no run 999 in the history"},
      {"/api/history/999/trace", 404, "no run 999 in the history"},
  };
  for (const Bad& c : cases) {
    SCOPED_TRACE(c.path);
    const test::Reply r = rig.Request("GET", c.path);
    EXPECT_EQ(r.status, c.status);
    EXPECT_NE(r.Error().find(c.error), std::string::npos) << r.text;
  }
  EXPECT_EQ(rig.Request("GET", "/api/history?since=2026-11-25T13:00:00Z&until=2026-11-26").status,
            200);
}

}  // namespace
}  // namespace tavkelo
