#include "platform/PseudoTerminal.hpp"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tavkelo {

PseudoTerminal::~PseudoTerminal() {
  if (masterFd_ >= 0) ::close(masterFd_);
  if (slaveFd_ >= 0) ::close(slaveFd_);
}

bool PseudoTerminal::Open() {
  auto fail = [this](const char* what) {
    error_ = std::string(what) + ": " + std::strerror(errno);
    return false;
  };
  masterFd_ = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (masterFd_ < 0) return fail("posix_openpt");
  ::fcntl(masterFd_, F_SETFD, FD_CLOEXEC);
  if (::grantpt(masterFd_) != 0) return fail("grantpt");
  if (::unlockpt(masterFd_) != 0) return fail("unlockpt");
  char name[128];
  if (::ptsname_r(masterFd_, name, sizeof name) != 0) return fail("ptsname");
  slavePath_ = name;
  slaveFd_ = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (slaveFd_ < 0) return fail("open slave");
  termios tio{};
  if (::tcgetattr(slaveFd_, &tio) != 0) return fail("tcgetattr");
  ::cfmakeraw(&tio);
  tio.c_cflag |= CLOCAL | CREAD;
  // A blocking read waits for a byte, so plain tools (cat, od) can be clients; programs that set
  // their own terminal modes are not affected.
  tio.c_cc[VMIN] = 1;
  tio.c_cc[VTIME] = 0;
  if (::tcsetattr(slaveFd_, TCSANOW, &tio) != 0) return fail("tcsetattr");
  return true;
}

int PseudoTerminal::ReleaseMaster() {
  int fd = masterFd_;
  masterFd_ = -1;
  return fd;
}

}  // namespace tavkelo
