#include "link/DyneRequests.hpp"

#include <exception>

#include "link/DyneUnits.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
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
  int stage = 0;
  auto put = [&](uint8_t b) {
    if (static_cast<size_t>(x.sendCount) >= x.sendBuffer.size())
      throw VbRuntimeError(kVbErrSubscriptOutOfRange, "BuildCommSendBuffer", "Subscript out of range");
    x.sendBuffer[static_cast<size_t>(x.sendCount++)] = b;
  };
  auto putText = [&](const std::string& text) {
    for (char c : text) put(static_cast<uint8_t>(c));
  };
  auto variableText = [&](uint8_t variable) {
    if (ctx_.host.ZeroFillVariableNumber) return VbFormat(static_cast<int>(variable), "000");
    std::string text = VbFormat(static_cast<int>(variable), "##0");
    return std::string(3 - std::min<size_t>(3, text.size()), ' ') + text;
  };
  try {
    x.sendCount = 0;
    put(frame::Lead1);
    put(frame::Lead2);
    put(static_cast<uint8_t>(x.command));
    stage = 300;
    switch (x.command) {
      case cmd::GetVariable:
        stage = 310;
        putText(variableText(slot.variable));
        put(frame::ENQ);
        break;
      case cmd::WriteVariable: {
        stage = 320;
        ctx_.readings.ScaleConvertData(false);
        stage = 322;
        DyneValueFormat f = FormatDyneValue(slot.variable);
        stage = 323;
        std::string valueText = VbFormat(slot.controllerValue, f.format) + f.unit;
        stage = 324;
        // What the store holds is exactly what was sent.
        slot.controllerValue = static_cast<float>(VbVal(valueText));
        stage = 325;
        putText(variableText(slot.variable));
        put('=');
        putText(valueText);
        put(frame::CR);
        put(frame::ETB);
        stage = 326;
        uint8_t sum = XorChecksum(x.sendBuffer.data() + 1, x.sendBuffer.data() + x.sendCount);
        putText(ChecksumText(sum));
        put(frame::End);
        break;
      }
      case cmd::GetTestValues:
      case cmd::GetStatus:
        stage = 330;
        put(frame::ENQ);
        break;
      default:
        stage = 340;
        break;
    }
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, "BuildCommSendBuffer[" + std::to_string(stage) + "]", 0);
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
  const LinkTransfer& x = ctx_.xfer;
  try {
    std::string text = "DyneCmd[" + std::string(1, static_cast<char>(x.command)) + "-" +
                       DyneCommandName(x.command);
    if (x.command == cmd::GetVariable || x.command == cmd::WriteVariable) {
      text += " (" + DyneVariableName(ctx_.store.slots[0].variable) + ")]";
    } else {
      text += "]";
    }
    return text;
  } catch (...) {
    return "DyneCmd[error]";
  }
}

}  // namespace tavkelo
