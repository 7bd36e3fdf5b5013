#include "support/LoopbackSocket.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace tavkelo::test {

LoopbackSocket::LoopbackSocket(bool listen) {
  fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof addr;
  if (fd_ < 0 || ::bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
      ::getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &len) != 0 ||
      (listen && ::listen(fd_, 4) != 0)) {
    if (fd_ >= 0) ::close(fd_);
    throw std::runtime_error("no loopback socket");
  }
  port_ = ntohs(addr.sin_port);
}

LoopbackSocket::~LoopbackSocket() {
  ::close(fd_);
}

}  // namespace tavkelo::test
