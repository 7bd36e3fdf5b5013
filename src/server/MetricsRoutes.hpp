#pragma once
// GET /metrics: the station in the Prometheus text exposition format, for a fleet's Prometheus to
// scrape. The engine's part is gathered on the loop (StationMonitor); the HTTP requests are
// counted here, on the worker threads, by route group and status, with their latency.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <httplib.h>

#include "server/ApiRequest.hpp"
#include "telemetry/MetricsText.hpp"

namespace tavkelo {

class MetricsRoutes {
 public:
  // `gather` writes the loop's part (it runs on the loop).
  MetricsRoutes(RouteContext& context, std::function<void(MetricsText&)> gather);

  // The route. The server counts every answered request through Count().
  void AddRoutes(httplib::Server& http);
  // One answered request, by route group and status, with its latency since RequestArrived().
  void Count(const httplib::Request& req, const httplib::Response& res);
  // Marks the arrival of a request on this worker thread: the start of its latency. The server's
  // pre-routing handler calls it before the request guard, so refused requests are timed too.
  static void RequestArrived();
  // A source of more metrics, written from the worker thread that answers (before Start).
  void AddSource(std::function<void(MetricsText&)> source) {
    sources_.push_back(std::move(source));
  }
  // The group a path belongs to: automation, readings, wizard, simulator, api, metrics or pages.
  static const char* RouteGroup(const std::string& path);

 private:
  void WriteHttp(MetricsText& out) const;

  RouteContext& context_;
  std::function<void(MetricsText&)> gather_;
  std::vector<std::function<void(MetricsText&)>> sources_;
  mutable std::mutex mutex_;
  std::map<std::pair<std::string, int>, uint64_t> requests_;
  std::map<std::string, std::unique_ptr<Histogram>> latency_;
};

}  // namespace tavkelo
