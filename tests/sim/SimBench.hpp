#pragma once
// A simulated controller on an in-process line in virtual time, driven from the host's end with
// raw bytes, and a few frame builders written out by hand from the protocol.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "platform/InProcessLine.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo::test {

inline std::string Hex2(unsigned value) {
  char buf[4];
  std::snprintf(buf, sizeof buf, "%02X", value & 0xFFu);
  return buf;
}

inline unsigned Xor(std::string_view bytes) {
  unsigned sum = 0;
  for (char c : bytes) sum ^= static_cast<unsigned char>(c);
  return sum;
}

// Request frames.
inline std::string Action(char command) { return std::string("\xB4\x11") + command; }
inline std::string Enquiry(char command) { return Action(command) + '\x05'; }
inline std::string GetVariable(std::string_view number3) { return Action('E') + std::string(number3) + '\x05'; }
// "Write Variable" with its checksum: XOR from the 0x11 through the ETB.
inline std::string WriteVariable(std::string_view number3, std::string_view valueText) {
  std::string body = std::string("\x11") + "F" + std::string(number3) + "=" + std::string(valueText) + "\r\x17";
  return "\xB4" + body + Hex2(Xor(body)) + "$";
}

// A data frame as the host expects it: STX, payload, ETB, XOR of STX..ETB in hex, "$".
inline std::string DataFrame(std::string_view payload) {
  std::string body = "\x02" + std::string(payload) + "\x17";
  return body + Hex2(Xor(body)) + "$";
}

inline const std::string kAck = "\x06";
inline const std::string kNak = "\x15";

class SimBench {
 public:
  explicit SimBench(KeloSimOptions options = {}, int baud = 9600)
      : line(loop, baud), controller(loop, std::move(options)) {
    line.HostEnd().Open();
    controller.Attach(line.DeviceEnd());
  }

  void Send(std::string_view bytes) {
    line.HostEnd().Output(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  // Everything that reached the host's end within ms.
  std::string Receive(uint32_t ms = 200) {
    loop.PumpFor(ms);
    auto bytes = line.HostEnd().Input();
    return std::string(bytes.begin(), bytes.end());
  }
  std::string Exchange(std::string_view request, uint32_t ms = 200) {
    Send(request);
    return Receive(ms);
  }
  // Answers a data frame with ACK so the controller does not keep it.
  std::string Ask(std::string_view request) {
    std::string reply = Exchange(request);
    if (!reply.empty() && reply[0] == '\x02') Send(kAck);
    return reply;
  }
  void Run(uint32_t ms) { loop.PumpFor(ms); }

  VirtualTimeLoop loop;
  InProcessLine line;
  KeloController controller;
};

// The value of the one group of a "Get Variable" data frame (" 227=12.345 s\r" gives 12.345).
double GroupValue(const std::string& frame);

}  // namespace tavkelo::test
