#include "sim/SimTcpListener.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/FdSerialChannel.hpp"
#include "runtime/EventLoop.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo {

SimTcpListener::~SimTcpListener() {
  DropClient();
  if (watch_ != 0) loop_.UnwatchFd(watch_);
  if (listenSocket_ >= 0) ::close(static_cast<int>(listenSocket_));
}

bool SimTcpListener::Listen(const std::string& host, uint16_t port) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  if (::inet_pton(AF_INET, host.c_str(), &addr.sin_addr) != 1) {
    error_ = "not an IPv4 address: " + host;
    return false;
  }
  int listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (listenFd < 0) {
    error_ = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  int yes = 1;
  ::setsockopt(listenFd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  if (::bind(listenFd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      ::listen(listenFd, 4) != 0) {
    error_ = "cannot listen on " + host + ":" + std::to_string(port) + ": " + std::strerror(errno);
    ::close(listenFd);
    return false;
  }
  socklen_t len = sizeof addr;
  ::getsockname(listenFd, reinterpret_cast<sockaddr*>(&addr), &len);
  port_ = ntohs(addr.sin_port);
  listenSocket_ = listenFd;
  watch_ = loop_.WatchFd(listenFd, POLLIN, [this](short) { OnAcceptReady(); });
  FollowLineLost();
  return true;
}

void SimTcpListener::OnAcceptReady() {
  for (;;) {
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    int fd = ::accept4(static_cast<int>(listenSocket_), reinterpret_cast<sockaddr*>(&peer), &len,
                       SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;  // nothing more waiting (or a transient error)
    if (RefuseWhileServing()) {
      ::close(fd);  // one client at a time
      continue;
    }
    int yes = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    char text[INET_ADDRSTRLEN] = "?";
    ::inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text);
    const std::string name = std::string(text) + ":" + std::to_string(ntohs(peer.sin_port));
    Serve(std::make_unique<FdSerialChannel>(loop_, fd, "tcp " + name), name);
  }
}

}  // namespace tavkelo
