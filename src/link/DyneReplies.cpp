#include "link/DyneReplies.hpp"

#include "link/DyneReplyFrame.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
bool IsActionCommand(int32_t c) {
  return c != cmd::GetTestValues && c != cmd::GetStatus && c != cmd::GetVariable && c != cmd::WriteVariable;
}
}  // namespace

bool DyneReplies::CheckKeloCmdSts() {
  LinkTransfer& x = ctx_.xfer;
  if (x.replyStatus == kReplyPending) return false;

  if (ctx_.log.RawCom()) {
    ctx_.log.WriteLog("CheckKeloCmdSts-Sts:" + CommStatusName(static_cast<int16_t>(x.replyStatus)) +
                      " Cnt:" + VbFormat(static_cast<int>(x.receiveCount), "00") + x.logText +
                      " Dat:" + FormatHexBytes(x.receiveBuffer.data(), x.receiveCount));
    ctx_.log.WriteLog("~B ASC:" + FormatControlChars(x.receiveBuffer.data(), x.receiveCount));
  }

  int32_t result = x.exchangeResult;
  bool finished = false;
  switch (x.replyStatus) {
    case kReplyTimeout:
      result = xr::Timeout;
      finished = Resend(result, 200);
      break;
    case kReplyOverFlow:
      result = xr::DeviceError;
      finished = Resend(result, 200);
      break;
    case kReplyNAK:
      result = xr::Refused;
      // The lifts need longer before they take a command again.
      finished = Resend(result, (x.command == cmd::RaiseLifts || x.command == cmd::LowerLifts) ? 500 : 200);
      break;
    case kReplyACK:
      result = xr::Success;
      finished = true;
      break;
    case kReplyData: {
      const DataFrameCheck check =
          CheckDataFrame(x.receiveBuffer.data(), static_cast<size_t>(x.receiveCount));
      if (check == DataFrameCheck::BadStart) {
        result = xr::DeviceError;
        finished = Resend(result, 200);
        break;
      }
      if (check == DataFrameCheck::BadChecksum) {
        result = xr::ChecksumError;
        ++x.nakSentCount;
        if (x.nakSentCount <= 2) {
          if (SendAckNak(frame::NAK, x.logText) != xr::Success) {
            result = xr::DeviceError;
            finished = true;
          }
        } else {
          finished = true;
        }
        break;
      }
      int32_t parsed = xr::Success;
      if (x.command == cmd::GetTestValues || x.command == cmd::GetVariable) {
        parsed = ParseDyneVariable();
      } else if (x.command == cmd::GetStatus) {
        parsed = ParseDyneStatus();
      }
      result = parsed;
      if (parsed != xr::Success) {
        finished = Resend(result, 200);
      } else {
        SendAckNak(frame::ACK, x.logText);
        finished = true;
      }
      break;
    }
    default:
      return false;
  }
  x.exchangeResult = result;

  if (finished) {
    if (result != xr::Success) {
      CountAndLogFailure(result);
    } else {
      ctx_.store.counters.consecutiveTimeouts = 0;
      ApplyCommandEffect();
    }
    x.command = ' ';
  }
  return finished;
}

bool DyneReplies::Resend(int32_t& result, uint32_t pauseMs) {
  LinkTransfer& x = ctx_.xfer;
  ++x.resendCount;
  if (x.resendCount > 2) return true;
  ctx_.loop.Sleep(pauseMs);
  ctx_.requests.ResetDyneTransfer(true, true);
  if (ctx_.requests.SCommPut(x.sendBuffer.data(), x.sendCount, true, x.logText) != xr::Success) {
    result = xr::DeviceError;
    return true;
  }
  return false;
}

void DyneReplies::CountAndLogFailure(int32_t result) {
  LinkCounters& c = ctx_.store.counters;
  const LinkTransfer& x = ctx_.xfer;
  std::string detail;
  bool log = true;
  const std::string cmdText =
      "Cmd[" + std::string(1, static_cast<char>(x.command)) + "-" + DyneCommandName(x.command) + "]";
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
      detail = "Parse Error: Count[" + std::to_string(c.parseErrors) + "] - " + ctx_.store.ParseErrorMessage;
      break;
    default:
      log = false;
      break;
  }
  if (result != xr::Timeout) c.consecutiveTimeouts = 0;
  if (log && ctx_.log.ComErr()) {
    ctx_.log.WriteLog(cmdText + "\r\n" + FormatHexBytes(x.sendBuffer.data(), x.sendCount) + " " + detail);
  }
}

void DyneReplies::ApplyCommandEffect() {
  const int32_t c = ctx_.xfer.command;
  ReadingsStore& s = ctx_.store;
  switch (c) {
    case cmd::RegulatorOff: s.RegulatorOn = false; break;
    case cmd::SpeedRegulatorOn:
    case cmd::TorqueRegulatorOn:
    case cmd::DriveRegulatorOn:
    case cmd::AsmRegulatorOn: s.RegulatorOn = true; break;
    case cmd::RaiseLifts: s.LiftsUp = true; break;
    case cmd::LowerLifts: s.LiftsUp = false; break;
    case cmd::GetTestValues:
    case cmd::GetStatus:
    case cmd::GetVariable: ctx_.readings.StoreDyneData(); break;
    default: break;
  }
  if (ctx_.log.MisCmd() && IsActionCommand(c)) {
    ctx_.log.WriteLog("Internal Dyne Cmd[" + std::string(1, static_cast<char>(c)) + "-" + DyneCommandName(c) + "]");
  }
}

int32_t DyneReplies::ParseDyneStatus() {
  const LinkTransfer& x = ctx_.xfer;
  StatusReply reply = ParseStatusReply(x.receiveBuffer.data(), static_cast<size_t>(x.receiveCount));
  ctx_.store.ParseErrorMessage = reply.errorMessage;
  if (reply.result == xr::Success) ctx_.store.DyneStatusBits = reply.bits;
  return reply.result;
}

int32_t DyneReplies::ParseDyneVariable() {
  const LinkTransfer& x = ctx_.xfer;
  ReadingsStore& s = ctx_.store;
  VariableReply reply =
      ParseVariableReply(x.receiveBuffer.data(), static_cast<size_t>(x.receiveCount));
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

int32_t DyneReplies::SendAckNak(uint8_t code, const std::string& logText) {
  uint8_t byte = code == frame::NAK ? frame::NAK : frame::ACK;
  bool arm = false;
  if (byte == frame::NAK) {
    // The controller answers a NAK by sending its frame again.
    ctx_.requests.ResetDyneTransfer(true, true);
    arm = true;
  }
  return ctx_.requests.SCommPut(&byte, 1, arm, logText);
}

}  // namespace tavkelo
