#pragma once
// A serial line reached through a serial device server or the simulator tool:
// "socket://host:port". The connection is made when the port is opened.

#include "platform/FdSerialChannel.hpp"

namespace tavkelo {

class TcpSerialChannel final : public FdSerialChannel {
 public:
  // `address` is "socket://host:port" or "host:port".
  TcpSerialChannel(EventLoop& loop, std::string address);

 protected:
  int OpenFd() override;

 private:
  std::string host_;
  std::string port_;
};

}  // namespace tavkelo
