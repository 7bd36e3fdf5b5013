#pragma once
// The request-reply exchange with the controller. It owns the transfer state of the one
// outstanding request (its frame, the reply being gathered, the retry counters) and takes an
// exchange through its steps: the request's frame put on the line with the reply wait armed, the
// arriving bytes gathered, the reply checked until the exchange is finished (resends, ACK or NAK,
// failures counted and logged) and a good reply applied to the readings store.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "link/DyneVocabulary.hpp"
#include "link/LinkTransfer.hpp"

namespace tavkelo {

class KeloContext;

class DyneExchange {
 public:
  explicit DyneExchange(KeloContext& ctx) : ctx_(ctx) {}

  // A new request: the full reset of the transfer, then the command recorded, for "E" and "F"
  // with the variable in slot 0, for "F" with the value (client units) marked for writing.
  void BeginRequest(uint8_t command, uint8_t variable, float value);
  // Puts the recorded request's frame on the line with the reply wait armed: 0 when it went
  // out, 2 when the port is not open.
  int32_t TransmitDyneRequest();
  // BeginRequest and TransmitDyneRequest; an invalid command is refused (6) before anything
  // is sent.
  int32_t SendDyneCommand(uint8_t command, uint8_t variable, float value);
  // One look at the reply: the exchange's result once it is finished (0 success), nothing while
  // it goes on (reply still pending, or the request sent again).
  std::optional<int32_t> CheckKeloCmdSts();
  // True from a request put on the line until its exchange is finished.
  bool AwaitingReply() const { return x_.replyAwaited; }
  // The command of the request in progress; a blank when none is.
  int32_t Command() const { return x_.command; }

  // The form's side of an exchange: a batch of arriving bytes taken into the reply (the reply's
  // status after it), and the reply time-out.
  ReplyStatus TakeReplyBytes(const std::vector<uint8_t>& bytes);
  void ReplyTimedOut() { x_.replyStatus = kReplyTimeout; }
  int16_t ReceiveCount() const { return x_.receiveCount; }

 private:
  void BuildCommSendBuffer();
  void ResetDyneTransfer(bool receiveOnly, bool clearMarker);
  int32_t SCommPut(const uint8_t* bytes, int16_t count, bool armReplyWait,
                   const std::string& logText);
  // Returns the put's result (0 sent, 2 port not open).
  int32_t SendAckNak(uint8_t code, const std::string& logText);
  // Sends the same frame again after a pause: the exchange's final result when it ends here
  // (retries used up, or the frame could not be put), nothing when the frame went out again.
  std::optional<int32_t> Resend(int32_t result, uint32_t pauseMs);
  // A complete data frame: checked, parsed by command, answered with ACK or NAK or asked for again.
  std::optional<int32_t> CheckDataReply();
  int32_t ParseDyneStatus();
  int32_t ParseDyneVariable();
  void CountAndLogFailure(int32_t result);
  void ApplyCommandEffect();

  KeloContext& ctx_;
  LinkTransfer x_;
  int64_t transmittedUs_ = 0;  // the loop's clock when the request's frame first went out
};

}  // namespace tavkelo
