#include "link/DyneRequests.hpp"

#include <exception>

#include "link/DyneRequestFrame.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

void DyneRequests::RecordRequest(uint8_t command, uint8_t variable, float value) {
  LinkTransfer& x = ctx_.xfer;
  RequestSlot& slot = ctx_.store.slots[0];
  x.command = command;
  if (command == cmd::GetVariable) slot.variable = variable;
  if (command == cmd::WriteVariable) {
    slot.variable = variable;
    slot.clientValue = value;
    slot.writePending = true;
  }
}

int32_t DyneRequests::SendDyneCommand(uint8_t command, uint8_t variable, float value) {
  if (!IsValidDyneCommand(command)) {
    ctx_.xfer.exchangeResult = xr::InvalidCommand;
    return xr::InvalidCommand;
  }
  ctx_.poller.CIP = true;
  ResetDyneTransfer(false, true);
  RecordRequest(command, variable, value);
  TransmitDyneRequest();
  return ctx_.xfer.exchangeResult;
}

void DyneRequests::TransmitDyneRequest() {
  LinkTransfer& x = ctx_.xfer;
  BuildCommSendBuffer();
  ResetDyneTransfer(true, true);
  x.logText = DyneCmdText() + "   ";
  x.exchangeResult = SCommPut(x.sendBuffer.data(), x.sendCount, true, x.logText);
}

void DyneRequests::BuildCommSendBuffer() {
  LinkTransfer& x = ctx_.xfer;
  RequestSlot& slot = ctx_.store.slots[0];
  float value = 0.0f;
  if (x.command == cmd::WriteVariable) {
    // The frame carries the value in the controller's units.
    ctx_.readings.ScaleConvertData(false);
    value = slot.controllerValue;
  }
  RequestFrame frame = EncodeRequest(x.command, slot.variable, value,
                                     RequestOptions{ctx_.host.ZeroFillVariableNumber});
  // What the store holds is exactly what was sent.
  if (frame.sentValue) slot.controllerValue = *frame.sentValue;
  x.sendBuffer = frame.bytes;
  x.sendCount = frame.count;
  if (frame.error) {
    ctx_.log.LogError(frame.error->number, frame.error->description,
                      "BuildCommSendBuffer[" + std::to_string(frame.error->stage) + "]", 0);
  }
}

void DyneRequests::ResetDyneTransfer(bool receiveOnly, bool clearMarker) {
  LinkTransfer& x = ctx_.xfer;
  if (!receiveOnly) {
    x.command = ' ';
    x.sendCount = 0;
    x.sendBuffer.fill(0);
    x.resendCount = 0;
    x.nakSentCount = 0;
    if (clearMarker) x.sendMarker = 0;
  } else if (clearMarker) {
    x.receiveMarker = 0;
  }
  x.receiveBuffer.fill(0);
  x.receiveCount = 0;
  x.replyStatus = kReplyPending;
  for (RequestSlot& slot : ctx_.store.slots) slot.writePending = false;
}

int32_t DyneRequests::SCommPut(const uint8_t* bytes, int16_t count, bool armReplyWait,
                               const std::string& logText) {
  SerialChannel* port = ctx_.comm.KeloComm();
  if (port == nullptr || !port->IsOpen()) return xr::DeviceError;
  std::vector<uint8_t> frame(bytes, bytes + std::max<int16_t>(count, 0));
  port->DiscardInput();
  port->DiscardOutput();
  if (armReplyWait) {
    port->SetRThreshold(1);
    // Each send gets the whole reply time.
    ctx_.comm.tmrDyneRespTimeout.SetEnabled(false);
    ctx_.comm.tmrDyneRespTimeout.SetEnabled(true);
  }
  if (ctx_.log.RawCom()) {
    ctx_.log.WriteLog("SCOMMPUT-Cnt:" + VbFormat(static_cast<int>(count), "00") +
                      " Dat:" + FormatHexBytes(frame.data(), count) + "  " +
                      FormatControlChars(frame.data(), count) + logText);
  }
  ctx_.xfer.sendMarker = 1;
  if (!port->Output(frame.data(), frame.size())) return xr::DeviceError;
  return xr::Success;
}

std::string DyneRequests::DyneCmdText() const {
  return tavkelo::DyneCmdText(ctx_.xfer.command, ctx_.store.slots[0].variable);
}

}  // namespace tavkelo
