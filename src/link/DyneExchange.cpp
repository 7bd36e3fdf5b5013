#include "link/DyneExchange.hpp"

#include <algorithm>

#include "link/DyneReplyFrame.hpp"
#include "link/DyneRequestFrame.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
bool IsActionCommand(int32_t c) {
  return c != cmd::GetTestValues && c != cmd::GetStatus && c != cmd::GetVariable &&
         c != cmd::WriteVariable;
}
}  // namespace

// ---- requests --------------------------------------------------------------------------------

void DyneExchange::BeginRequest(uint8_t command, uint8_t variable, float value) {
  ResetDyneTransfer(false, true);
  RequestSlot& slot = ctx_.store.slots[0];
  x_.command = command;
  if (command == cmd::GetVariable) slot.variable = variable;
  if (command == cmd::WriteVariable) {
    slot.variable = variable;
    slot.clientValue = value;
    slot.writePending = true;
  }
}

int32_t DyneExchange::SendDyneCommand(uint8_t command, uint8_t variable, float value) {
  if (!IsValidDyneCommand(command)) return xr::InvalidCommand;
  BeginRequest(command, variable, value);
  return TransmitDyneRequest();
}

int32_t DyneExchange::TransmitDyneRequest() {
  BuildCommSendBuffer();
  ResetDyneTransfer(true, true);
  const int32_t result = SCommPut(x_.sendBuffer.data(), x_.sendCount, true, x_.logText);
  x_.replyAwaited = result == xr::Success;
  transmittedUs_ = ctx_.loop.NowUs();
  return result;
}

void DyneExchange::BuildCommSendBuffer() {
  RequestSlot& slot = ctx_.store.slots[0];
  float value = 0.0f;
  if (x_.command == cmd::WriteVariable) {
    // The frame carries the value in the controller's units.
    ctx_.readings.ScaleConvertData(false);
    value = slot.controllerValue;
  }
  RequestFrame frame = EncodeRequest(x_.command, slot.variable, value,
                                     RequestOptions{ctx_.host.ZeroFillVariableNumber});
  // What the store holds is exactly what was sent.
  if (frame.sentValue) slot.controllerValue = *frame.sentValue;
  x_.sendBuffer = frame.bytes;
  x_.sendCount = frame.count;
  // Every line about the request ends with its name and three blanks.
  x_.logText = DyneCmdText(x_.command, slot.variable) + "   ";
  if (frame.error) {
    ctx_.log.LogError(frame.error->number, frame.error->description,
                      "BuildCommSendBuffer[" + std::to_string(frame.error->stage) + "]", 0);
  }
}

void DyneExchange::ResetDyneTransfer(bool receiveOnly, bool clearMarker) {
  if (!receiveOnly) {
    x_.command = ' ';
    x_.sendCount = 0;
    x_.sendBuffer.fill(0);
    x_.resendCount = 0;
    x_.nakSentCount = 0;
    x_.replyAwaited = false;
    if (clearMarker) x_.sendMarker = 0;
  } else if (clearMarker) {
    x_.receiveMarker = 0;
  }
  x_.receiveBuffer.fill(0);
  x_.receiveCount = 0;
  x_.replyStatus = kReplyPending;
  for (RequestSlot& slot : ctx_.store.slots) slot.writePending = false;
}

int32_t DyneExchange::SCommPut(const uint8_t* bytes, int16_t count, bool armReplyWait,
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
  x_.sendMarker = 1;
  if (!port->Output(frame.data(), frame.size())) return xr::DeviceError;
  return xr::Success;
}

int32_t DyneExchange::SendAckNak(uint8_t code, const std::string& logText) {
  uint8_t byte = code == frame::NAK ? frame::NAK : frame::ACK;
  bool arm = false;
  if (byte == frame::NAK) {
    // The controller answers a NAK by sending its frame again.
    ResetDyneTransfer(true, true);
    arm = true;
  }
  return SCommPut(&byte, 1, arm, logText);
}

// ---- replies ---------------------------------------------------------------------------------

