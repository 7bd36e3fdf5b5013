#pragma once
// A serial port device (/dev/ttyS0, /dev/ttyUSB0, a pseudo-terminal) in raw mode:
// O_NOCTTY | O_NONBLOCK | O_CLOEXEC, CS8 | CREAD | CLOCAL, VMIN = 1, VTIME = 0, the baud rate and
// parity of the settings text. Modem-line ioctls are not used (they fail on pseudo-terminals).

#include "platform/FdSerialChannel.hpp"

namespace tavkelo {

class TermiosSerialChannel final : public FdSerialChannel {
 public:
  TermiosSerialChannel(EventLoop& loop, std::string devicePath);

 protected:
  int OpenFd() override;
  bool ApplySettings(int fd) override;
  void FlushKernelInput(int fd) override;
  void FlushKernelOutput(int fd) override;

 private:
  std::string path_;
};

}  // namespace tavkelo
