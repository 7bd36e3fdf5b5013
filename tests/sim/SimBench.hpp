#pragma once
// A simulated controller on an in-process line in virtual time, driven from the host's end with
// raw bytes, and the frames written out by hand from the protocol.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/InProcessLine.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo::test {

// `body` followed by the XOR of its bytes in hex and "$".
inline std::string Checked(const std::string& body) {
  unsigned sum = 0;
  for (char c : body) sum ^= static_cast<unsigned char>(c);
  char hex[4];
  std::snprintf(hex, sizeof hex, "%02X", sum & 0xFFu);
  return body + hex + "$";
}

inline std::string Action(char command) {
  return std::string("\xB4\x11") + command;
}
inline std::string Enquiry(char command) {
  return Action(command) + '\x05';
}
inline std::string GetVariable(std::string_view number3) {
  return Action('E') + std::string(number3) + '\x05';
}
// The checksum runs from the 0x11 through the ETB.
inline std::string WriteVariable(std::string_view number3, std::string_view valueText) {
  return "\xB4" + Checked(
                      "\x11"
                      "F" +
                      std::string(number3) + "=" + std::string(valueText) + "\r\x17");
}
inline std::string DataFrame(std::string_view payload) {
  return Checked("\x02" + std::string(payload) + "\x17");
}

inline const std::string kAck = "\x06";
inline const std::string kNak = "\x15";

// The value of the one group of a "Get Variable" data frame (" 227=12.345 s\r" gives 12.345).
inline double GroupValue(const std::string& frame) {
  const auto eq = frame.find('=');
  return frame.starts_with('\x02') && eq != std::string::npos
             ? std::strtod(frame.c_str() + eq + 1, nullptr)
             : -1e9;
}

class SimBench {
 public:
  explicit SimBench(KeloSimOptions options = {})
      : line(loop), controller(loop, std::move(options)) {
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
    if (reply.starts_with('\x02')) Send(kAck);
    return reply;
  }
  double Read(std::string_view number3) { return GroupValue(Ask(GetVariable(number3))); }
  void Run(uint32_t ms) { loop.PumpFor(ms); }

  VirtualTimeLoop loop;
  InProcessLine line;
  KeloController controller;
};

}  // namespace tavkelo::test
