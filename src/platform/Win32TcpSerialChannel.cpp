#include "platform/Win32TcpSerialChannel.hpp"

#include <winsock2.h>
#include <ws2tcpip.h>

#include "platform/SerialDevices.hpp"
#include "platform/Win32Text.hpp"
#include "runtime/EventLoop.hpp"

namespace tavkelo {

bool Win32TcpSerialChannel::StartWinsock() {
  static const bool started = [] {
    WSADATA data{};
    return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }();
  return started;
}

Win32TcpSerialChannel::Win32TcpSerialChannel(EventLoop& loop, std::string address)
    : loop_(loop), name_(std::move(address)), socket_(INVALID_SOCKET) {
  if (!ParseSocketAddress(name_, host_, port_)) host_.clear();
}

Win32TcpSerialChannel::Win32TcpSerialChannel(EventLoop& loop, uintptr_t socket, std::string name)
    : loop_(loop), name_(std::move(name)), socket_(socket) {}

Win32TcpSerialChannel::~Win32TcpSerialChannel() {
  Close();
  if (socket_ != INVALID_SOCKET) ::closesocket(socket_);  // adopted and never opened
}

uintptr_t Win32TcpSerialChannel::Connect() {
  if (host_.empty()) {
    lastError_ = name_ + ": expected socket://host:port";
    return INVALID_SOCKET;
  }
  if (!StartWinsock()) {
    lastError_ = name_ + ": Winsock cannot be started";
    return INVALID_SOCKET;
  }
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (int rc = ::getaddrinfo(host_.c_str(), port_.c_str(), &hints, &found); rc != 0) {
    lastError_ = name_ + ": " + Win32ErrorText(static_cast<unsigned long>(rc));
    return INVALID_SOCKET;
  }
  SOCKET s = INVALID_SOCKET;
  for (addrinfo* ai = found; ai != nullptr && s == INVALID_SOCKET; ai = ai->ai_next) {
    s = ::socket(ai->ai_family, ai->ai_socktype, ai->ai_protocol);
    if (s == INVALID_SOCKET) continue;
    u_long nonBlocking = 1;
    ::ioctlsocket(s, FIONBIO, &nonBlocking);
    if (::connect(s, ai->ai_addr, static_cast<int>(ai->ai_addrlen)) != 0 &&
        ::WSAGetLastError() != WSAEWOULDBLOCK) {
      lastError_ = name_ + ": " + Win32ErrorText(static_cast<unsigned long>(::WSAGetLastError()));
      ::closesocket(s);
      s = INVALID_SOCKET;
      continue;
    }
    // Wait for the connection a short while; a serial device server answers at once or never.
    fd_set writable, failed;
    FD_ZERO(&writable);
    FD_ZERO(&failed);
    FD_SET(s, &writable);
    FD_SET(s, &failed);
    timeval wait{3, 0};
    int error = 0;
    int len = sizeof error;
    if (::select(0, nullptr, &writable, &failed, &wait) != 1 || FD_ISSET(s, &failed) ||
        ::getsockopt(s, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &len) != 0 ||
        error != 0) {
      lastError_ = name_ + ": " +
                   (error != 0 ? Win32ErrorText(static_cast<unsigned long>(error))
                               : std::string(FD_ISSET(s, &failed) ? "connection refused"
                                                                  : "connection timed out"));
      ::closesocket(s);
      s = INVALID_SOCKET;
    }
  }
  ::freeaddrinfo(found);
  return s;
}

bool Win32TcpSerialChannel::Open() {
  if (open_) return true;
  lastError_.clear();
  SOCKET s = socket_ != INVALID_SOCKET ? static_cast<SOCKET>(socket_) : Connect();
  socket_ = INVALID_SOCKET;  // an adopted socket is opened once
  if (s == INVALID_SOCKET) {
    if (lastError_.empty()) lastError_ = "cannot open " + name_;
    return false;
  }
  u_long nonBlocking = 1;
  ::ioctlsocket(s, FIONBIO, &nonBlocking);
  BOOL one = TRUE;
  ::setsockopt(s, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&one), sizeof one);
  WSAEVENT event = ::WSACreateEvent();
  ::WSAEventSelect(s, event, FD_READ | FD_WRITE | FD_CLOSE);
  socket_ = s;
  event_ = event;
  open_ = true;
  watch_ = loop_.WatchHandle(event_, [this] { OnSignalled(); });
  return true;
}

