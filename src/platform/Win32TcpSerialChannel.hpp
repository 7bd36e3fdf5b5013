#pragma once
// A serial line reached through a serial device server or the simulator tool, on Winsock:
// "socket://host:port". The connection is made when the port is opened. The socket is
// non-blocking; its network events (read, write, close) signal an event that wakes the loop.
// When the other end closes or the connection fails, the channel raises comm::EventDCB and
// closes, as on Linux.

#include <cstdint>
#include <deque>
#include <string>

#include "platform/SerialChannel.hpp"

namespace tavkelo {

class EventLoop;

class Win32TcpSerialChannel final : public SerialChannel {
 public:
  // `address` is "socket://host:port" or "host:port".
  Win32TcpSerialChannel(EventLoop& loop, std::string address);
  // Adopts a connected socket (one the simulator tool accepted).
  Win32TcpSerialChannel(EventLoop& loop, uintptr_t socket, std::string name);
  ~Win32TcpSerialChannel() override;

  std::string Name() const override { return name_; }
  bool SetSettings(const std::string& settings) override {
    settings_ = settings;
    return true;
  }
  std::string Settings() const override { return settings_; }
  bool Open() override;
  void Close() override;
  bool IsOpen() const override { return open_; }
  void DiscardInput() override;
  void DiscardOutput() override { out_.clear(); }
  size_t InBufferCount() override;
  std::vector<uint8_t> Input() override;
  bool Output(const uint8_t* data, size_t count) override;

  // Starts Winsock once for the process; false when it cannot be started.
  static bool StartWinsock();

 private:
  uintptr_t Connect();
  void OnSignalled();
  void ReadAvailable();
  void FlushPending();
  void HangUp(int error);

  EventLoop& loop_;
  std::string name_;
  std::string settings_ = "9600,N,8,1";
  std::string host_;
  std::string port_;
  uintptr_t socket_;
  bool open_ = false;
  void* event_ = nullptr;
  int watch_ = 0;
  std::deque<uint8_t> in_;
  std::deque<uint8_t> out_;
};

}  // namespace tavkelo
