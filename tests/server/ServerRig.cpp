#include "ServerRig.hpp"

#include <stdexcept>

#include "platform/NamedSemaphore.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "runtime/VirtualTimeLoop.hpp"

namespace tavkelo::test {

Reply Send(httplib::Client& client, const std::string& method, const std::string& path, const std::string& body,
           const std::string& contentType) {
  auto send = [&]() -> httplib::Result {
    if (method == "GET") return client.Get(path.c_str());
    if (method == "POST") return client.Post(path.c_str(), body, contentType.c_str());
    if (method == "PUT") return client.Put(path.c_str(), body, contentType.c_str());
    if (method == "DELETE") return client.Delete(path.c_str());
    throw std::invalid_argument("method " + method);
  };
  httplib::Result res = send();
  Reply reply;
  if (!res) return reply;
  reply.status = res->status;
  reply.text = res->body;
  reply.json = nlohmann::json::parse(res->body, nullptr, false);
  return reply;
}

ServerRig::ServerRig(ServerRigOptions options) : options_(options) {
  if (options_.virtualTime) {
    loop_ = std::make_unique<VirtualTimeLoop>();
  } else {
    loop_ = std::make_unique<RealTimeLoop>();
  }
  dir_.MakeDir("app/bin");
  dir_.MakeDir("app/LOGS");
  WriteFile(dir_.File("app/bin/TavKeloASM.INI"),
            "[LogControl]\r\nRawSetting=" + std::to_string(options_.rawSetting) + "\r\n");
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
  config.host = "127.0.0.1";
  config.port = 0;
  config.leaseSeconds = options_.leaseSeconds;
  config.maxBodyBytes = options_.maxBodyBytes;
  config.threads = 8;
  server_ = std::make_unique<AutomationServer>(*loop_, *engine_, ports_.get(), config);
  if (options_.connectConsole) {
    server_->Console().Init(true, 1, 9600, "N");
    if (!server_->Console().Connect()) throw std::runtime_error("the console did not connect to the simulator");
  }

  if (!options_.virtualTime) {
    std::promise<void> adopted;
    loopThread_ = std::thread([this, &adopted] {
      loop_->AdoptCurrentThread();
      adopted.set_value();
      loop_->Run();
    });
    adopted.get_future().wait();
  }
  std::string error;
  if (!server_->Start(error)) throw std::runtime_error(error);
}

ServerRig::~ServerRig() {
  if (options_.virtualTime) {
    server_->BeginStop();
    PumpWhile([this] { return !server_->ListenerDone(); });
    server_->ReleaseAll();
  } else {
    loop_->Invoke([this] { server_->BeginStop(); });
    while (!server_->ListenerDone()) std::this_thread::yield();
    loop_->Invoke([this] { server_->ReleaseAll(); }, CallKind::CanWait);
    loop_->Stop();
    loopThread_.join();
    loop_->AdoptCurrentThread();
  }
  server_.reset();
  ports_.reset();
  entry_.reset();
  engine_.reset();
  NamedSemaphore::Remove("KeloReadingsLock" + host_->options.semaphoreSuffix);
  NamedSemaphore::Remove("KeloInterfaceLock" + host_->options.semaphoreSuffix);
  host_.reset();
}

std::unique_ptr<httplib::Client> ServerRig::NewClient() const {
  auto client = std::make_unique<httplib::Client>("127.0.0.1", Port());
  client->set_tcp_nodelay(true);
  client->set_keep_alive(true);
  client->set_connection_timeout(5, 0);
  client->set_read_timeout(30, 0);
  return client;
}

Reply ServerRig::Request(const std::string& method, const std::string& path, const std::string& body) {
  auto client = NewClient();
  return Serve([&] { return Send(*client, method, path, body); });
}

void ServerRig::PumpWhile(const std::function<bool()>& busy) {
  // Dispatches what is ready now; time stands still until PassTime.
  while (busy()) {
    if (!loop_->PumpOnce(0)) std::this_thread::yield();
  }
}

void ServerRig::PassTime(uint32_t ms) {
  if (!options_.virtualTime) throw std::logic_error("PassTime needs virtual time");
  loop_->PumpFor(ms);
}

std::string ServerRig::LogText() const { return ReadFile(host_->log.LogFileName()); }

int ServerRig::LogCount(const std::string& text) const {
  std::string all = LogText();
  int count = 0;
  for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1)) ++count;
  return count;
}

}  // namespace tavkelo::test