void Win32TcpSerialChannel::Close() {
  if (!open_) return;
  loop_.UnwatchHandle(watch_);
  watch_ = 0;
  ::closesocket(static_cast<SOCKET>(socket_));
  ::WSACloseEvent(static_cast<WSAEVENT>(event_));
  socket_ = INVALID_SOCKET;
  event_ = nullptr;
  open_ = false;
  in_.clear();
  out_.clear();
}

void Win32TcpSerialChannel::OnSignalled() {
  if (!open_) return;
  WSANETWORKEVENTS events{};
  if (::WSAEnumNetworkEvents(static_cast<SOCKET>(socket_), static_cast<WSAEVENT>(event_),
                             &events) != 0) {
    HangUp(::WSAGetLastError());
    return;
  }
  if (events.lNetworkEvents & FD_WRITE) FlushPending();
  if (!open_) return;
  if (events.lNetworkEvents & (FD_READ | FD_CLOSE)) {
    size_t before = in_.size();
    ReadAvailable();
    if (!open_) return;
    if (in_.size() > before) NotifyReceived();
    if (events.lNetworkEvents & FD_CLOSE) HangUp(events.iErrorCode[FD_CLOSE_BIT]);
  }
}

void Win32TcpSerialChannel::ReadAvailable() {
  char buffer[512];
  for (;;) {
    int n = ::recv(static_cast<SOCKET>(socket_), buffer, sizeof buffer, 0);
    if (n > 0) {
      in_.insert(in_.end(), buffer, buffer + n);
      continue;
    }
    int error = n == 0 ? 0 : ::WSAGetLastError();
    if (error == WSAEWOULDBLOCK) return;
    HangUp(error);  // recv() == 0 or a hard error: the other end is gone
    return;
  }
}

void Win32TcpSerialChannel::FlushPending() {
  while (open_ && !out_.empty()) {
    char buffer[512];
    int n = 0;
    while (n < static_cast<int>(sizeof buffer) && static_cast<size_t>(n) < out_.size()) {
      buffer[n] = static_cast<char>(out_[static_cast<size_t>(n)]);
      ++n;
    }
    int sent = ::send(static_cast<SOCKET>(socket_), buffer, n, 0);
    if (sent > 0) {
      out_.erase(out_.begin(), out_.begin() + sent);
      continue;
    }
    if (sent < 0 && ::WSAGetLastError() == WSAEWOULDBLOCK) return;  // FD_WRITE comes back
    HangUp(sent < 0 ? ::WSAGetLastError() : 0);
  }
}

size_t Win32TcpSerialChannel::InBufferCount() {
  if (open_) ReadAvailable();
  return in_.size();
}

std::vector<uint8_t> Win32TcpSerialChannel::Input() {
  if (open_) ReadAvailable();
  std::vector<uint8_t> bytes(in_.begin(), in_.end());
  in_.clear();
  return bytes;
}

void Win32TcpSerialChannel::DiscardInput() {
  if (open_) ReadAvailable();
  in_.clear();
}

bool Win32TcpSerialChannel::Output(const uint8_t* data, size_t count) {
  if (!open_) return false;
  out_.insert(out_.end(), data, data + count);
  FlushPending();
  return open_;
}

void Win32TcpSerialChannel::HangUp(int error) {
  if (!open_) return;
  Close();
  lastError_ = "line lost: " + name_;
  if (error != 0) lastError_ += " (" + Win32ErrorText(static_cast<unsigned long>(error)) + ")";
  RaiseComm(comm::EventDCB);
}

}  // namespace tavkelo
