#pragma once
// Cuts the bytes the host sends into request frames, by their content alone (a pseudo-terminal
// has no baud rate, so silence means nothing). Between frames it also picks out the host's
// single-byte answers to a data frame (ACK, NAK) and skips anything else until the next
// 0xB4 0x11.
//
// Frames:  B4 11 c                          c an action command
//          B4 11 C|D ENQ
//          B4 11 E nnn ENQ                  nnn "009" or "  9" (leading blanks or zeros)
//          B4 11 F nnn = text CR ETB hh $   hh = XOR of 11 .. ETB in upper-case hexadecimal
//
// A frame that breaks the rules is reported as Broken (the controller refuses it). A frame cut
// short by a new 0xB4 is reported as Dropped: the host gave up on it and started over, so it
// gets no answer of its own.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tavkelo {

struct FramerEvent {
  enum class Kind { Request, Broken, Dropped, HostAck, HostNak };
  Kind kind = Kind::Request;
  uint8_t command = 0;    // 0 when the frame broke before its command
  int variable = -1;      // "E" and "F"; -1 when none was read
  std::string valueText;  // "F": the text between "=" and CR
  std::string problem;    // Broken and Dropped: what was wrong
};

class RequestFramer {
 public:
  using Sink = std::function<void(const FramerEvent&)>;
  static constexpr size_t kMaxValueText = 40;

  void Feed(const uint8_t* data, size_t count, const Sink& sink);
  // Bytes skipped while looking for a frame.
  uint64_t SkippedBytes() const { return skipped_; }

 private:
  enum class State { Hunt, Lead, Command, Enq, Number, Equals, Value, Etb, Sum, End };

  void Take(uint8_t byte, const Sink& sink);
  void Emit(FramerEvent::Kind kind, const Sink& sink, std::string problem = {});
  void Restart();

  State state_ = State::Hunt;
  std::vector<uint8_t> frame_;
  FramerEvent current_;
  std::string number_;
  std::string sum_;
  uint64_t skipped_ = 0;
};

}  // namespace tavkelo
