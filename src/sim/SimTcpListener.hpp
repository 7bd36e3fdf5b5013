#pragma once
// Serves a simulated controller on a TCP port: one client at a time is joined to the
// controller's device end; a connection that arrives while a client is being served is closed
// at once. When the client goes away, the next connection is served.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tavkelo {

class EventLoop;
class SerialChannel;
class KeloController;

class SimTcpListener {
 public:
  SimTcpListener(EventLoop& loop, KeloController& controller);
  ~SimTcpListener();
  SimTcpListener(const SimTcpListener&) = delete;
  SimTcpListener& operator=(const SimTcpListener&) = delete;

  // Listens on host:port (port 0 picks a free one); false with Error() set when it cannot.
  bool Listen(const std::string& host, uint16_t port);
  uint16_t Port() const { return port_; }
  const std::string& Error() const { return error_; }
  bool HasClient() const { return client_ != nullptr; }
  // Told of each client that comes or goes ("connected 127.0.0.1:40212", "disconnected").
  void SetOnEvent(std::function<void(const std::string&)> handler) {
    onEvent_ = std::move(handler);
  }

 private:
  // The platform's part: the listening socket, and accepting what waits on it.
  void OnAcceptReady();
  // Shared by both platforms (SimTcpClients.cpp): following the controller's line, taking a new
  // client or refusing it, letting the client go.
  void FollowLineLost();
  // Joins an accepted client to the controller; RefuseWhileServing is true while one is served.
  void Serve(std::unique_ptr<SerialChannel> channel, const std::string& peer);
  bool RefuseWhileServing();
  void DropClient();
  void OnClientLost();

  EventLoop& loop_;
  KeloController& controller_;
  intptr_t listenSocket_ = -1;  // a descriptor on Linux, a SOCKET on Windows
#ifdef _WIN32
  void* acceptEvent_ = nullptr;
#endif
  int watch_ = 0;
  uint16_t port_ = 0;
  std::string error_;
  std::unique_ptr<SerialChannel> client_;
  std::function<void(const std::string&)> onEvent_;
  // Lets a line-lost call already posted to the loop find out that this listener is gone.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tavkelo
