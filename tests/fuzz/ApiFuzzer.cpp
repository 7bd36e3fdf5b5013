// libFuzzer target: arbitrary requests to the remote API of a server assembled in-process as the
// entry point assembles it (every port simulated, the loop on virtual time), sent over loopback.
// The input is "METHOD-BYTE path\nbody": the method byte picks GET, POST, PUT or DELETE, the path
// may carry a query, the body goes as JSON. The server must answer every request with 2xx or 4xx.
#include <httplib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "runtime/VirtualTimeLoop.hpp"
#include "server/ServerAssembly.hpp"
#include "support/TempDir.hpp"

namespace {

using tavkelo::test::TempDir;

class Rig {
 public:
  Rig() {
    tavkelo::VirtualTimeLoop::Options clock;
    loop_ = std::make_unique<tavkelo::VirtualTimeLoop>(clock);
    dir_.MakeDir("app/bin");
    dir_.MakeDir("app/LOGS");
    tavkelo::test::WriteFile(dir_.File("app/bin/TavKeloASM.INI"),
                             "[LogControl]\r\nRawSetting=1\r\n");
    tavkelo::ServerOptions options;
    options.host.programFilePath = dir_.File("app/bin/TavKeloASM");
    options.host.instanceLockPath = dir_.File("TavKeloASM.lock");
    options.host.semaphoreSuffix = tavkelo::test::UniqueSuffix();
    options.host.echoNotices = false;
    options.simulate = true;
    options.http.port = 0;
    options.http.threads = 4;
    server_ = std::make_unique<tavkelo::ServerAssembly>(*loop_, options);
    std::string error;
    if (server_->Result() != tavkelo::ServerAssembly::Outcome::Ready || !server_->Serve(error)) {
      std::fprintf(stderr, "the server did not start: %s %s\n", server_->Error().c_str(),
                   error.c_str());
      std::abort();
    }
  }

  // The answer's status; 0 when there was none.
  int Send(int method, const std::string& path, const std::string& body) {
    auto answer = std::async(std::launch::async, [&] {
      httplib::Client client("127.0.0.1", server_->Server().Port());
      client.set_read_timeout(30, 0);
      httplib::Result res = method == 0   ? client.Get(path)
                            : method == 1 ? client.Put(path, body, "application/json")
                            : method == 2 ? client.Delete(path, body, "application/json")
                                          : client.Post(path, body, "application/json");
      return res ? res->status : 0;
    });
    while (answer.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      if (!loop_->PumpOnce(0)) std::this_thread::yield();
    }
    return answer.get();
  }

 private:
  TempDir dir_;
  std::unique_ptr<tavkelo::VirtualTimeLoop> loop_;
  std::unique_ptr<tavkelo::ServerAssembly> server_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Rig* rig = new Rig;  // one server for the whole run
  if (size == 0) return 0;
  const int method = data[0] % 4;
  const std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const size_t newline = rest.find('\n');
  std::string path = rest.substr(0, newline);
  const std::string body = newline == std::string::npos ? "" : rest.substr(newline + 1);
  // A request line holds no blanks or control bytes; anything else is the client's refusal.
  if (path.empty() || path[0] != '/') path.insert(path.begin(), '/');
  for (char c : path) {
    if (static_cast<unsigned char>(c) <= ' ' || static_cast<unsigned char>(c) >= 0x7f) return 0;
  }
  // The readings stream never ends by itself.
  if (path.rfind("/api/readings/stream", 0) == 0) return 0;
  const int status = rig->Send(method, path, body);
  if (status == 0 || status >= 500) {
    std::fprintf(stderr, "%d for method %d path %s body %s\n", status, method, path.c_str(),
                 body.c_str());
    std::abort();
  }
  return 0;
}
