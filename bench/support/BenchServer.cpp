#include "support/BenchServer.hpp"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>

namespace tavkelo::bench {

ServerOptions BenchOptions(test::TempDir& folder, const std::string& name) {
  ServerOptions options;
  options.host.programFilePath = folder.MakeDir("bin") + "/TavKeloASM";
  options.host.iniPath = folder.File("TavKeloASM.INI");
  options.host.instanceLockPath = folder.File("TavKeloASM.lock");
  options.host.semaphoreSuffix = "." + name + "." + std::to_string(::getpid());
  options.host.echoNotices = false;
  options.simulate = true;
  options.http.port = 0;
  return options;
}

void RequireReady(const ServerAssembly& server, const std::string& name) {
  if (server.Result() == ServerAssembly::Outcome::Ready) return;
  std::fprintf(stderr, "%s: the server did not start: %s\n", name.c_str(), server.Error().c_str());
  std::exit(1);
}

RealTimeServer::RealTimeServer(const std::string& name,
                               const std::function<void(ServerOptions&)>& adjust) {
  ServerOptions options = BenchOptions(folder_, name);
  if (adjust) adjust(options);
  server_ = std::make_unique<ServerAssembly>(loop_, options);
  RequireReady(*server_, name);
  std::promise<void> adopted;
  thread_ = std::thread([this, &adopted] {
    loop_.AdoptCurrentThread();
    adopted.set_value();
    loop_.Run();
  });
  adopted.get_future().wait();
  // As the entry point connects the console: a call that can wait, run by the loop.
  connected_ = loop_.Invoke([this] { return server_->ConnectConsole(1); }, CallKind::CanWait);
  std::string error;
  if (!server_->Serve(error)) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), error.c_str());
    std::exit(1);
  }
}

RealTimeServer::~RealTimeServer() {
  loop_.Invoke([this] { server_->BeginStop(); });
  while (!server_->ListenerDone()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  loop_.Invoke([this] { server_->Release(); }, CallKind::CanWait);
  loop_.Stop();
  thread_.join();
  loop_.AdoptCurrentThread();
  server_.reset();
}

}  // namespace tavkelo::bench
