#include "ServerRig.hpp"

#include <stdexcept>

#include <gtest/gtest.h>

namespace tavkelo::test {

ServerRig::ServerRig(SecurityOptions security) {
  VirtualTimeLoop::Options clock;
  clock.startTick = 0xFFFFFFFFu - 3000;
  loop_ = std::make_unique<VirtualTimeLoop>(clock);
  dir_.MakeDir("app/bin");
  dir_.MakeDir("app/LOGS");
  WriteFile(dir_.File("app/bin/TavKeloASM.INI"),
            "[LogControl]\r\nRawSetting=1\r\n");  // ClsCal lines only
  ServerOptions options;
  options.host.programFilePath = dir_.File("app/bin/TavKeloASM");
  options.host.instanceLockPath = dir_.File("TavKeloASM.lock");
  options.host.semaphoreSuffix = UniqueSuffix();
  options.host.echoNotices = false;
  options.simulate = true;
  options.http.port = 0;
  options.http.threads = 8;
  options.http.webDir = TAVKELO_WEB_DIR;
  options.http.security = std::move(security);
  server_ = std::make_unique<ServerAssembly>(*loop_, options);
  if (server_->Result() != ServerAssembly::Outcome::Ready)
    throw std::runtime_error(server_->Error());
  if (!server_->ConnectConsole(1))
    throw std::runtime_error("the console did not connect to the simulator");
  std::string error;
  if (!server_->Serve(error)) throw std::runtime_error(error);
}

ServerRig::~ServerRig() {
  server_->BeginStop();
  PumpWhile([this] { return !server_->ListenerDone(); });
  server_->Release();
}

Reply ServerRig::Send(const std::string& method, const std::string& path,
                      const std::string& body) const {
  return SendWith(method, path, body, {});
}

Reply ServerRig::SendWith(const std::string& method, const std::string& path,
                          const std::string& body, httplib::Headers headers) const {
  httplib::Client client("127.0.0.1", server_->Server().Port());
  client.set_read_timeout(30, 0);
  std::string type = "application/json";
  if (auto it = headers.find("Content-Type"); it != headers.end()) {
    type = it->second;
    headers.erase(it);
  }
  httplib::Result res = method == "GET"       ? client.Get(path, headers)
                        : method == "OPTIONS" ? client.Options(path, headers)
                        : method == "PUT"     ? client.Put(path, headers, body, type.c_str())
                        : method == "DELETE"  ? client.Delete(path, headers, body, type.c_str())
                                              : client.Post(path, headers, body, type.c_str());
  Reply reply;
  if (!res) return reply;
  reply.status = res->status;
  reply.headers = res->headers;
  reply.text = res->body;
  reply.json = nlohmann::json::parse(res->body, nullptr, false);
  return reply;
}

void ServerRig::PumpWhile(const std::function<bool()>& busy) {
  while (busy()) {
    if (!loop_->PumpOnce(0)) std::this_thread::yield();
  }
}

std::string ServerRig::NewObject(const std::string& body) {
  Reply created = Request("POST", "/automation/objects", body);
  EXPECT_EQ(created.status, 201) << created.text;
  const std::string id = created.json.value("id", "");
  EXPECT_TRUE(id.size() == 20 && id.find_first_not_of("0123456789abcdef") == std::string::npos)
      << id;
  return "/automation/objects/" + id;
}

void ServerRig::ConnectObject(const std::string& path) {
  if (Request("GET", path + "/properties/Connected").json["value"] == true) return;
  EXPECT_EQ(Request("POST", path + "/methods/Init", R"({"args": [true, 1, 9600, "N"]})").status,
            200);
  EXPECT_EQ(Request("POST", path + "/methods/Connect", "{}").json["result"], true);
}

int ServerRig::LogCount(const std::string& text) const {
  std::string all = ReadFile(server_->Host().log.LogFileName());
  int count = 0;
  for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1))
    ++count;
  return count;
}

}  // namespace tavkelo::test
