#include "ServerRig.hpp"

#include <stdexcept>

#include "platform/NamedSemaphore.hpp"

namespace tavkelo::test {

ServerRig::ServerRig() {
  VirtualTimeLoop::Options clock;
  clock.startTick = 0xFFFFFFFFu - 3000;
  loop_ = std::make_unique<VirtualTimeLoop>(clock);
  dir_.MakeDir("app/bin");
  dir_.MakeDir("app/LOGS");
  WriteFile(dir_.File("app/bin/TavKeloASM.INI"), "[LogControl]\r\nRawSetting=1\r\n");  // ClsCal lines only
  HostOptions host;
  host.programFilePath = dir_.File("app/bin/TavKeloASM");
  host.instanceLockPath = dir_.File("TavKeloASM.lock");
  host.semaphoreSuffix = UniqueSuffix();
  host.echoNotices = false;
  host_ = std::make_unique<HostContext>(*loop_, host);
  engine_ = std::make_unique<KeloEngine>(*host_);
  entry_ = std::make_unique<modMain>(*host_);
  if (entry_->Main("", engine_->StartupHooks()) != MainOutcome::Serving) {
    throw std::runtime_error("the entry routine did not start serving");
  }
  ports_ = std::make_unique<PortMap>(*loop_, true);
  engine_->Context().openPort = [this](int16_t port) { return ports_->Open(port); };
  AutomationServer::Config config;
  config.port = 0;
  config.threads = 8;
  server_ = std::make_unique<AutomationServer>(*loop_, *engine_, ports_.get(), config);
  server_->Console().Init(true, 1, 9600, "N");
  if (!server_->Console().Connect()) throw std::runtime_error("the console did not connect to the simulator");
  std::string error;
  if (!server_->Start(error)) throw std::runtime_error(error);
}

ServerRig::~ServerRig() {
  server_->BeginStop();
  PumpWhile([this] { return !server_->ListenerDone(); });
  server_->ReleaseAll();
  NamedSemaphore::Remove("KeloReadingsLock" + host_->options.semaphoreSuffix);
  NamedSemaphore::Remove("KeloInterfaceLock" + host_->options.semaphoreSuffix);
}

Reply ServerRig::Send(const std::string& method, const std::string& path, const std::string& body) const {
  httplib::Client client("127.0.0.1", server_->Port());
  client.set_read_timeout(30, 0);
  httplib::Result res = method == "GET"    ? client.Get(path)
                        : method == "PUT"    ? client.Put(path, body, "application/json")
                        : method == "DELETE" ? client.Delete(path)
                                             : client.Post(path, body, "application/json");
  Reply reply;
  if (!res) return reply;
  reply.status = res->status;
  reply.text = res->body;
  reply.json = nlohmann::json::parse(res->body, nullptr, false);
  return reply;
}

void ServerRig::PumpWhile(const std::function<bool()>& busy) {
  while (busy()) {
    if (!loop_->PumpOnce(0)) std::this_thread::yield();
  }
}

int ServerRig::LogCount(const std::string& text) const {
  std::string all = ReadFile(host_->log.LogFileName());
  int count = 0;
  for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1)) ++count;
  return count;
}

}  // namespace tavkelo::test
