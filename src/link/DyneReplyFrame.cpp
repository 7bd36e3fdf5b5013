#include "link/DyneReplyFrame.hpp"

#include <cmath>

#include "platform/VbConvert.hpp"

namespace tavkelo {

GatherStep GatherReplyBytes(size_t received, const uint8_t* bytes, size_t count) {
  if (received + count > kMaxReplyBytes) return {0, kReplyOverFlow};
  for (size_t i = 0; i < count; ++i) {
    const uint8_t b = bytes[i];
    const bool first = received + i == 0;
    // A single ACK or NAK answers a request; anything else starts a data frame, which only a
    // "$" after its first byte ends.
    if (first && (b == frame::ACK || b == frame::NAK)) {
      return {1, b == frame::ACK ? kReplyACK : kReplyNAK};
    }
    if (!first && b == frame::End) return {i + 1, kReplyData};
  }
  return {count, kReplyPending};
}

DataFrameCheck CheckDataFrame(const uint8_t* bytes, size_t count) {
  if (count == 0 || bytes[0] != frame::STX) return DataFrameCheck::BadStart;
  if (count < 4) return DataFrameCheck::BadChecksum;
  // STX ... ETB c1 c2 $: the sum runs from the STX through the ETB.
  const std::string expected = ChecksumText(XorChecksum(bytes, bytes + (count - 3)));
  const bool match = bytes[count - 3] == static_cast<uint8_t>(expected[0]) &&
                     bytes[count - 2] == static_cast<uint8_t>(expected[1]);
  return match ? DataFrameCheck::Sound : DataFrameCheck::BadChecksum;
}

StatusReply ParseStatusReply(const uint8_t* bytes, size_t count) {
  StatusReply r;
  for (size_t pos = 1; pos <= r.bits.size(); ++pos) {
    const uint8_t c = pos < count ? bytes[pos] : 0;
    if (c != '0' && c != '1') {
      r.result = xr::ParseError;
      r.errorMessage = "Error Parsing Dyne Status Data";
      return r;
    }
    r.bits[pos - 1] = c != '0';
  }
  return r;
}

VariableReply ParseVariableReply(const uint8_t* b, size_t count) {
  VariableReply r;
  auto fail = [&r](const char* message) {
    r.result = xr::ParseError;
    r.errorMessage = message;
    return r;
  };
  // The payload ends at the ETB (or, in a damaged frame, at the end of what was received).
  size_t end = count;
  for (size_t i = 1; i < count; ++i) {
    if (b[i] == frame::ETB) {
      end = i;
      break;
    }
  }
  size_t pos = 1;
  while (r.groupCount < r.groups.size() && pos < end) {
    while (pos < end && b[pos] == ' ') ++pos;
    if (pos >= end) break;
    // The number: up to three digits, then "=" (a value follows) or "-" (none follows).
    size_t sep = end;
    for (size_t i = pos; i < end && i <= pos + 3; ++i) {
      if (b[i] == '=' || b[i] == '-') {
        sep = i;
        break;
      }
    }
    if (sep == end) return fail("Error Parsing Variable Number");
    ReplyGroup& g = r.groups[r.groupCount++];
    std::string_view number(reinterpret_cast<const char*>(b + pos), sep - pos);
    // Three characters can still spell a number no int holds ("8e9"); such a group names no
    // variable (0).
    const double numberValue = VbVal(number);
    g.variable = std::fabs(numberValue) < 2147483648.0
                     ? static_cast<uint8_t>(static_cast<int>(numberValue) & 0xFF)
                     : 0;
    pos = sep + 1;
    if (b[sep] == '-') {
      g.controllerValue = 0.0f;
      while (pos < end && b[pos] != frame::CR) ++pos;
      if (pos < end) ++pos;
      continue;
    }
    while (pos < end && b[pos] == ' ') ++pos;
    const size_t valueStart = pos;
    while (pos < end && b[pos] != frame::CR && b[pos] != ' ') ++pos;
    if (pos >= end) {
      g.hasValue = false;
      return fail("Parse error, no CR or SPACE followed variable value");
    }
    std::string_view value(reinterpret_cast<const char*>(b + valueStart), pos - valueStart);
    g.controllerValue = static_cast<float>(VbVal(value));
    if (b[pos] == ' ') {
      const size_t unitStart = ++pos;
      while (pos < end && b[pos] != frame::CR) ++pos;
      if (pos >= end) return fail("Parse error, no CR followed Variable units data");
      g.controllerUnit.assign(reinterpret_cast<const char*>(b + unitStart), pos - unitStart);
    }
    ++pos;  // the CR
  }
  return r;
}

}  // namespace tavkelo
