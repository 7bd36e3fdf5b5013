#include "platform/TermiosSerialChannel.hpp"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>

namespace tavkelo {

namespace {
speed_t SpeedFor(int baud) {
  switch (baud) {
    case 300:
      return B300;
    case 1200:
      return B1200;
    case 2400:
      return B2400;
    case 4800:
      return B4800;
    case 9600:
      return B9600;
    case 19200:
      return B19200;
    case 38400:
      return B38400;
    case 57600:
      return B57600;
    case 115200:
      return B115200;
    default:
      return 0;
  }
}
}  // namespace

TermiosSerialChannel::TermiosSerialChannel(EventLoop& loop, std::string devicePath)
    : FdSerialChannel(loop), path_(std::move(devicePath)) {
  SetName(path_);
}

int TermiosSerialChannel::OpenFd() {
  int fd = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) lastError_ = path_ + ": " + std::strerror(errno);
  return fd;
}

bool TermiosSerialChannel::ApplySettings(int fd) {
  termios tio{};
  if (::tcgetattr(fd, &tio) != 0) {
    lastError_ = path_ + ": not a terminal (" + std::strerror(errno) + ")";
    return false;
  }
  ::cfmakeraw(&tio);
  tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | PARODD | CRTSCTS);
  tio.c_cflag |= CS8 | CREAD | CLOCAL;
  // Settings text: "baud,parity,data,stop"; data bits 8 and stop bits 1 are fixed.
  std::string s = Settings();
  size_t comma = s.find(',');
  char parity = comma != std::string::npos && comma + 1 < s.size()
                    ? static_cast<char>(std::toupper(static_cast<unsigned char>(s[comma + 1])))
                    : 'N';
  if (parity == 'E') tio.c_cflag |= PARENB;
  if (parity == 'O') tio.c_cflag |= PARENB | PARODD;
  // VMIN = 1 on a descriptor opened O_NONBLOCK never blocks: no data reads as EAGAIN. With
  // VMIN = 0 Linux answers read() == 0 for "no data", which reads like a hang-up.
  tio.c_cc[VMIN] = 1;
  tio.c_cc[VTIME] = 0;
  speed_t speed = SpeedFor(SettingsBaudRate(s));
  if (speed == 0) {
    lastError_ = path_ + ": unsupported baud rate in '" + s + "'";
    return false;
  }
  ::cfsetispeed(&tio, speed);
  ::cfsetospeed(&tio, speed);
  if (::tcsetattr(fd, TCSANOW, &tio) != 0) {
    lastError_ = path_ + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

void TermiosSerialChannel::FlushKernelInput(int fd) {
  ::tcflush(fd, TCIFLUSH);
  FdSerialChannel::FlushKernelInput(fd);
}

void TermiosSerialChannel::FlushKernelOutput(int fd) {
  ::tcflush(fd, TCOFLUSH);
}

}  // namespace tavkelo