ReplyStatus DyneExchange::TakeReplyBytes(const std::vector<uint8_t>& bytes) {
  const size_t received = static_cast<size_t>(x_.receiveCount);
  const GatherStep step = GatherReplyBytes(received, bytes.data(), bytes.size());
  std::copy_n(bytes.begin(), step.taken, x_.receiveBuffer.begin() + static_cast<long>(received));
  x_.receiveCount = static_cast<int16_t>(received + step.taken);
  if (step.taken > 0) x_.receiveMarker = 1;
  if (step.status != kReplyPending) x_.replyStatus = step.status;
  return step.status;
}

std::optional<int32_t> DyneExchange::CheckKeloCmdSts() {
  if (x_.replyStatus == kReplyPending) return std::nullopt;

  if (ctx_.log.RawCom()) {
    ctx_.log.WriteLog(
        "CheckKeloCmdSts-Sts:" + CommStatusName(static_cast<int16_t>(x_.replyStatus)) +
        " Cnt:" + VbFormat(static_cast<int>(x_.receiveCount), "00") + x_.logText +
        " Dat:" + FormatHexBytes(x_.receiveBuffer.data(), x_.receiveCount));
    ctx_.log.WriteLog("~B ASC:" + FormatControlChars(x_.receiveBuffer.data(), x_.receiveCount));
  }

  std::optional<int32_t> result;
  switch (x_.replyStatus) {
    case kReplyTimeout:
      result = Resend(xr::Timeout, 200);
      break;
    case kReplyOverFlow:
      result = Resend(xr::DeviceError, 200);
      break;
    case kReplyNAK: {
      // The lifts need longer before they take a command again.
      const bool lifts = x_.command == cmd::RaiseLifts || x_.command == cmd::LowerLifts;
      result = Resend(xr::Refused, lifts ? 500 : 200);
      break;
    }
    case kReplyACK:
      result = xr::Success;
      break;
    case kReplyData:
      result = CheckDataReply();
      break;
    default:
      return std::nullopt;
  }

  if (result) {
    if (*result != xr::Success) {
      CountAndLogFailure(*result);
    } else {
      ctx_.store.counters.consecutiveTimeouts = 0;
      ApplyCommandEffect();
    }
    x_.command = ' ';
    x_.replyAwaited = false;
    if (ctx_.onExchangeDone) ctx_.onExchangeDone(*result, ctx_.loop.NowUs() - transmittedUs_);
  }
  return result;
}

std::optional<int32_t> DyneExchange::CheckDataReply() {
  const size_t count = static_cast<size_t>(x_.receiveCount);
  const DataFrameCheck check = CheckDataFrame(x_.receiveBuffer.data(), count);
  if (check == DataFrameCheck::BadStart) return Resend(xr::DeviceError, 200);
  if (check == DataFrameCheck::BadChecksum) {
    // Answered with NAK, which the controller answers with the frame again; twice at most.
    ++x_.nakSentCount;
    if (x_.nakSentCount > 2) return xr::ChecksumError;
    if (SendAckNak(frame::NAK, x_.logText) != xr::Success) return xr::DeviceError;
    return std::nullopt;
  }
  int32_t parsed = xr::Success;
  if (x_.command == cmd::GetTestValues || x_.command == cmd::GetVariable) {
    parsed = ParseDyneVariable();
  } else if (x_.command == cmd::GetStatus) {
    parsed = ParseDyneStatus();
  }
  if (parsed != xr::Success) return Resend(parsed, 200);
  SendAckNak(frame::ACK, x_.logText);
  return xr::Success;
}

std::optional<int32_t> DyneExchange::Resend(int32_t result, uint32_t pauseMs) {
  ++x_.resendCount;
  if (x_.resendCount > 2) return result;
  ctx_.loop.Sleep(pauseMs);
  ResetDyneTransfer(true, true);
  if (SCommPut(x_.sendBuffer.data(), x_.sendCount, true, x_.logText) != xr::Success) {
    return xr::DeviceError;
  }
  return std::nullopt;
}

