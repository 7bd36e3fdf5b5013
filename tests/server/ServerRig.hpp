#pragma once
// TavKeloASM assembled in-process as its entry point assembles it (ServerAssembly), with every
// port simulated, the HTTP server on port 0, and the dashboard's console connected to the
// simulated port 1 so the poller runs.
//
// The loop runs on virtual time: while requests are in flight the test thread pumps it without
// letting time pass, and lease expiry is driven by PassTime(), never by waiting. The tick count
// starts three seconds before it wraps, so a test that lets a few seconds pass runs across the
// wrap (the lease test's expiry falls on it).

#include <httplib.h>

#include <future>
#include <memory>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "runtime/VirtualTimeLoop.hpp"
#include "server/ServerAssembly.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::test {

// One HTTP answer: status, body text, and the body as JSON (discarded when it is not JSON).
struct Reply {
  int status = 0;  // 0: no answer (connection failed)
  std::string text;
  nlohmann::json json;
  httplib::Headers headers;
  std::string Error() const { return json.is_object() ? json.value("error", std::string()) : ""; }
};

class ServerRig {
 public:
  explicit ServerRig(SecurityOptions security = {});
  ~ServerRig();
  ServerRig(const ServerRig&) = delete;
  ServerRig& operator=(const ServerRig&) = delete;

  // One request on a connection of its own, without pumping: for use inside Serve.
  Reply Send(const std::string& method, const std::string& path,
             const std::string& body = "") const;
  // The same with headers of its own; a "Content-Type" among them replaces the JSON one.
  Reply SendWith(const std::string& method, const std::string& path, const std::string& body,
                 httplib::Headers headers) const;
  // Runs fn, which sends requests, on a thread of its own while the test thread pumps the loop.
  template <class F>
  auto Serve(F&& fn) -> decltype(fn()) {
    auto result = std::async(std::launch::async, std::forward<F>(fn));
    PumpWhile(
        [&] { return result.wait_for(std::chrono::seconds(0)) != std::future_status::ready; });
    return result.get();
  }
  Reply Request(const std::string& method, const std::string& path, const std::string& body = "") {
    return Serve([&] { return Send(method, path, body); });
  }
  Reply RequestWith(const std::string& method, const std::string& path, const std::string& body,
                    const httplib::Headers& headers) {
    return Serve([&] { return SendWith(method, path, body, headers); });
  }
  // Lets loop time pass: the poller, the lease timer and the releases run.
  void PassTime(uint32_t ms) { loop_->PumpFor(ms); }
  // Loop time in seconds (read while nothing pumps).
  double NowS() const { return static_cast<double>(loop_->NowUs()) / 1e6; }
  int LogCount(const std::string& text) const;
  int Port() const { return server_->Server().Port(); }
  // For reading state while nothing pumps.
  ServerAssembly& Assembly() { return *server_; }
  // The folder of the diagnostic and audit logs.
  std::string LogFolder() const { return dir_.File("app/LOGS"); }
  // A new client object's path, its id checked: twenty hexadecimal digits.
  std::string NewObject(const std::string& body = "{}");
  // Init(True, 1, 9600, "N") and Connect on the object at `path`, unless it is connected.
  void ConnectObject(const std::string& path);

 private:
  void PumpWhile(const std::function<bool()>& busy);

  TempDir dir_;
  std::unique_ptr<VirtualTimeLoop> loop_;
  std::unique_ptr<ServerAssembly> server_;
};

}  // namespace tavkelo::test
