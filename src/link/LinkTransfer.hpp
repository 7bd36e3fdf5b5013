#pragma once
// The transfer state of the one outstanding request, kept by the exchange (DyneExchange): send and
// receive buffers, the reply status, the current command and the retry counters.

#include <array>
#include <cstdint>
#include <string>

#include "link/DyneVocabulary.hpp"

namespace tavkelo {

struct LinkTransfer {
  static constexpr size_t kSendSize = 60;
  static constexpr size_t kReceiveSize = 256;

  std::array<uint8_t, kSendSize> sendBuffer{};
  int16_t sendCount = 0;
  std::array<uint8_t, kReceiveSize> receiveBuffer{};
  int16_t receiveCount = 0;
  int32_t replyStatus = kReplyUnknown;
  int32_t command = ' ';
  // The request's log text: its DyneCmdText and three blanks.
  std::string logText;
  // A request's frame went out and its exchange is not finished yet.
  bool replyAwaited = false;
  // Retries of the outstanding request: resends (after time-outs, overflows, refusals and bad
  // frames) and NAKs sent (after checksum errors). Cleared by the full reset only.
  uint8_t resendCount = 0;
  uint8_t nakSentCount = 0;
  // Set when a frame went out / when a reply byte came in since the respective reset.
  uint8_t sendMarker = 0;
  uint8_t receiveMarker = 0;
};

}  // namespace tavkelo
