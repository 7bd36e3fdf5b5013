#include "client/AutomationClient.hpp"

#include <chrono>

#include <httplib.h>

namespace tavkelo {

AutomationClient::AutomationClient(const std::string& baseUrl, std::string token)
    : baseUrl_(baseUrl), token_(std::move(token)) {
  std::string rest = baseUrl;
  const std::string scheme = "http://";
  if (rest.rfind(scheme, 0) == 0) rest = rest.substr(scheme.size());
  if (!rest.empty() && rest.back() == '/') rest.pop_back();
  size_t colon = rest.rfind(':');
  host_ = colon == std::string::npos ? rest : rest.substr(0, colon);
  if (colon != std::string::npos) {
    try {
      port_ = std::stoi(rest.substr(colon + 1));
    } catch (const std::exception&) {
      throw ClientError(0, "bad server address " + baseUrl + " (expected http://host:port)");
    }
  }
  if (host_.empty())
    throw ClientError(0, "bad server address " + baseUrl + " (expected http://host:port)");
}

AutomationClient::~AutomationClient() = default;

std::unique_ptr<httplib::Client> AutomationClient::NewConnection() const {
  auto http = std::make_unique<httplib::Client>(host_, port_);
  if (!token_.empty()) http->set_bearer_token_auth(token_.c_str());
  return http;
}

nlohmann::json AutomationClient::Request(const std::string& method, const std::string& path,
                                         const nlohmann::json& body) {
  return Send(mutex_, http_, method, path, body);
}

nlohmann::json AutomationClient::SideRequest(const std::string& method, const std::string& path,
                                             const nlohmann::json& body) {
  return Send(sideMutex_, sideHttp_, method, path, body);
}

nlohmann::json AutomationClient::Send(std::mutex& mutex, std::unique_ptr<httplib::Client>& http,
                                      const std::string& method, const std::string& path,
                                      const nlohmann::json& body) {
  std::lock_guard<std::mutex> lock(mutex);
  if (!http) {
    http = NewConnection();
    http->set_tcp_nodelay(true);
    http->set_keep_alive(true);
    http->set_read_timeout(120, 0);
  }
  const std::string text = body.is_null() ? std::string("{}") : body.dump();
  auto send = [&]() -> httplib::Result {
    if (method == "GET") return http->Get(path.c_str());
    if (method == "POST") return http->Post(path.c_str(), text, "application/json");
    if (method == "PUT") return http->Put(path.c_str(), text, "application/json");
    // The server takes state-changing requests with a JSON type only.
    if (method == "DELETE") return http->Delete(path.c_str(), text, "application/json");
    throw ClientError(0, "unknown method " + method);
  };
  httplib::Result res = send();
  if (!res)
    throw ClientError(
        0, "cannot reach TavKeloASM at " + baseUrl_ + " (" + httplib::to_string(res.error()) + ")");
  nlohmann::json answer =
      res->body.empty() ? nlohmann::json() : nlohmann::json::parse(res->body, nullptr, false);
  if (res->status >= 400) {
    std::string message = answer.is_object() && answer.contains("error")
                              ? answer["error"].get<std::string>()
                              : "HTTP " + std::to_string(res->status);
    throw ClientError(res->status, message);
  }
  if (answer.is_discarded()) throw ClientError(res->status, "the server's answer is not JSON");
  return answer;
}

void AutomationClient::FollowReadings(
    const std::function<bool(const nlohmann::json&)>& onReadings) {
  std::unique_ptr<httplib::Client> connection = NewConnection();
  httplib::Client& stream = *connection;
  stream.set_read_timeout(30, 0);
  std::string pending;
  bool keepGoing = true;
  auto res = stream.Get("/api/readings/stream", [&](const char* data, size_t length) {
    pending.append(data, length);
    size_t end;
    while (keepGoing && (end = pending.find("\n\n")) != std::string::npos) {
      std::string event = pending.substr(0, end);
      pending.erase(0, end + 2);
      if (event.rfind("data: ", 0) != 0) continue;  // keep-alive comments
      nlohmann::json snapshot = nlohmann::json::parse(event.substr(6), nullptr, false);
      if (!snapshot.is_discarded()) keepGoing = onReadings(snapshot);
    }
    return keepGoing;
  });
  if (!res && keepGoing)
    throw ClientError(0, "the readings stream ended (" + httplib::to_string(res.error()) + ")");
}

RemoteObject::RemoteObject(AutomationClient& client, int leaseSeconds) : client_(client) {
  nlohmann::json body = nlohmann::json::object();
  if (leaseSeconds > 0) body["leaseSeconds"] = leaseSeconds;
  nlohmann::json created = client_.Request("POST", "/automation/objects", body);
  id_ = created["id"].get<std::string>();
  leaseSeconds_ = created["leaseSeconds"].get<int>();
  StartRenewing();
}

RemoteObject::RemoteObject(AutomationClient& client, std::string id, bool releaseAtEnd)
    : client_(client), id_(std::move(id)), releaseAtEnd_(releaseAtEnd) {
  nlohmann::json lease = client_.Request("POST", "/automation/objects/" + id_ + "/ping");
  leaseSeconds_ = lease["leaseSeconds"].get<int>();
  StartRenewing();
}

RemoteObject::~RemoteObject() {
  StopRenewing();
  if (releaseAtEnd_ && !id_.empty()) {
    try {
      client_.Request("DELETE", "/automation/objects/" + id_);
    } catch (const ClientError&) {
      // Already gone (its lease ran out) or the server stopped: nothing left to release.
    }
  }
}

void RemoteObject::Abandon() {
  StopRenewing();
  releaseAtEnd_ = false;
}

void RemoteObject::StartRenewing() {
  renewer_ = std::thread([this] {
    std::unique_lock<std::mutex> lock(mutex_);
    auto period = std::chrono::milliseconds(std::max(1, leaseSeconds_) * 1000 / 3);
    while (!stop_.wait_for(lock, period, [this] { return stopping_; })) {
      lock.unlock();
      try {
        client_.SideRequest("POST", "/automation/objects/" + id_ + "/ping");
      } catch (const ClientError&) {
        // A missed ping is retried at the next period; the lease allows for two.
      }
      lock.lock();
    }
  });
}

void RemoteObject::StopRenewing() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  stop_.notify_all();
  if (renewer_.joinable()) renewer_.join();
}

nlohmann::json RemoteObject::Get(const std::string& property,
                                 const std::map<std::string, std::string>& query) {
  std::string path = "/automation/objects/" + id_ + "/properties/" + property;
  char sep = '?';
  for (const auto& [key, value] : query) {
    path += sep + key + "=" + value;
    sep = '&';
  }
  return client_.Request("GET", path)["value"];
}

void RemoteObject::Put(const std::string& property, const nlohmann::json& value) {
  client_.Request("PUT", "/automation/objects/" + id_ + "/properties/" + property,
                  {{"value", value}});
}

nlohmann::json RemoteObject::Call(const std::string& method, const nlohmann::json& args) {
  return client_.Request("POST", "/automation/objects/" + id_ + "/methods/" + method,
                         {{"args", args}});
}

}  // namespace tavkelo
