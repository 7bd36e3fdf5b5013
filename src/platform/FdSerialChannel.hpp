#pragma once
// A serial channel over a file descriptor in the loop's poll set: a terminal device, a
// pseudo-terminal or a socket. Reads are non-blocking; what arrives is kept in an input buffer
// until read. When the other end hangs up or the device vanishes (read() == 0, EIO, POLLHUP,
// POLLERR), the channel raises a line-error event (comm::EventDCB) and closes: never a crash and
// never a busy loop.

#include <deque>
#include <string>

#include "platform/SerialChannel.hpp"

namespace tavkelo {

class EventLoop;

class FdSerialChannel : public SerialChannel {
 public:
  explicit FdSerialChannel(EventLoop& loop);
  // Adopts an open descriptor (a pseudo-terminal master, an accepted socket).
  FdSerialChannel(EventLoop& loop, int fd, std::string name);
  ~FdSerialChannel() override;

  std::string Name() const override { return name_; }
  bool SetSettings(const std::string& settings) override;
  std::string Settings() const override { return settings_; }
  bool Open() override;
  void Close() override;
  bool IsOpen() const override { return fd_ >= 0; }
  void DiscardInput() override;
  void DiscardOutput() override;
  size_t InBufferCount() override;
  std::vector<uint8_t> Input() override;
  bool Output(const uint8_t* data, size_t count) override;

  int Fd() const { return fd_; }

 protected:
  // Opens the descriptor for Open(); -1 with lastError_ set on failure.
  virtual int OpenFd() { return adoptedFd_; }
  // Applies settings_ to an open descriptor (terminals only).
  virtual bool ApplySettings(int /*fd*/) { return true; }
  // Drops what the device or the kernel holds for us (terminals flush their queues).
  virtual void FlushKernelInput(int fd);
  virtual void FlushKernelOutput(int /*fd*/) {}
  void SetName(std::string name) { name_ = std::move(name); }

 private:
  void OnReady(short revents);
  void ReadAvailable();
  void FlushPending();
  void HangUp();
  void UpdateWatch();

  EventLoop& loop_;
  std::string name_;
  std::string settings_ = "9600,N,8,1";
  int adoptedFd_ = -1;
  int fd_ = -1;
  int watch_ = 0;
  std::deque<uint8_t> in_;
  std::deque<uint8_t> out_;
};

}  // namespace tavkelo
