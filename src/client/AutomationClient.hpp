#pragma once
// The client side of TavKeloASM's remote automation API: objects with leases, properties,
// methods, the type library, the readings and their stream, the simulator's operator surface.

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

namespace httplib {
class Client;
}

namespace tavkelo {

// A call the server refused (HTTP status and its message), or a server that cannot be reached
// (status 0).
class ClientError : public std::runtime_error {
 public:
  ClientError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int Status() const { return status_; }

 private:
  int status_;
};

class AutomationClient {
 public:
  // baseUrl: "http://host:port" (the server's default is http://127.0.0.1:5180). token: sent as
  // Authorization: Bearer TOKEN when not empty (a server beyond loopback asks for one).
  explicit AutomationClient(const std::string& baseUrl = "http://127.0.0.1:5180",
                            std::string token = "");
  ~AutomationClient();
  AutomationClient(const AutomationClient&) = delete;
  AutomationClient& operator=(const AutomationClient&) = delete;

  // One request; throws ClientError for a refused call. Thread-safe.
  nlohmann::json Request(const std::string& method, const std::string& path,
                         const nlohmann::json& body = nlohmann::json());
  // The same on a connection of its own, so that it is not held up by a long call on the main
  // one (the objects' lease renewals go this way).
  nlohmann::json SideRequest(const std::string& method, const std::string& path,
                             const nlohmann::json& body = nlohmann::json());
  const std::string& BaseUrl() const { return baseUrl_; }

  nlohmann::json TypeLibrary() { return Request("GET", "/automation/typelib"); }
  nlohmann::json Readings() { return Request("GET", "/api/readings"); }
  nlohmann::json Simulator(const std::string& command) {
    return Request("POST", "/api/sim", {{"command", command}});
  }
  // Follows the readings stream, calling onReadings for each snapshot until it returns false or
  // the stream ends. Uses a connection of its own.
  void FollowReadings(const std::function<bool(const nlohmann::json&)>& onReadings);

 private:
  std::string baseUrl_;
  std::string host_;
  int port_ = 5180;
  std::string token_;
  std::unique_ptr<httplib::Client> NewConnection() const;
  // One request on `http` (connected on first use), holding `mutex`.
  nlohmann::json Send(std::mutex& mutex, std::unique_ptr<httplib::Client>& http,
                      const std::string& method, const std::string& path,
                      const nlohmann::json& body);

  std::mutex mutex_;
  std::unique_ptr<httplib::Client> http_;
  std::mutex sideMutex_;
  std::unique_ptr<httplib::Client> sideHttp_;
};

// One object on the server. It is created (or taken over) with the instance and renewed in the
// background for as long as the instance lives; the destructor releases an object it owns.
class RemoteObject {
 public:
  RemoteObject(AutomationClient& client, int leaseSeconds);
  RemoteObject(AutomationClient& client, std::string id, bool releaseAtEnd);
  virtual ~RemoteObject();
  RemoteObject(const RemoteObject&) = delete;
  RemoteObject& operator=(const RemoteObject&) = delete;

  const std::string& Id() const { return id_; }
  int LeaseSeconds() const { return leaseSeconds_; }
  // Stops renewing and forgets the object without releasing it (the lease then runs out).
  void Abandon();

  nlohmann::json Get(const std::string& property,
                     const std::map<std::string, std::string>& query = {});
  void Put(const std::string& property, const nlohmann::json& value);
  // {"result": ..., "byRef": {...}}
  nlohmann::json Call(const std::string& method, const nlohmann::json& args);

 protected:
  AutomationClient& client_;

 private:
  void StartRenewing();
  void StopRenewing();

  std::string id_;
  int leaseSeconds_ = 0;
  bool releaseAtEnd_ = true;
  std::mutex mutex_;
  std::condition_variable stop_;
  bool stopping_ = false;
  std::thread renewer_;
};

}  // namespace tavkelo
