#pragma once
// What a fleet sees of one station, gathered on the loop: the link's error counters made monotonic
// (the link's own wrap at 999999 and a client may reset two of them), exchange round trips, poll
// cycles, the test and calibration runs by kind and outcome, and the station's events (a test or
// calibration started or ended, the link lost or restored, a notice) for listeners such as the
// MQTT publisher. Loop thread only, except where a member says otherwise.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "link/RunControl.hpp"
#include "runtime/LoopTimer.hpp"
#include "telemetry/MetricsText.hpp"

namespace tavkelo {

class KeloContext;

class StationMonitor {
 public:
  // Chains itself onto the context's poll-cycle and exchange hooks; the destructor restores them.
  explicit StationMonitor(KeloContext& ctx);
  ~StationMonitor();
  StationMonitor(const StationMonitor&) = delete;
  StationMonitor& operator=(const StationMonitor&) = delete;

  using EventListener = std::function<void(const nlohmann::json& event)>;
  // Each event: {"type", "time", ...}; see docs/telemetry.md.
  // Returns the listener's number, for RemoveEventListener.
  int AddEventListener(EventListener listener) {
    listeners_.emplace(++lastListener_, std::move(listener));
    return lastListener_;
  }
  void RemoveEventListener(int number) { listeners_.erase(number); }

  // Looks at the engine's state now: counters, link state, runs, notices (also done after every
  // poll cycle and five times a second).
  void Observe();
  // The server's history reports the seconds since each kind's last pass from the stored runs;
  // from then on this monitor leaves that family to it (before the first scrape).
  void LeaveLastPassToHistory() { lastPassFromHistory_ = true; }
  void WriteMetrics(MetricsText& out);
  nlohmann::json Readings() const;
  nlohmann::json State() const;
  uint64_t PollCycles() const { return pollCycles_; }
  // "closed" (not connected), "up", or "lost" (connected, but the controller stopped answering).
  const char* LinkState() const;

  // The link's error kinds as the metrics label them, in the link's counter order.
  static constexpr std::array<const char*, 6> kErrorKinds = {"device", "checksum", "timeout",
                                                             "nak",    "parse",    "comm_event"};
  uint64_t ErrorTotal(size_t kind) const { return errorTotals_[kind]; }

 private:
  // Stand between the interface and the sequencers, so that a run that starts and ends between
  // two looks is seen all the same.
  struct TestWatch final : TestControl {
    StationMonitor* monitor = nullptr;
    TestControl* inner = nullptr;
    bool Start(int16_t index) override;
    bool RequestStop() override { return inner->RequestStop(); }
  };
  struct CalibrationWatch final : CalibrationControl {
    StationMonitor* monitor = nullptr;
    CalibrationControl* inner = nullptr;
    bool Start(int32_t kind) override;
    bool RequestStop() override { return inner->RequestStop(); }
  };

  void Emit(nlohmann::json event);
  void ObserveRuns();
  void TestStarted(int16_t test);
  void CalibrationStarted(int32_t kind);
  std::string TimeText() const;
  nlohmann::json TestResultsJson(int16_t test) const;

  KeloContext& ctx_;
  LoopTimer timer_;
  std::function<void()> previousPollCycle_;
  std::function<void(int32_t, int64_t)> previousExchangeDone_;
  TestWatch testWatch_;
  CalibrationWatch calibrationWatch_;
  std::map<int, EventListener> listeners_;
  int lastListener_ = 0;
  const int64_t startUs_;

  uint64_t pollCycles_ = 0;
  uint64_t exchanges_ = 0;
  uint64_t failedExchanges_ = 0;
  Histogram roundTrip_;
  std::array<int32_t, 6> lastCounters_{};
  std::array<uint64_t, 6> errorTotals_{};

  std::string linkState_ = "closed";
  int16_t runningTest_ = 0;
  int32_t runningCalibration_ = 0;
  uint64_t lastNotice_ = 0;
  // Runs ended, by (kind, outcome).
  std::map<std::pair<std::string, std::string>, uint64_t> testRuns_;
  std::map<std::pair<std::string, std::string>, uint64_t> calibrationRuns_;
  // The loop's clock (microseconds) of the last completed run of each kind in this process.
  std::map<std::string, int64_t> lastPassUs_;
  bool lastPassFromHistory_ = false;
};

}  // namespace tavkelo
