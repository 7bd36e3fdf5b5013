#pragma once
// TavKeloASM's server assembled in-process for the benchmarks, as its entry point assembles it:
// every port simulated, HTTP on a free loopback port, logging off (RawSetting 0) as in production.

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "runtime/RealTimeLoop.hpp"
#include "server/ServerAssembly.hpp"
#include "support/TempDir.hpp"

namespace tavkelo::bench {

// The options every benchmark starts from, with the files in `folder`; `name` keeps the
// semaphore names apart from a server running beside it.
ServerOptions BenchOptions(test::TempDir& folder, const std::string& name);

// Ends the benchmark with `what` and the assembly's error when it did not start.
void RequireReady(const ServerAssembly& server, const std::string& name);

// The server on a real-time loop of its own thread, the console connected to port 1 so that the
// poller runs, the HTTP listener serving.
class RealTimeServer {
 public:
  explicit RealTimeServer(const std::string& name,
                          const std::function<void(ServerOptions&)>& adjust = {});
  ~RealTimeServer();
  RealTimeServer(const RealTimeServer&) = delete;
  RealTimeServer& operator=(const RealTimeServer&) = delete;

  int Port() { return server_->Server().Port(); }
  bool ConsoleConnected() const { return connected_; }
  // Completed poll cycles so far (the readings feed publishes one snapshot per cycle).
  uint64_t PollCycles() { return server_->Server().Feed().Sequence(); }
  ServerAssembly& Assembly() { return *server_; }

 private:
  test::TempDir folder_;
  RealTimeLoop loop_;
  std::unique_ptr<ServerAssembly> server_;
  std::thread thread_;
  bool connected_ = false;
};

}  // namespace tavkelo::bench
