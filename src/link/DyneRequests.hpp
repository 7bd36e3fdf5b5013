#pragma once
// Request frames: building the frame of the current request, the checksum of "Write Variable",
// putting the frame on the line with the reply wait armed, and the reset of the transfer state.

#include <cstdint>
#include <string>

namespace tavkelo {

class KeloContext;

class DyneRequests {
 public:
  explicit DyneRequests(KeloContext& ctx) : ctx_(ctx) {}

  int32_t SendDyneCommand(uint8_t command, uint8_t variable, float value);
  void TransmitDyneRequest();
  void BuildCommSendBuffer();
  void ResetDyneTransfer(bool receiveOnly, bool clearMarker);
  int32_t SCommPut(const uint8_t* bytes, int16_t count, bool armReplyWait, const std::string& logText);
  std::string DyneCmdText() const;
  // Records the request in the transfer state and slot 0 (command, variable, value).
  void RecordRequest(uint8_t command, uint8_t variable, float value);

 private:
  KeloContext& ctx_;
};

}  // namespace tavkelo
