#pragma once
// Checking replies: the command-status check that the poller and the command exchange call until
// an exchange is finished, with its resends, NAKs, counters and log lines; the status and
// variable parsers; and the ACK/NAK answer to a data frame.

#include <cstdint>
#include <string>

namespace tavkelo {

class KeloContext;

class DyneReplies {
 public:
  explicit DyneReplies(KeloContext& ctx) : ctx_(ctx) {}

  bool CheckKeloCmdSts();
  int32_t ParseDyneStatus();
  int32_t ParseDyneVariable();
  // Returns the put's result (0 sent, 2 port not open).
  int32_t SendAckNak(uint8_t code, const std::string& logText);

 private:
  // Sends the same frame again after a pause; true when the exchange is finished.
  bool Resend(int32_t& result, uint32_t pauseMs);
  void CountAndLogFailure(int32_t result);
  void ApplyCommandEffect();

  KeloContext& ctx_;
};

}  // namespace tavkelo
