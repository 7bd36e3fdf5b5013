#pragma once
// TavKeloASM's HTTP face: the remote automation API (objects with leases, properties, methods,
// the type library), the readings snapshot and its server-sent-event stream, the dashboard's
// console and simulator panel, and the web pages. HTTP requests arrive on worker threads and
// run on the event loop: calls that can wait one at a time at the loop's top level, the others
// also inside another call's wait.

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "runtime/LoopTimer.hpp"
#include "server/ObjectRegistry.hpp"
#include "server/ReadingsFeed.hpp"

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
  clsKeloInterface& Console() { return *console_; }
  ObjectRegistry& Objects() { return registry_; }
  ReadingsFeed& Feed() { return feed_; }

  // Stops accepting requests and ends the streams (loop thread). The loop must keep running
  // until ListenerDone(), because requests in progress still need it.
  void BeginStop();
  bool ListenerDone() const { return listenerDone_.load(); }
  // Releases every object, the console's last (loop thread, top level).
  void ReleaseAll();

 private:
  void Routes();
  void AutomationRoutes();
  void DashboardRoutes();
  // Runs fn on the loop as a call that can wait or not, and returns its JSON.
  nlohmann::json OnLoop(bool canWait, const std::function<nlohmann::json()>& fn);
  // Runs fn on the object as one call of its client (see ObjectRegistry::BeginCall); a call that
  // can wait renews the lease as soon as it arrives, too. Null when there is no such object.
  nlohmann::json CallOnObject(const std::string& id, bool canWait,
                              const std::function<nlohmann::json(clsKeloInterface&)>& fn);
  void Handle(httplib::Response& res, const std::function<std::pair<int, nlohmann::json>()>& fn);
  void ReleaseLater(std::vector<std::unique_ptr<clsKeloInterface>> objects);

  EventLoop& loop_;
  KeloEngine& engine_;
  PortMap* ports_;
  Config config_;
  httplib::Server http_;
  std::thread listener_;
  std::atomic<bool> listenerDone_{false};
  std::atomic<int> streams_{0};
  std::atomic<bool> stopping_{false};
  int port_ = 0;
  ObjectRegistry registry_;
  ReadingsFeed feed_;
  LoopTimer leaseTimer_;
  std::unique_ptr<clsKeloInterface> console_;
  std::string typeLibrary_;
};

}  // namespace tavkelo
