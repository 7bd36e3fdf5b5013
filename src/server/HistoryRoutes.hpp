#pragma once
// The history and the calibration schedule over HTTP: the runs (filtered, newest first, paged by
// an opaque cursor), one run with its parameters and results, its trace as JSON columns or CSV,
// every run as CSV for a spreadsheet, and the schedule. Reads run on the worker threads against
// the history's own read connection; only the clock comes from the loop.

#include <optional>
#include <string>

#include <httplib.h>

#include "history/CalibrationSchedule.hpp"
#include "history/HistoryStore.hpp"
#include "server/ApiRequest.hpp"
#include "telemetry/MetricsText.hpp"

namespace tavkelo {

class HistoryRoutes {
 public:
  // `store` and `schedule` may be nullptr (no history): the routes then answer 503.
  HistoryRoutes(RouteContext& context, HistoryStore* store, CalibrationSchedule* schedule)
      : context_(context), store_(store), schedule_(schedule) {}
  void AddRoutes(httplib::Server& http);
  // The schedule as metrics (on a scrape's worker thread): seconds since each kind's last passing
  // run and its state as a 0/1 gauge per state; nothing when the history is off.
  void WriteMetrics(MetricsText& out);

  // The filters of a request; ApiError(400) naming the bad one.
  static RunFilter ParseFilter(const httplib::Request& req, int defaultLimit, int maxLimit);
  // "2026-11-25", "2026-11-25T13:00:00Z" (UTC) or unix seconds; nothing when it is none of them.
  static std::optional<double> ParseTime(const std::string& text);

 private:
  HistoryStore& Store();

  RouteContext& context_;
  HistoryStore* store_;
  CalibrationSchedule* schedule_;
};

}  // namespace tavkelo
