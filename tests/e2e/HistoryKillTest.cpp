// The history survives kill -9: a server killed during a run, and killed again while the run's
// first write may be on its way to the disk, leaves a file that SQLite finds intact, whose
// completed runs are all there and whose run in progress the next start marks interrupted.
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "E2eRig.hpp"
#include "client/AutomationClient.hpp"

namespace tavkelo::e2e {
namespace {

TEST(HistoryKill, ARunInProgressWhenTheServerIsKilledIsInterruptedAndTheFileIsIntact) {
  E2eRig rig;
  rig.WriteIni(1);
  const std::string file = rig.DataDir() + "/../TavKeloASM.history.sqlite";
  const char* const kills[] = {"during the run", "right after the start"};
  int runs = 0;
  for (const char* when : kills) {
    SCOPED_TRACE(when);
    E2eRig::Server server = rig.StartServer({"--simulate"});
    AutomationClient client(server.url);
    // The interrupted run of the last round, and every earlier run, are there.
    nlohmann::json list = client.Request("GET", "/api/history");
    ASSERT_EQ(list["runs"].size(), static_cast<size_t>(runs)) << list.dump();
    if (runs > 0) {
      EXPECT_EQ(list["runs"][0]["status"], "interrupted");
      EXPECT_EQ(list["runs"][0]["reason"], "the server stopped during the run");
    }
    const nlohmann::json started =
        client.Request("POST", "/api/console/start", nlohmann::json{{"test", 1}});
    ASSERT_EQ(started["result"], 0) << started.dump();
    ++runs;
    if (std::string(when) == "during the run") {
      list = client.Request("GET", "/api/history?status=in_progress");
      ASSERT_EQ(list["runs"].size(), 1u) << list.dump();
      EXPECT_EQ(list["runs"][0]["kind"], "warmup");
    }
    server.process->Signal(SIGKILL);
    ASSERT_EQ(server.process->Wait(kTimeout), 128 + SIGKILL);
    EXPECT_EQ(Sqlite(file, "PRAGMA integrity_check"), "ok");
  }
  // The last kill may have come before the run's row reached the disk; then the run is not in
  // the file at all, and nothing else is lost.
  E2eRig::Server server = rig.StartServer({"--simulate"});
  const nlohmann::json list = AutomationClient(server.url).Request("GET", "/api/history");
  ASSERT_GE(list["runs"].size(), 1u);
  for (const nlohmann::json& run : list["runs"]) EXPECT_EQ(run["status"], "interrupted");
  // The same through kelo.
  const RunResult csv = rig.Kelo(server.url, {"history", "--csv", "--kind", "warmup"});
  ASSERT_EQ(csv.status, 0) << csv.err;
  EXPECT_TRUE(csv.out.starts_with("id,kind,status,startUtc,endUtc,passed,samples,reason\n"))
      << csv.out;
  EXPECT_NE(csv.out.find(",warmup,interrupted,"), std::string::npos) << csv.out;
  const std::string first = std::to_string(list["runs"][0]["id"].get<int64_t>());
  const RunResult show = rig.Kelo(server.url, {"history", "show", first});
  EXPECT_NE(show.out.find("\"the server stopped during the run\""), std::string::npos) << show.out;
  EXPECT_EQ(rig.Kelo(server.url, {"history", "show", "999"}).status, 1);
  const RunResult schedule = rig.Kelo(server.url, {"schedule"});
  EXPECT_EQ(schedule.status, 0) << schedule.err;
  EXPECT_NE(schedule.out.find("coastdown       never_run"), std::string::npos) << schedule.out;
  EXPECT_EQ(E2eRig::Stop(server), 0);
  EXPECT_EQ(Sqlite(file, "PRAGMA integrity_check"), "ok");
  EXPECT_EQ(Sqlite(file, "PRAGMA user_version"), "2");
  EXPECT_EQ(Sqlite(file, "SELECT COUNT(*) FROM runs WHERE status='in_progress'"), "0");
}

}  // namespace
}  // namespace tavkelo::e2e
