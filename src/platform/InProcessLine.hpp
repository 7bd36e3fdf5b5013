#pragma once
// Two serial ports joined by a line with the line's byte timing on the loop's clock: each byte
// takes 10 bit times at the line's baud rate, bytes written back to back queue behind each other,
// and a byte is in the other end's input buffer from its arrival time on, whether or not the loop
// has dispatched its receive event yet (as with a real UART). Tests and the --simulate mode join
// the link to the in-process controller simulator with it.

#include <deque>
#include <memory>

#include "platform/SerialChannel.hpp"
#include "runtime/EventLoop.hpp"

namespace tavkelo {

class InProcessLine {
 public:
  InProcessLine(EventLoop& loop, int baudRate = 9600);
  ~InProcessLine();
  InProcessLine(const InProcessLine&) = delete;
  InProcessLine& operator=(const InProcessLine&) = delete;

  // The host's end (the link) and the device's end (the controller). The line owns both; a
  // caller that needs ownership of an end takes a HostPort() wrapper.
  SerialChannel& HostEnd();
  SerialChannel& DeviceEnd();
  // A port object that forwards to the host end, for code that wants to own its port.
  std::unique_ptr<SerialChannel> HostPort();

  // The device goes away from the host's end (an unplugged adapter, a hung-up line): the host's
  // end closes with EventDCB and refuses to open until PlugIn().
  void Unplug();
  void PlugIn();
  bool Unplugged() const;

  int BaudRate() const { return baudRate_; }
  // Microseconds one byte takes on the line.
  double ByteTimeUs() const { return 10.0 * 1'000'000.0 / baudRate_; }
  // Bytes that travelled each way so far (for benchmarks).
  uint64_t BytesToDevice() const;
  uint64_t BytesToHost() const;

  class End;

 private:
  int baudRate_;
  std::unique_ptr<End> host_;
  std::unique_ptr<End> device_;
};

}  // namespace tavkelo
