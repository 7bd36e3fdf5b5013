#pragma once
// The two coastdown result records in the INI file, section "CoastdownResults": saved when a
// coastdown completes, loaded at start-up and on the interface's request. Stopwatch, CoastMs,
// TimeDelta and PercentDelta are not stored.

#include <utility>

namespace tavkelo {

class KeloContext;

class CoastdownResultsStore {
 public:
  explicit CoastdownResultsStore(KeloContext& ctx) : ctx_(ctx) {}

  // True saves both records of ctx.results.Coastdown to the INI file; False loads them from it.
  void LoadSaveCoastdownResults(bool save);
  // Loads the records and returns the dates of the high and the low window (start-up).
  std::pair<double, double> LoadForStartup();

  static constexpr const char* kSection = "CoastdownResults";
  // A date missing from the file reads as this many days from now.
  static constexpr double kMissingDateDays = 100.0;

 private:
  KeloContext& ctx_;
};

}  // namespace tavkelo
