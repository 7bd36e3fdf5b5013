#include "support/ScriptedController.hpp"

#include <cstdio>

namespace tavkelo::test {

std::vector<uint8_t> Bytes(const std::string& text) {
  return std::vector<uint8_t>(text.begin(), text.end());
}

std::vector<uint8_t> DataFrame(const std::string& payload) {
  std::vector<uint8_t> frame(payload.size() + 2);
  frame[0] = 0x02;
  for (size_t i = 0; i < payload.size(); ++i) frame[i + 1] = static_cast<uint8_t>(payload[i]);
  frame[payload.size() + 1] = 0x17;
  uint8_t sum = 0;
  for (uint8_t b : frame) sum ^= b;
  char hex[4];
  std::snprintf(hex, sizeof hex, "%02X", sum);
  frame.push_back(static_cast<uint8_t>(hex[0]));
  frame.push_back(static_cast<uint8_t>(hex[1]));
  frame.push_back('$');
  return frame;
}

ScriptedController::ScriptedController(EventLoop& loop, SerialChannel& deviceEnd)
    : loop_(loop), port_(deviceEnd) {
  port_.SetRThreshold(1);
  port_.SetOnComm([this](int16_t event) {
    if (event == 2) OnBytes();
  });
  port_.Open();
}

std::vector<ReceivedFrame> ScriptedController::Requests() const {
  std::vector<ReceivedFrame> out;
  for (const auto& f : received_) {
    if (!f.IsAck() && !f.IsNak()) out.push_back(f);
  }
  return out;
}

void ScriptedController::OnBytes() {
  std::vector<uint8_t> in = port_.Input();
  pending_.insert(pending_.end(), in.begin(), in.end());
  // Frame by content: single ACK/NAK bytes, or 0xB4 0x11 command ...
  for (;;) {
    if (pending_.empty()) return;
    if (pending_[0] == 0x06 || pending_[0] == 0x15) {
      ReceivedFrame f;
      f.bytes.assign(1, pending_[0]);
      f.atUs = loop_.NowUs();
      pending_.erase(pending_.begin());
      received_.push_back(f);
      Respond(f);
      continue;
    }
    if (pending_[0] != 0xB4) {
      pending_.erase(pending_.begin());
      continue;
    }
    if (pending_.size() < 3) return;
    uint8_t c = pending_[2];
    size_t length = 0;
    if (c == 'C' || c == 'D') {
      length = 4;
    } else if (c == 'E') {
      length = 7;
    } else if (c == 'F') {
      for (size_t i = 3; i < pending_.size(); ++i) {
        if (pending_[i] == '$') {
          length = i + 1;
          break;
        }
      }
      if (length == 0) return;
    } else {
      length = 3;
    }
    if (pending_.size() < length) return;
    ReceivedFrame f{
        std::vector<uint8_t>(pending_.begin(), pending_.begin() + static_cast<long>(length)),
        loop_.NowUs()};
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<long>(length));
    received_.push_back(f);
    Respond(f);
  }
}

void ScriptedController::Respond(const ReceivedFrame& frame) {
  if (!responder_) return;
  for (const ScriptedReply& reply : responder_(frame)) {
    if (reply.delayUs <= 0) {
      port_.Output(reply.bytes.data(), reply.bytes.size());
    } else {
      auto bytes = reply.bytes;
      loop_.CallAfterUs(reply.delayUs, [this, bytes] { port_.Output(bytes.data(), bytes.size()); });
    }
  }
}

}  // namespace tavkelo::test
