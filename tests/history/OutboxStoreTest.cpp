// The telemetry's outbox in the history file: a file of the first schema gains it and keeps its
// runs, the events left unacknowledged come back oldest first at the next open, and the numbering
// goes on past the highest number ever stored even when every event was acknowledged.
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <string>
#include <vector>

#include "history/HistoryStore.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

void Exec(const std::string& path, const std::string& sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(db);
  sqlite3_close(db);
}

TEST(OutboxStore, AFirstSchemaFileGainsTheOutboxAndEventsOutliveTheStoreNumberedOn) {
  test::TempDir dir;
  const std::string path = dir.File("h.sqlite");
  std::string error;
  {
    HistoryStore store;
    ASSERT_TRUE(store.Open(path, nullptr, error)) << error;
    RunRow row;
    row.id = store.NextId();
    row.kind = "coastdown";
    row.status = "completed";
    store.InsertRun(row);
  }
  // Back to the first schema: no outbox table.
  Exec(path, "DROP TABLE outbox; PRAGMA user_version=1;");

  struct Round {
    std::vector<int64_t> add, remove;
    std::vector<int64_t> leftAtNextOpen;
    int64_t lastAtNextOpen;
  };
  const std::vector<Round> rounds = {
      {{1, 2, 3, 4, 5}, {1, 2, 4}, {3, 5}, 5},
      {{6}, {3, 5, 6}, {}, 6},  // all acknowledged: the number is remembered all the same
      {{7, 8}, {}, {7, 8}, 8},
  };
  {
    HistoryStore store;
    ASSERT_TRUE(store.Open(path, nullptr, error)) << error;
    EXPECT_EQ(store.Pragma("PRAGMA user_version"), std::to_string(HistoryStore::kSchemaVersion));
    EXPECT_EQ(store.Count(), 1);
    std::vector<StoredEvent> left;
    EXPECT_EQ(store.TakeOutbox(left), 0);
    EXPECT_TRUE(left.empty());
  }
  for (const Round& round : rounds) {
    {
      HistoryStore store;
      ASSERT_TRUE(store.Open(path, nullptr, error)) << error;
      std::vector<StoredEvent> ignored;
      store.TakeOutbox(ignored);
      for (int64_t seq : round.add)
        store.AddOutboxEvent(seq, "{\"seq\":" + std::to_string(seq) + "}");
      for (int64_t seq : round.remove) store.RemoveOutboxEvent(seq);
    }  // the store's end writes everything queued
    HistoryStore next;
    ASSERT_TRUE(next.Open(path, nullptr, error)) << error;
    std::vector<StoredEvent> left;
    EXPECT_EQ(next.TakeOutbox(left), round.lastAtNextOpen);
    std::vector<int64_t> seqs;
    for (const StoredEvent& e : left) {
      seqs.push_back(e.seq);
      EXPECT_EQ(e.payload, "{\"seq\":" + std::to_string(e.seq) + "}");
    }
    EXPECT_EQ(seqs, round.leftAtNextOpen);
  }
}

}  // namespace
}  // namespace tavkelo
