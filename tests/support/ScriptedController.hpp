#pragma once
// A stand-in for the dyne controller on the device end of an in-process line: it frames the
// requests it receives, records them with their arrival time, and answers each with whatever the
// test's responder returns (bytes, after an optional delay), or nothing.

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/SerialChannel.hpp"
#include "runtime/EventLoop.hpp"

namespace tavkelo::test {

struct ReceivedFrame {
  std::vector<uint8_t> bytes;
  int64_t atUs = 0;  // loop time when the last byte arrived
  uint8_t command() const { return bytes.size() >= 3 ? bytes[2] : 0; }
  bool IsAck() const { return bytes.size() == 1 && bytes[0] == 0x06; }
  bool IsNak() const { return bytes.size() == 1 && bytes[0] == 0x15; }
  std::string Text() const { return std::string(bytes.begin(), bytes.end()); }
};

struct ScriptedReply {
  std::vector<uint8_t> bytes;
  int64_t delayUs = 0;
};

// A data frame: STX, payload, ETB, checksum, "$".
std::vector<uint8_t> DataFrame(const std::string& payload);
std::vector<uint8_t> Bytes(const std::string& text);

class ScriptedController {
 public:
  using Responder = std::function<std::vector<ScriptedReply>(const ReceivedFrame&)>;
  ScriptedController(EventLoop& loop, SerialChannel& deviceEnd);

  void SetResponder(Responder responder) { responder_ = std::move(responder); }
  // Answers every request frame with ACK, data frames per command from the given table.
  const std::vector<ReceivedFrame>& Received() const { return received_; }
  // The request frames only (host ACK/NAK bytes left out).
  std::vector<ReceivedFrame> Requests() const;
  void Clear() { received_.clear(); }

 private:
  void OnBytes();
  void Respond(const ReceivedFrame& frame);

  EventLoop& loop_;
  SerialChannel& port_;
  Responder responder_;
  std::vector<uint8_t> pending_;
  std::vector<ReceivedFrame> received_;
};

}  // namespace tavkelo::test
