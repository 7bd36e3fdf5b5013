#include "history/HistoryStore.hpp"

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <stdexcept>

namespace tavkelo {

namespace {

// The schema, one step per version: a file at version N gets the steps after N.
const char* const kMigrations[] = {
    // 1: runs, their traces, and the store's own notes.
    "CREATE TABLE runs ("
    "  id INTEGER PRIMARY KEY,"
    "  kind TEXT NOT NULL,"
    "  status TEXT NOT NULL,"
    "  reason TEXT NOT NULL DEFAULT '',"
    "  start_unix REAL NOT NULL,"
    "  end_unix REAL,"
    "  start_local TEXT NOT NULL DEFAULT '',"
    "  end_local TEXT NOT NULL DEFAULT '',"
    "  parameters TEXT NOT NULL DEFAULT '{}',"
    "  results TEXT NOT NULL DEFAULT '{}',"
    "  link_counters TEXT NOT NULL DEFAULT '{}',"
    "  firmware REAL, roll_diameter REAL, base_inertia REAL,"
    "  samples INTEGER NOT NULL DEFAULT 0,"
    "  passed INTEGER NOT NULL DEFAULT 0,"
    "  source TEXT NOT NULL DEFAULT 'recorded');"
    "CREATE INDEX runs_by_start ON runs(start_unix DESC, id DESC);"
    "CREATE INDEX runs_by_kind ON runs(kind, passed, end_unix);"
    "CREATE TABLE traces (run_id INTEGER PRIMARY KEY REFERENCES runs(id), format INTEGER NOT "
    "NULL, data BLOB NOT NULL);"
    "CREATE TABLE meta (key TEXT PRIMARY KEY, value TEXT NOT NULL);",
    // 2: the telemetry's events not yet acknowledged by the broker. AUTOINCREMENT makes SQLite
    // remember the highest number ever stored, so numbering goes on after the table empties.
    "CREATE TABLE outbox (seq INTEGER PRIMARY KEY AUTOINCREMENT, payload TEXT NOT NULL);",
};
static_assert(sizeof kMigrations / sizeof kMigrations[0] == HistoryStore::kSchemaVersion);

// A prepared statement that finalizes itself.
class Stmt {
 public:
  Stmt(sqlite3* db, const std::string& sql) : db_(db) {
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &st_, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(db));
  }
  ~Stmt() { sqlite3_finalize(st_); }
  Stmt(const Stmt&) = delete;
  Stmt& operator=(const Stmt&) = delete;
  sqlite3_stmt* get() { return st_; }
  Stmt& Bind(int i, const std::string& v) {
    sqlite3_bind_text(st_, i, v.c_str(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Stmt& Bind(int i, double v) {
    sqlite3_bind_double(st_, i, v);
    return *this;
  }
  Stmt& Bind(int i, int64_t v) {
    sqlite3_bind_int64(st_, i, v);
    return *this;
  }
  Stmt& BindBlob(int i, const std::string& v) {
    sqlite3_bind_blob(st_, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
    return *this;
  }
  bool Step() {
    const int rc = sqlite3_step(st_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    throw std::runtime_error(sqlite3_errmsg(db_));
  }

 private:
  sqlite3* db_;
  sqlite3_stmt* st_ = nullptr;
};

void Exec(sqlite3* db, const std::string& sql) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    std::string text = message != nullptr ? message : sqlite3_errmsg(db);
    sqlite3_free(message);
    throw std::runtime_error(text);
  }
}

std::string Text(sqlite3_stmt* st, int column) {
  const unsigned char* text = sqlite3_column_text(st, column);
  return text != nullptr ? reinterpret_cast<const char*>(text) : "";
}

template <class T>
void Put(std::string& out, T value) {
  char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  out.append(bytes, sizeof(T));  // the machines this runs on are little-endian
}

template <class T>
T Take(const char*& p) {
  T value;
  std::memcpy(&value, p, sizeof(T));
  p += sizeof(T);
  return value;
}

constexpr size_t kSampleBytes = 24;

}  // namespace

std::string PackTrace(const std::vector<TraceSample>& samples) {
  std::string out;
  out.reserve(samples.size() * kSampleBytes);
  for (const TraceSample& s : samples) {
    Put(out, s.ms);
    Put(out, s.speedMph);
    Put(out, s.accelerationMphPerS);
    Put(out, s.torqueFtLb);
    Put(out, s.powerHp);
    Put(out, s.statusBits);
    Put(out, s.stage);
  }
  return out;
}

std::vector<TraceSample> UnpackTrace(const std::string& blob) {
  std::vector<TraceSample> samples(blob.size() / kSampleBytes);
  const char* p = blob.data();
  for (TraceSample& s : samples) {
    s.ms = Take<uint32_t>(p);
    s.speedMph = Take<float>(p);
    s.accelerationMphPerS = Take<float>(p);
    s.torqueFtLb = Take<float>(p);
    s.powerHp = Take<float>(p);
    s.statusBits = Take<uint16_t>(p);
    s.stage = Take<int16_t>(p);
  }
  return samples;
}

HistoryStore::~HistoryStore() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  if (writer_.joinable()) writer_.join();
  sqlite3_close(write_);
  sqlite3_close(read_);
}

bool HistoryStore::Open(const std::string& path, ErrorSink onError, std::string& error) {
  path_ = path;
  onError_ = std::move(onError);
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  try {
    if (sqlite3_open_v2(path.c_str(), &write_, flags, nullptr) != SQLITE_OK)
      throw std::runtime_error(write_ != nullptr ? sqlite3_errmsg(write_) : "out of memory");
    sqlite3_busy_timeout(write_, 2000);
    Exec(write_, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL; PRAGMA foreign_keys=ON;");
    int64_t version = 0;
    {
      Stmt st(write_, "PRAGMA user_version");
      if (st.Step()) version = sqlite3_column_int64(st.get(), 0);
    }
    if (version > kSchemaVersion)
      throw std::runtime_error("the file has schema version " + std::to_string(version) +
                               ", newer than this server's " + std::to_string(kSchemaVersion));
    for (int64_t v = version; v < kSchemaVersion; ++v) {
      Exec(write_, "BEGIN");
      Exec(write_, kMigrations[v]);
      Exec(write_, "PRAGMA user_version=" + std::to_string(v + 1));
      Exec(write_, "COMMIT");
    }
    Exec(write_,
         "UPDATE runs SET status='interrupted', reason='the server stopped during the run' "
         "WHERE status='in_progress'");
    interruptedAtOpen_ = sqlite3_changes(write_);
    {
      Stmt st(write_, "SELECT COALESCE(MAX(id), 0) FROM runs");
      if (st.Step()) lastId_ = sqlite3_column_int64(st.get(), 0);
    }
    {
      Stmt st(write_, "SELECT seq, payload FROM outbox ORDER BY seq");
      while (st.Step())
        outboxAtOpen_.push_back(StoredEvent{sqlite3_column_int64(st.get(), 0), Text(st.get(), 1)});
      Stmt last(write_, "SELECT seq FROM sqlite_sequence WHERE name='outbox'");
      if (last.Step()) lastOutboxSeq_ = sqlite3_column_int64(last.get(), 0);
    }
    if (sqlite3_open_v2(path.c_str(), &read_, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK)
      throw std::runtime_error(read_ != nullptr ? sqlite3_errmsg(read_) : "out of memory");
    sqlite3_busy_timeout(read_, 2000);
  } catch (const std::exception& e) {
    error = path + ": " + e.what();
    sqlite3_close(write_);
    sqlite3_close(read_);
    write_ = read_ = nullptr;
    return false;
  }
  writer_ = std::thread([this] { WriterLoop(); });
  return true;
}

void HistoryStore::Queue(Job job) {
  if (write_ == nullptr) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    jobs_.push_back(std::move(job));
    ++queued_;
  }
  wake_.notify_one();
}

void HistoryStore::Flush() {
  std::unique_lock<std::mutex> lock(mutex_);
  const uint64_t target = queued_;
  done_.wait(lock, [&] { return written_ >= target || writer_.get_id() == std::thread::id(); });
}

void HistoryStore::WriterLoop() {
  // Signals are the loop's to take, not this thread's.
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    wake_.wait(lock, [&] { return stop_ || !jobs_.empty(); });
    if (jobs_.empty() && stop_) return;
    // Everything that waits goes in one transaction.
    std::deque<Job> batch;
    batch.swap(jobs_);
    lock.unlock();
    std::string failure;
    try {
      Exec(write_, "BEGIN");
      for (Job& job : batch) job(write_);
      Exec(write_, "COMMIT");
    } catch (const std::exception& e) {
      failure = e.what();
      sqlite3_exec(write_, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    if (!failure.empty() && onError_)
      onError_("history: " + std::to_string(batch.size()) + " writes lost: " + failure);
    lock.lock();
    written_ += batch.size();
    done_.notify_all();
  }
}

void HistoryStore::InsertRun(const RunRow& r) {
  Queue([r](sqlite3* db) {
    Stmt st(db,
            "INSERT INTO runs (id, kind, status, reason, start_unix, end_unix, start_local, "
            "end_local, parameters, results, link_counters, firmware, roll_diameter, "
            "base_inertia, passed, source) VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
    st.Bind(1, r.id).Bind(2, r.kind).Bind(3, r.status).Bind(4, r.reason).Bind(5, r.startUnix);
    if (r.status != "in_progress") st.Bind(6, r.endUnix);
    st.Bind(7, r.startLocal).Bind(8, r.endLocal).Bind(9, r.parameters.dump());
    st.Bind(10, r.results.dump()).Bind(11, r.linkCounters.dump()).Bind(12, r.firmware);
    st.Bind(13, r.rollDiameter).Bind(14, r.baseInertia).Bind(15, int64_t{r.passed ? 1 : 0});
    st.Bind(16, r.source);
    st.Step();
  });
}

void HistoryStore::FinishRun(const RunRow& r, std::string trace, int64_t samples) {
  Queue([r, trace = std::move(trace), samples](sqlite3* db) {
    Stmt st(db,
            "UPDATE runs SET status=?, reason=?, end_unix=?, end_local=?, results=?, "
            "link_counters=?, firmware=?, passed=?, samples=? WHERE id=?");
    st.Bind(1, r.status).Bind(2, r.reason).Bind(3, r.endUnix).Bind(4, r.endLocal);
    st.Bind(5, r.results.dump()).Bind(6, r.linkCounters.dump()).Bind(7, r.firmware);
    st.Bind(8, int64_t{r.passed ? 1 : 0}).Bind(9, samples).Bind(10, r.id);
    st.Step();
    Stmt tr(db, "INSERT OR REPLACE INTO traces (run_id, format, data) VALUES (?, 1, ?)");
    tr.Bind(1, r.id).BindBlob(2, trace);
    tr.Step();
  });
}

int64_t HistoryStore::TakeOutbox(std::vector<StoredEvent>& events) {
  events = std::move(outboxAtOpen_);
  outboxAtOpen_.clear();
  for (const StoredEvent& e : events) lastOutboxSeq_ = std::max(lastOutboxSeq_, e.seq);
  return lastOutboxSeq_;
}

void HistoryStore::AddOutboxEvent(int64_t seq, std::string payload) {
  Queue([seq, payload = std::move(payload)](sqlite3* db) {
    Stmt st(db, "INSERT OR REPLACE INTO outbox (seq, payload) VALUES (?, ?)");
    st.Bind(1, seq).Bind(2, payload);
    st.Step();
  });
}

void HistoryStore::RemoveOutboxEvent(int64_t seq) {
  Queue([seq](sqlite3* db) {
    Stmt st(db, "DELETE FROM outbox WHERE seq=?");
    st.Bind(1, seq);
    st.Step();
  });
}

void HistoryStore::SetMeta(const std::string& key, const std::string& value) {
  Queue([key, value](sqlite3* db) {
    Stmt st(db, "INSERT OR REPLACE INTO meta (key, value) VALUES (?, ?)");
    st.Bind(1, key).Bind(2, value);
    st.Step();
  });
}

namespace {
const char* const kColumns =
    "id, kind, status, reason, start_unix, end_unix, start_local, end_local, parameters, "
    "results, link_counters, firmware, roll_diameter, base_inertia, samples, passed, source";

std::string IsoUtc(double unix) {
  const auto whole = static_cast<time_t>(unix);
  int ms = static_cast<int>((unix - static_cast<double>(whole)) * 1000.0 + 0.5);
  time_t seconds = whole;
  if (ms >= 1000) {
    ms -= 1000;
    ++seconds;
  }
  struct tm t {};
  gmtime_r(&seconds, &t);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", t.tm_year + 1900,
                t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, ms);
  return text;
}
}  // namespace

nlohmann::json HistoryStore::RowJson(sqlite3_stmt* st) {
  auto parse = [&](int c) {
    nlohmann::json j = nlohmann::json::parse(Text(st, c), nullptr, false);
    return j.is_discarded() ? nlohmann::json::object() : j;
  };
  nlohmann::json row = {{"id", sqlite3_column_int64(st, 0)},
                        {"kind", Text(st, 1)},
                        {"status", Text(st, 2)},
                        {"reason", Text(st, 3)},
                        {"startUnix", sqlite3_column_double(st, 4)},
                        {"startUtc", IsoUtc(sqlite3_column_double(st, 4))},
                        {"startLocal", Text(st, 6)},
                        {"endLocal", Text(st, 7)},
                        {"parameters", parse(8)},
                        {"results", parse(9)},
                        {"linkCounters", parse(10)},
                        {"firmware", sqlite3_column_double(st, 11)},
                        {"rollDiameter", sqlite3_column_double(st, 12)},
                        {"baseInertia", sqlite3_column_double(st, 13)},
                        {"samples", sqlite3_column_int64(st, 14)},
                        {"passed", sqlite3_column_int64(st, 15) != 0},
                        {"source", Text(st, 16)}};
  if (sqlite3_column_type(st, 5) != SQLITE_NULL) {
    row["endUnix"] = sqlite3_column_double(st, 5);
    row["endUtc"] = IsoUtc(sqlite3_column_double(st, 5));
  } else {
    row["endUnix"] = nullptr;
    row["endUtc"] = nullptr;
  }
  return row;
}

std::vector<nlohmann::json> HistoryStore::List(const RunFilter& f) {
  std::string sql = std::string("SELECT ") + kColumns + " FROM runs WHERE 1=1";
  if (!f.kind.empty()) sql += " AND kind=:kind";
  if (!f.status.empty()) sql += " AND status=:status";
  if (f.since) sql += " AND start_unix>=:since";
  if (f.until) sql += " AND start_unix<:until";
  if (f.after) sql += " AND (start_unix<:at OR (start_unix=:at AND id<:id))";
  sql += " ORDER BY start_unix DESC, id DESC LIMIT :limit";
  std::lock_guard<std::mutex> lock(readMutex_);
  std::vector<nlohmann::json> rows;
  if (read_ == nullptr) return rows;
  Stmt st(read_, sql);
  auto index = [&](const char* name) { return sqlite3_bind_parameter_index(st.get(), name); };
  if (!f.kind.empty()) st.Bind(index(":kind"), f.kind);
  if (!f.status.empty()) st.Bind(index(":status"), f.status);
  if (f.since) st.Bind(index(":since"), *f.since);
  if (f.until) st.Bind(index(":until"), *f.until);
  if (f.after) st.Bind(index(":at"), f.after->first).Bind(index(":id"), f.after->second);
  st.Bind(index(":limit"), static_cast<int64_t>(f.limit));
  while (st.Step()) rows.push_back(RowJson(st.get()));
  return rows;
}

std::optional<nlohmann::json> HistoryStore::Get(int64_t id) {
  std::lock_guard<std::mutex> lock(readMutex_);
  if (read_ == nullptr) return std::nullopt;
  Stmt st(read_, std::string("SELECT ") + kColumns + " FROM runs WHERE id=?");
  st.Bind(1, id);
  if (!st.Step()) return std::nullopt;
  return RowJson(st.get());
}

std::optional<std::vector<TraceSample>> HistoryStore::Trace(int64_t id) {
  std::lock_guard<std::mutex> lock(readMutex_);
  if (read_ == nullptr) return std::nullopt;
  Stmt st(read_,
          "SELECT runs.id, traces.data FROM runs LEFT JOIN traces ON traces.run_id=runs.id "
          "WHERE runs.id=?");
  st.Bind(1, id);
  if (!st.Step()) return std::nullopt;
  const void* data = sqlite3_column_blob(st.get(), 1);
  const int size = sqlite3_column_bytes(st.get(), 1);
  if (data == nullptr) return std::vector<TraceSample>{};
  return UnpackTrace(std::string(static_cast<const char*>(data), static_cast<size_t>(size)));
}

std::optional<double> HistoryStore::LastPass(const std::string& kind) {
  std::lock_guard<std::mutex> lock(readMutex_);
  if (read_ == nullptr) return std::nullopt;
  Stmt st(read_, "SELECT MAX(end_unix) FROM runs WHERE kind=? AND passed=1");
  st.Bind(1, kind);
  if (!st.Step() || sqlite3_column_type(st.get(), 0) == SQLITE_NULL) return std::nullopt;
  return sqlite3_column_double(st.get(), 0);
}

std::optional<double> HistoryStore::LastFailure(const std::string& kind) {
  std::lock_guard<std::mutex> lock(readMutex_);
  if (read_ == nullptr) return std::nullopt;
  Stmt st(read_, "SELECT MAX(end_unix) FROM runs WHERE kind=? AND passed=0 AND status='completed'");
  st.Bind(1, kind);
  if (!st.Step() || sqlite3_column_type(st.get(), 0) == SQLITE_NULL) return std::nullopt;
  return sqlite3_column_double(st.get(), 0);
}

std::string HistoryStore::Meta(const std::string& key) {
  std::lock_guard<std::mutex> lock(readMutex_);
  if (read_ == nullptr) return "";
  Stmt st(read_, "SELECT value FROM meta WHERE key=?");
  st.Bind(1, key);
  return st.Step() ? Text(st.get(), 0) : "";
}

int64_t HistoryStore::Count() {
  const std::string n = Pragma("SELECT COUNT(*) FROM runs");
  return n.empty() ? 0 : std::stoll(n);
}

std::string HistoryStore::Pragma(const std::string& sql) {
  std::lock_guard<std::mutex> lock(readMutex_);
  if (read_ == nullptr) return "";
  try {
    Stmt st(read_, sql);
    return st.Step() ? Text(st.get(), 0) : "";
  } catch (const std::exception&) {
    return "";
  }
}

}  // namespace tavkelo
