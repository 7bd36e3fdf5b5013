#pragma once
// Records every test and calibration run into the history: the context's run observer. A start
// writes the run's row as in progress (so a process that dies leaves it to be marked interrupted);
// each step adds a poll sample to the trace kept in memory; the end writes the outcome, results,
// link counters' change and the packed trace. Every write is queued for the store's writer, so
// the poller never waits for the disk. Loop thread only.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "history/HistoryStore.hpp"
#include "link/RunObserver.hpp"

namespace tavkelo {

class KeloContext;

// The tolerance that a coastdown window's time must meet to pass.
struct PassRules {
  double coastdownTolerancePercent = 7.0;
};

// Station clock helpers: the loop's local OLE date as unix seconds, and as the text the rows keep.
double LocalOleToUnix(double oleDate);
std::string LocalText(double oleDate);

class HistoryRecorder final : public RunObserver {
 public:
  // Installs itself as ctx.runObserver; the destructor removes itself and marks a run still open
  // as interrupted.
  HistoryRecorder(KeloContext& ctx, HistoryStore& store, PassRules rules = {});
  ~HistoryRecorder();
  HistoryRecorder(const HistoryRecorder&) = delete;
  HistoryRecorder& operator=(const HistoryRecorder&) = delete;

  void RunStarted(const std::string& kind, const RunValues& parameters) override;
  void RunSample(int16_t stage) override;
  void RunFinished(bool completed, const std::string& reason, const RunValues& results) override;

  // At the first start of a history: the INI file's stored coastdown (as loaded into
  // ctx.results) becomes its first coastdown. Later starts do nothing. True when a run was added.
  bool ImportIniCoastdown();
  // Whether a coastdown's results pass (both windows run, each within the tolerance).
  static bool CoastdownPasses(const nlohmann::json& results, double tolerancePercent);
  bool Running() const { return running_; }
  // Samples the run so far holds.
  size_t Samples() const { return samples_.size(); }

 private:
  std::array<int32_t, 6> Counters() const;

  KeloContext& ctx_;
  HistoryStore& store_;
  PassRules rules_;
  bool running_ = false;
  RunRow row_;
  int64_t startUs_ = 0;
  std::array<int32_t, 6> countersAtStart_{};
  std::vector<TraceSample> samples_;
};

}  // namespace tavkelo
