#pragma once
// TavKeloASM's HTTP face, assembled from its route groups: the remote automation API (objects
// with leases, properties, methods, the type library), the readings and their server-sent-event
// stream, the dashboard's console, wizard and simulator panels, and the web pages. HTTP requests
// arrive on worker threads and run on the event loop (see RouteContext::OnLoop).

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <httplib.h>

#include "server/ApiRequest.hpp"
#include "server/AutomationApi.hpp"
#include "server/ConsoleRoutes.hpp"
#if TAVKELO_HAS_HISTORY
#include "server/HistoryRoutes.hpp"
#endif
#include "server/MetricsRoutes.hpp"
#include "server/ReadingsRoutes.hpp"
#include "server/RequestGuard.hpp"
#include "telemetry/StationMonitor.hpp"

namespace tavkelo {

class EventLoop;
class KeloEngine;
class PortMap;

class AutomationServer {
 public:
  struct Config {
    std::string host = "127.0.0.1";
    int port = 5180;  // 0 picks a free port
    std::string webDir;
    int leaseSeconds = 30;
    int maxStreams = 16;
    size_t maxBodyBytes = 64 * 1024;
    int threads = 32;
    SecurityOptions security;
    // PEM files: both given, the server answers HTTPS only (security.tls is set to match).
    std::string tlsCert;
    std::string tlsKey;
  };

  AutomationServer(EventLoop& loop, KeloEngine& engine, PortMap* ports, Config config);
  ~AutomationServer();
  AutomationServer(const AutomationServer&) = delete;
  AutomationServer& operator=(const AutomationServer&) = delete;

  // Binds and starts serving on a thread of its own (loop thread). False with `error` set when
  // the address cannot be bound.
  bool Start(std::string& error);
  int Port() const { return port_; }
  const Config& Configuration() const { return config_; }

  // The dashboard's own interface object, created before any client's.
  clsKeloInterface& Console() { return console_.Object(); }
  ObjectRegistry& Objects() { return automation_.Objects(); }
  ReadingsFeed& Feed() { return readings_.Feed(); }
  // What a fleet sees of the station: the metrics' and telemetry's source (loop thread).
  StationMonitor& Monitor() { return monitor_; }
  MetricsRoutes& Metrics() { return metrics_; }
#if TAVKELO_HAS_HISTORY
  // The history's and the schedule's routes (before Start); nullptr for a server without history,
  // whose routes then answer 503.
  void AddHistory(HistoryStore* store, CalibrationSchedule* schedule);
#endif

  // Stops accepting requests and ends the streams (loop thread). The loop must keep running
  // until ListenerDone(), because requests in progress still need it.
  void BeginStop();
  bool ListenerDone() const {
    return listenerDone_.load();
  }
  // Releases every object, the console's last (loop thread, top level).
  void ReleaseAll();

 private:
  void WriteLoopMetrics(MetricsText& out);

  Config config_;
  RouteContext context_;
  std::unique_ptr<httplib::Server> server_;  // an httplib::SSLServer with a certificate
  httplib::Server& http_;
  std::thread listener_;
  std::atomic<bool> listenerDone_{false};
  int port_ = 0;
  RequestGuard guard_;
  ReadingsRoutes readings_;
  AutomationApi automation_;
  ConsoleRoutes console_;
  StationMonitor monitor_;
  MetricsRoutes metrics_;
#if TAVKELO_HAS_HISTORY
  std::unique_ptr<HistoryRoutes> history_;
#endif
};

}  // namespace tavkelo
