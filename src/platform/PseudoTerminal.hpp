#pragma once
// A pseudo-terminal for serving the controller to programs that open a serial device: the
// master side is the controller's end, the slave path (/dev/pts/N) is what a client opens. The
// slave is set to raw mode (no echo, no line editing, 8 bits, reads wait for a byte) and one slave
// descriptor is kept open here, so the master does not see a hang-up each time a client closes the
// device.

#include <string>

namespace tavkelo {

class PseudoTerminal {
 public:
  PseudoTerminal() = default;
  ~PseudoTerminal();
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  // Creates the pair; false with Error() set when it cannot.
  bool Open();
  const std::string& SlavePath() const { return slavePath_; }
  const std::string& Error() const { return error_; }
  int MasterFd() const { return masterFd_; }
  // Hands the master descriptor over (to a channel that adopts it); this object stops owning it.
  int ReleaseMaster();

 private:
  int masterFd_ = -1;
  int slaveFd_ = -1;
  std::string slavePath_;
  std::string error_;
};

}  // namespace tavkelo
