#pragma once
// TavKeloASM's HTTP server assembled in-process as its entry point assembles it (host services,
// the entry routine, the engine, a port map that simulates every port, the automation server on
// port 0), with the dashboard's console connected to the simulated port 1 so the poller runs.
//
// Two clocks: a RealTimeLoop run by a thread of its own (requests are served as in the real
// process), or a VirtualTimeLoop that the test thread pumps while a request is in flight without
// letting time pass, so that lease expiry is driven by PassTime() and never by waiting.

#include <httplib.h>

#include <future>
#include <memory>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "host/HostContext.hpp"
#include "host/modMain.hpp"
#include "runtime/EventLoop.hpp"
#include "server/AutomationServer.hpp"
#include "server/KeloEngine.hpp"
#include "server/PortMap.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::test {

struct ServerRigOptions {
  bool virtualTime = false;
  int leaseSeconds = 30;
  int16_t rawSetting = 1;  // ClsCal: the objects' creation and release lines
  bool connectConsole = true;
  size_t maxBodyBytes = 64 * 1024;
};

// One HTTP answer: status, body text, and the body as JSON (discarded when it is not JSON).
struct Reply {
  int status = 0;  // 0: no answer (connection failed)
  std::string text;
  nlohmann::json json;
  std::string Error() const {
    return json.is_object() && json.contains("error") && json["error"].is_string() ? json["error"].get<std::string>()
                                                                                    : "";
  }
};

Reply Send(httplib::Client& client, const std::string& method, const std::string& path, const std::string& body = "",
           const std::string& contentType = "application/json");

class ServerRig {
 public:
  explicit ServerRig(ServerRigOptions options = {});
  ~ServerRig();
  ServerRig(const ServerRig&) = delete;
  ServerRig& operator=(const ServerRig&) = delete;

  int Port() const { return server_->Port(); }
  std::unique_ptr<httplib::Client> NewClient() const;

  // Runs fn, which talks to the server, and returns its result. In virtual time the test thread
  // pumps the loop meanwhile (fn runs on a thread of its own), without letting time pass.
  template <class F>
  auto Serve(F&& fn) -> decltype(fn());
  // One request on a client of its own.
  Reply Request(const std::string& method, const std::string& path, const std::string& body = "");
  // Virtual time only: lets loop time pass (the poller, the leases and the releases run).
  void PassTime(uint32_t ms);

  EventLoop& Loop() { return *loop_; }
  AutomationServer& Server() { return *server_; }
  KeloEngine& Engine() { return *engine_; }
  std::string LogText() const;
  int LogCount(const std::string& text) const;

 private:
  void PumpWhile(const std::function<bool()>& busy);

  ServerRigOptions options_;
  TempDir dir_;
  std::unique_ptr<EventLoop> loop_;
  std::unique_ptr<HostContext> host_;
  std::unique_ptr<KeloEngine> engine_;
  std::unique_ptr<modMain> entry_;
  std::unique_ptr<PortMap> ports_;
  std::unique_ptr<AutomationServer> server_;
  std::thread loopThread_;
};

template <class F>
auto ServerRig::Serve(F&& fn) -> decltype(fn()) {
  if (!options_.virtualTime) return fn();
  auto result = std::async(std::launch::async, std::forward<F>(fn));
  PumpWhile([&] { return result.wait_for(std::chrono::seconds(0)) != std::future_status::ready; });
  return result.get();
}

}  // namespace tavkelo::test
