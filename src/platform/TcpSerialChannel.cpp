#include "platform/TcpSerialChannel.hpp"

#include "platform/SerialDevices.hpp"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tavkelo {

TcpSerialChannel::TcpSerialChannel(EventLoop& loop, std::string address) : FdSerialChannel(loop) {
  SetName(address);
  if (!ParseSocketAddress(address, host_, port_)) host_.clear();
}

int TcpSerialChannel::OpenFd() {
  if (host_.empty()) {
    lastError_ = Name() + ": expected socket://host:port";
    return -1;
  }
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  int rc = ::getaddrinfo(host_.c_str(), port_.c_str(), &hints, &found);
  if (rc != 0) {
    lastError_ = Name() + ": " + ::gai_strerror(rc);
    return -1;
  }
  int fd = -1;
  for (addrinfo* ai = found; ai != nullptr && fd < 0; ai = ai->ai_next) {
    fd = ::socket(ai->ai_family, ai->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, ai->ai_protocol);
    if (fd < 0) continue;
    if (::connect(fd, ai->ai_addr, ai->ai_addrlen) != 0 && errno != EINPROGRESS) {
      lastError_ = Name() + ": " + std::strerror(errno);
      ::close(fd);
      fd = -1;
      continue;
    }
    // Wait for the connection a short while; a serial device server answers at once or never.
    pollfd p{fd, POLLOUT, 0};
    int error = 0;
    socklen_t len = sizeof error;
    if (::poll(&p, 1, 3000) != 1 || ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &len) != 0 ||
        error != 0) {
      lastError_ = Name() + ": " + (error != 0 ? std::strerror(error) : "connection timed out");
      ::close(fd);
      fd = -1;
    }
  }
  ::freeaddrinfo(found);
  if (fd >= 0) {
    int one = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  }
  return fd;
}

}  // namespace tavkelo