int32_t DyneExchange::ParseDyneStatus() {
  StatusReply reply =
      ParseStatusReply(x_.receiveBuffer.data(), static_cast<size_t>(x_.receiveCount));
  ctx_.store.ParseErrorMessage = reply.errorMessage;
  if (reply.result == xr::Success) ctx_.store.DyneStatusBits = reply.bits;
  return reply.result;
}

int32_t DyneExchange::ParseDyneVariable() {
  ReadingsStore& s = ctx_.store;
  VariableReply reply =
      ParseVariableReply(x_.receiveBuffer.data(), static_cast<size_t>(x_.receiveCount));
  // The groups fill the slots in order, as far as they were read.
  for (size_t i = 0; i < reply.groupCount; ++i) {
    const ReplyGroup& group = reply.groups[i];
    RequestSlot& slot = s.slots[i];
    slot.variable = group.variable;
    if (group.hasValue) {
      slot.controllerValue = group.controllerValue;
      slot.controllerUnit = group.controllerUnit;
    }
  }
  s.ParseErrorMessage = reply.errorMessage;
  if (reply.result == xr::Success) ctx_.readings.ScaleConvertData(true);
  return reply.result;
}

void DyneExchange::CountAndLogFailure(int32_t result) {
  LinkCounters& c = ctx_.store.counters;
  std::string detail;
  bool log = true;
  const std::string cmdText = "Cmd[" + std::string(1, static_cast<char>(x_.command)) + "-" +
                              DyneCommandName(x_.command) + "]";
  switch (result) {
    case xr::DeviceError:
      BumpCounter(c.deviceErrors);
      detail = "Device Error: Count[" + std::to_string(c.deviceErrors) + "]";
      break;
    case xr::ChecksumError:
      BumpCounter(c.checksumErrors);
      detail = "Checksum Error: Count[" + std::to_string(c.checksumErrors) + "]";
      break;
    case xr::Timeout:
      BumpCounter(c.timeoutErrors);
      ++c.consecutiveTimeouts;
      // A dead line would fill the log: the line stops after ten time-outs in a row.
      log = c.consecutiveTimeouts <= 10;
      detail = "Timeout Error: Count[" + std::to_string(c.timeoutErrors) + "] " + cmdText;
      break;
    case xr::Refused:
      BumpCounter(c.nakCount);
      log = false;
      break;
    case xr::ParseError:
      BumpCounter(c.parseErrors);
      detail = "Parse Error: Count[" + std::to_string(c.parseErrors) + "] - " +
               ctx_.store.ParseErrorMessage;
      break;
    default:
      log = false;
      break;
  }
  if (result != xr::Timeout) c.consecutiveTimeouts = 0;
  if (log && ctx_.log.ComErr()) {
    ctx_.log.WriteLog(cmdText + "\r\n" + FormatHexBytes(x_.sendBuffer.data(), x_.sendCount) + " " +
                      detail);
  }
}

void DyneExchange::ApplyCommandEffect() {
  const int32_t c = x_.command;
  ReadingsStore& s = ctx_.store;
  switch (c) {
    case cmd::RegulatorOff:
      s.RegulatorOn = false;
      break;
    case cmd::SpeedRegulatorOn:
    case cmd::TorqueRegulatorOn:
    case cmd::DriveRegulatorOn:
    case cmd::AsmRegulatorOn:
      s.RegulatorOn = true;
      break;
    case cmd::RaiseLifts:
      s.LiftsUp = true;
      break;
    case cmd::LowerLifts:
      s.LiftsUp = false;
      break;
    case cmd::GetTestValues:
    case cmd::GetStatus:
    case cmd::GetVariable:
      ctx_.readings.StoreDyneData(c);
      break;
    default:
      break;
  }
  if (ctx_.log.MisCmd() && IsActionCommand(c)) {
    ctx_.log.WriteLog("Internal Dyne Cmd[" + std::string(1, static_cast<char>(c)) + "-" +
                      DyneCommandName(c) + "]");
  }
}

}  // namespace tavkelo
