// The simulator's TCP listener on Winsock: the listening socket signals an event on each
// connection that waits, and the loop accepts it.
#include <winsock2.h>
#include <ws2tcpip.h>

#include "platform/Win32TcpSerialChannel.hpp"
#include "platform/Win32Text.hpp"
#include "runtime/EventLoop.hpp"
#include "sim/KeloController.hpp"
#include "sim/SimTcpListener.hpp"

namespace tavkelo {

SimTcpListener::~SimTcpListener() {
  DropClient();
  if (watch_ != 0) loop_.UnwatchHandle(watch_);
  if (listenSocket_ != -1) ::closesocket(static_cast<SOCKET>(listenSocket_));
  if (acceptEvent_ != nullptr) ::WSACloseEvent(static_cast<WSAEVENT>(acceptEvent_));
}

bool SimTcpListener::Listen(const std::string& host, uint16_t port) {
  if (!Win32TcpSerialChannel::StartWinsock()) {
    error_ = "Winsock cannot be started";
    return false;
  }
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  if (::inet_pton(AF_INET, host.c_str(), &addr.sin_addr) != 1) {
    error_ = "not an IPv4 address: " + host;
    return false;
  }
  SOCKET s = ::socket(AF_INET, SOCK_STREAM, 0);
  if (s == INVALID_SOCKET) {
    error_ = "socket: " + Win32ErrorText(static_cast<unsigned long>(::WSAGetLastError()));
    return false;
  }
  // Exclusive use: on Windows SO_REUSEADDR would let a second listener steal the port.
  BOOL yes = TRUE;
  ::setsockopt(s, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&yes), sizeof yes);
  if (::bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(s, 4) != 0) {
    error_ = "cannot listen on " + host + ":" + std::to_string(port) + ": " +
             Win32ErrorText(static_cast<unsigned long>(::WSAGetLastError()));
    ::closesocket(s);
    return false;
  }
  int len = sizeof addr;
  ::getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len);
  port_ = ntohs(addr.sin_port);
  WSAEVENT event = ::WSACreateEvent();
  ::WSAEventSelect(s, event, FD_ACCEPT);  // also makes the socket non-blocking
  listenSocket_ = static_cast<intptr_t>(s);
  acceptEvent_ = event;
  watch_ = loop_.WatchHandle(acceptEvent_, [this] { OnAcceptReady(); });
  FollowLineLost();
  return true;
}

void SimTcpListener::OnAcceptReady() {
  WSANETWORKEVENTS events{};
  ::WSAEnumNetworkEvents(static_cast<SOCKET>(listenSocket_), static_cast<WSAEVENT>(acceptEvent_),
                         &events);
  for (;;) {
    sockaddr_in peer{};
    int len = sizeof peer;
    SOCKET s =
        ::accept(static_cast<SOCKET>(listenSocket_), reinterpret_cast<sockaddr*>(&peer), &len);
    if (s == INVALID_SOCKET) return;  // nothing more waiting (or a transient error)
    if (RefuseWhileServing()) {
      ::closesocket(s);  // one client at a time
      continue;
    }
    // An accepted socket inherits the listener's event selection: the channel makes its own.
    ::WSAEventSelect(s, nullptr, 0);
    char text[INET_ADDRSTRLEN] = "?";
    ::inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text);
    const std::string name = std::string(text) + ":" + std::to_string(ntohs(peer.sin_port));
    auto channel = std::make_unique<Win32TcpSerialChannel>(loop_, s, "tcp " + name);
    if (channel->Open()) Serve(std::move(channel), name);
  }
}

}  // namespace tavkelo
