#include "server/MetricsRoutes.hpp"

#include <chrono>

namespace tavkelo {

namespace {
// When the request that this worker thread answers arrived.
thread_local std::chrono::steady_clock::time_point requestStart;

const char* const kGroups[] = {"automation", "readings", "wizard", "simulator",
                               "api",        "metrics",  "pages"};
}  // namespace

MetricsRoutes::MetricsRoutes(RouteContext& context, std::function<void(MetricsText&)> gather)
    : context_(context), gather_(std::move(gather)) {
  for (const char* group : kGroups) {
    latency_[group] = std::make_unique<Histogram>(
        std::vector<double>{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 1, 5});
  }
}

const char* MetricsRoutes::RouteGroup(const std::string& path) {
  auto starts = [&](const char* prefix) { return path.rfind(prefix, 0) == 0; };
  if (starts("/automation/")) return "automation";
  if (starts("/api/readings")) return "readings";
  if (starts("/api/wizard")) return "wizard";
  if (starts("/api/sim")) return "simulator";
  if (starts("/api/")) return "api";
  if (path == "/metrics") return "metrics";
  return "pages";
}

void MetricsRoutes::RequestArrived() {
  requestStart = std::chrono::steady_clock::now();
}

void MetricsRoutes::AddRoutes(httplib::Server& http) {
  http.Get("/metrics", [this](const httplib::Request&, httplib::Response& res) {
    try {
      MetricsText out = context_.OnLoop(CallKind::NeverWaits, [&] {
        MetricsText loopPart;
        gather_(loopPart);
        return loopPart;
      });
      WriteHttp(out);
      for (const auto& source : sources_) source(out);
      res.set_content(out.Text(), "text/plain; version=0.0.4; charset=utf-8");
    } catch (const ApiError& e) {
      AnswerError(res, e.Status(), e.what());
    } catch (const LoopCallDropped&) {
      AnswerError(res, 503, "the server is stopping");
    }
  });
}

void MetricsRoutes::Count(const httplib::Request& req, const httplib::Response& res) {
  const char* group = RouteGroup(req.path);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - requestStart).count();
  latency_.at(group)->Observe(seconds);
  std::lock_guard<std::mutex> lock(mutex_);
  ++requests_[{group, res.status}];
}

void MetricsRoutes::WriteHttp(MetricsText& out) const {
  using T = MetricsText::Type;
  out.Family("tavkelo_http_requests_total", "HTTP requests answered, by route group and status",
             T::Counter);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [key, count] : requests_) {
      out.Sample("tavkelo_http_requests_total", static_cast<double>(count),
                 {{"group", key.first}, {"status", std::to_string(key.second)}});
    }
  }
  out.Family("tavkelo_http_request_duration_seconds",
             "Time from a request's arrival to its answer, by route group", T::Histogram);
  for (const auto& [group, histogram] : latency_)
    histogram->Write(out, "tavkelo_http_request_duration_seconds", {{"group", group}});
}

}  // namespace tavkelo
