#include "sim/RequestFramer.hpp"

#include <cctype>
#include <cstdlib>

#include "link/DyneVocabulary.hpp"

namespace tavkelo {

namespace {
bool IsHex(uint8_t b) {
  return std::isxdigit(b) != 0;
}

// "009", " 51", "  9", "209": blanks only in front, at least one digit, at most 255.
int ParseVariableNumber(const std::string& text) {
  size_t i = 0;
  while (i < text.size() && text[i] == ' ') ++i;
  if (i == text.size()) return -1;
  int value = 0;
  for (; i < text.size(); ++i) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value <= 255 ? value : -1;
}
}  // namespace

void RequestFramer::Feed(const uint8_t* data, size_t count, const Sink& sink) {
  for (size_t i = 0; i < count; ++i) Take(data[i], sink);
}

void RequestFramer::Restart() {
  frame_.clear();
  current_ = FramerEvent{};
  number_.clear();
  sum_.clear();
}

void RequestFramer::Emit(FramerEvent::Kind kind, const Sink& sink, std::string problem) {
  FramerEvent event = current_;
  event.kind = kind;
  event.problem = std::move(problem);
  state_ = State::Hunt;
  Restart();
  sink(event);
}

void RequestFramer::Take(uint8_t b, const Sink& sink) {
  // A lead byte inside a frame starts a new one: the old one is given up.
  if (b == frame::Lead1 && state_ != State::Hunt && state_ != State::Lead) {
    Emit(FramerEvent::Kind::Dropped, sink, "frame cut short by a new one");
    state_ = State::Lead;
    frame_.push_back(b);
    return;
  }
  if (state_ != State::Hunt) frame_.push_back(b);

  switch (state_) {
    case State::Hunt:
      if (b == frame::Lead1) {
        Restart();
        frame_.push_back(b);
        state_ = State::Lead;
      } else if (b == frame::ACK) {
        Emit(FramerEvent::Kind::HostAck, sink);
      } else if (b == frame::NAK) {
        Emit(FramerEvent::Kind::HostNak, sink);
      } else {
        ++skipped_;
      }
      return;

    case State::Lead:
      if (b == frame::Lead2) {
        state_ = State::Command;
      } else if (b == frame::Lead1) {
        frame_.assign(1, b);
      } else {
        // Not a frame after all: both bytes were noise (the second may still be a handshake).
        skipped_ += 1;
        Restart();
        state_ = State::Hunt;
        Take(b, sink);
      }
      return;

    case State::Command:
      current_.command = b;
      if (!IsValidDyneCommand(b)) {
        Emit(FramerEvent::Kind::Broken, sink, "unknown command");
      } else if (b == 'C' || b == 'D') {
        state_ = State::Enq;
      } else if (b == 'E' || b == 'F') {
        state_ = State::Number;
      } else {
        Emit(FramerEvent::Kind::Request, sink);
      }
      return;

    case State::Number:
      number_.push_back(static_cast<char>(b));
      if (number_.size() < 3) return;
      current_.variable = ParseVariableNumber(number_);
      if (current_.variable < 0) {
        Emit(FramerEvent::Kind::Broken, sink, "bad variable number");
      } else {
        state_ = current_.command == 'E' ? State::Enq : State::Equals;
      }
      return;

    case State::Enq:
      if (b == frame::ENQ) {
        Emit(FramerEvent::Kind::Request, sink);
      } else {
        Emit(FramerEvent::Kind::Broken, sink, "no ENQ");
      }
      return;

    case State::Equals:
      if (b == '=') {
        state_ = State::Value;
      } else {
        Emit(FramerEvent::Kind::Broken, sink, "no '=' after the variable number");
      }
      return;

    case State::Value:
      if (b == frame::CR) {
        state_ = State::Etb;
      } else if (b < 0x20 || b > 0x7E || current_.valueText.size() >= kMaxValueText) {
        Emit(FramerEvent::Kind::Broken, sink, "bad value text");
      } else {
        current_.valueText.push_back(static_cast<char>(b));
      }
      return;

    case State::Etb:
      if (b == frame::ETB) {
        state_ = State::Sum;
      } else {
        Emit(FramerEvent::Kind::Broken, sink, "no ETB after CR");
      }
      return;

    case State::Sum:
      if (!IsHex(b)) {
        Emit(FramerEvent::Kind::Broken, sink, "bad checksum characters");
        return;
      }
      sum_.push_back(static_cast<char>(b));
      if (sum_.size() == 2) state_ = State::End;
      return;

    case State::End: {
      if (b != frame::End) {
        Emit(FramerEvent::Kind::Broken, sink, "no '$'");
        return;
      }
      // XOR from the 0x11 through the ETB: everything but the lead byte and the last three.
      const uint8_t expected = XorChecksum(frame_.data() + 1, frame_.data() + frame_.size() - 3);
      const long received = std::strtol(sum_.c_str(), nullptr, 16);
      if (received != expected) {
        Emit(FramerEvent::Kind::Broken, sink, "checksum mismatch");
      } else {
        Emit(FramerEvent::Kind::Request, sink);
      }
      return;
    }
  }
}

}  // namespace tavkelo
