#pragma once
// A TCP socket bound to a free port of the loopback address, closed with the object: a listener
// for a test's own server end, or (closed at once) a port that nothing uses.

namespace tavkelo::test {

class LoopbackSocket {
 public:
  // Throws when the socket cannot be made; `listen` puts it in the listening state.
  explicit LoopbackSocket(bool listen);
  ~LoopbackSocket();
  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;

  int Fd() const { return fd_; }
  int Port() const { return port_; }

 private:
  int fd_ = -1;
  int port_ = 0;
};

}  // namespace tavkelo::test
