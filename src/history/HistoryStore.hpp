#pragma once
// The station's history: one SQLite file (WAL journal, schema versioned with PRAGMA user_version)
// holding a row per test and calibration run and each run's trace of poll samples, and the
// telemetry's outbox: the events a broker has not acknowledged yet. Writes go to a
// writer thread of their own, in batches of one transaction, so a slow or full disk never holds up
// the loop; a failed write is reported through the error callback and dropped. Reads run on the
// caller's thread on a connection of their own (WAL lets them run beside the writer).

#include <sqlite3.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

namespace tavkelo {

// One poll sample of a run's trace.
struct TraceSample {
  uint32_t ms = 0;  // since the run started
  float speedMph = 0.0f;
  float accelerationMphPerS = 0.0f;
  float torqueFtLb = 0.0f;
  float powerHp = 0.0f;
  uint16_t statusBits = 0;
  int16_t stage = 0;
};

// The trace as stored: the samples packed little-endian, 24 bytes each.
std::string PackTrace(const std::vector<TraceSample>& samples);
std::vector<TraceSample> UnpackTrace(const std::string& blob);

// A run as it is written.
struct RunRow {
  int64_t id = 0;
  std::string kind;
  std::string status;  // in_progress, completed, aborted, interrupted
  std::string reason;
  double startUnix = 0.0, endUnix = 0.0;  // seconds since 1970 (UTC)
  std::string startLocal, endLocal;       // the station's wall clock, as the log writes it
  nlohmann::json parameters = nlohmann::json::object();
  nlohmann::json results = nlohmann::json::object();
  nlohmann::json linkCounters = nlohmann::json::object();
  double firmware = 0.0, rollDiameter = 0.0, baseInertia = 0.0;
  bool passed = false;
  std::string source = "recorded";  // or "ini" (imported from the INI file's stored results)
};

// An event of the telemetry's outbox: its number and its message, as published.
struct StoredEvent {
  int64_t seq = 0;
  std::string payload;
};

struct RunFilter {
  std::string kind, status;
  std::optional<double> since, until;  // unix seconds, on the start time
  int limit = 50;
  // The last row of the previous page: (start, id), newest first.
  std::optional<std::pair<double, int64_t>> after;
};

class HistoryStore {
 public:
  using ErrorSink = std::function<void(const std::string& message)>;
  HistoryStore() = default;
  ~HistoryStore();
  HistoryStore(const HistoryStore&) = delete;
  HistoryStore& operator=(const HistoryStore&) = delete;

  // Opens (creating) the file, applies the migrations, marks the runs left in progress as
  // interrupted and starts the writer. False with `error` set when the file cannot be used.
  bool Open(const std::string& path, ErrorSink onError, std::string& error);
  bool IsOpen() const { return read_ != nullptr; }
  const std::string& Path() const { return path_; }
  static constexpr int kSchemaVersion = 2;

  // Queued for the writer.
  void InsertRun(const RunRow& row);  // with its id (NextId())
  void FinishRun(const RunRow& row, std::string trace, int64_t samples);
  int64_t NextId() { return ++lastId_; }
  // Waits until everything queued so far is written (or failed).
  void Flush();
  // The outbox as the open found it: its events into `events`, oldest first (handed over once),
  // and the highest number it ever held (0: none), which the next event's number must pass.
  int64_t TakeOutbox(std::vector<StoredEvent>& events);
  // Queued: an event enters the outbox; one leaves it.
  void AddOutboxEvent(int64_t seq, std::string payload);
  void RemoveOutboxEvent(int64_t seq);
  // Runs that the start found in progress and marked interrupted.
  int InterruptedAtOpen() const { return interruptedAtOpen_; }

  // Reads (any thread).
  std::vector<nlohmann::json> List(const RunFilter& filter);
  std::optional<nlohmann::json> Get(int64_t id);
  // The trace as stored; nothing for an unknown run.
  std::optional<std::vector<TraceSample>> Trace(int64_t id);
  // The newest passing run of `kind` (its end, unix seconds) and the newest failed completed one.
  std::optional<double> LastPass(const std::string& kind);
  std::optional<double> LastFailure(const std::string& kind);
  std::string Meta(const std::string& key);
  void SetMeta(const std::string& key, const std::string& value);  // queued
  int64_t Count();
  // Runs a statement on the read connection and returns its first column as text ("" on error).
  std::string Pragma(const std::string& sql);

 private:
  using Job = std::function<void(sqlite3*)>;
  void Queue(Job job);
  void WriterLoop();
  static nlohmann::json RowJson(sqlite3_stmt* st);

  std::string path_;
  ErrorSink onError_;
  sqlite3* write_ = nullptr;
  sqlite3* read_ = nullptr;
  std::mutex readMutex_;
  std::mutex mutex_;
  std::condition_variable wake_, done_;
  std::deque<Job> jobs_;
  uint64_t queued_ = 0, written_ = 0;
  bool stop_ = false;
  std::thread writer_;
  int64_t lastId_ = 0;
  int interruptedAtOpen_ = 0;
  std::vector<StoredEvent> outboxAtOpen_;
  int64_t lastOutboxSeq_ = 0;
};

}  // namespace tavkelo
