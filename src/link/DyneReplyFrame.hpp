#pragma once
// A reply's bytes as pure functions: where a reply ends as its bytes arrive, whether a data frame
// is sound (start byte and checksum), and what a status or variable payload says. Nothing here
// touches the line or the store; the exchange keeps the receive buffer and applies the results.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "link/DyneVocabulary.hpp"

namespace tavkelo {

// A reply longer than this is an overflow.
inline constexpr size_t kMaxReplyBytes = 255;

// What one batch of arriving bytes does to the reply gathered so far.
struct GatherStep {
  // Bytes of the batch that belong to the reply; those after its end are dropped.
  size_t taken = 0;
  // kReplyACK or kReplyNAK (a single first byte), kReplyData (a "$" after the first byte),
  // kReplyOverFlow (the batch would pass kMaxReplyBytes; nothing is taken) or kReplyPending.
  ReplyStatus status = kReplyPending;
};
GatherStep GatherReplyBytes(size_t received, const uint8_t* bytes, size_t count);

enum class DataFrameCheck { Sound, BadStart, BadChecksum };
// STX, payload, ETB, two checksum characters, "$": the XOR from the STX through the ETB must
// match the two characters.
DataFrameCheck CheckDataFrame(const uint8_t* bytes, size_t count);

// The reply to "D" Get Status: characters 1 to 16 of the frame, "0" or "1" each.
struct StatusReply {
  int32_t result = xr::Success;  // or xr::ParseError
  std::array<bool, 16> bits{};
  std::string errorMessage;
};
StatusReply ParseStatusReply(const uint8_t* bytes, size_t count);

// One group of a variable payload, in the controller's units.
struct ReplyGroup {
  uint8_t variable = 0;
  // False only for a group that a parse error stopped before its value was read.
  bool hasValue = true;
  float controllerValue = 0.0f;
  std::string controllerUnit;
};

// The reply to "E" Get Variable or "C" Get Test Values: up to five groups, ended by the ETB.
// After a parse error the groups read so far are kept, the failing one included (the store
// takes them as they are).
struct VariableReply {
  static constexpr size_t kMaxGroups = 5;

  int32_t result = xr::Success;  // or xr::ParseError
  std::array<ReplyGroup, kMaxGroups> groups{};
  size_t groupCount = 0;
  std::string errorMessage;
};
VariableReply ParseVariableReply(const uint8_t* bytes, size_t count);

}  // namespace tavkelo
