#include "link/DyneReplies.hpp"

#include "link/KeloContext.hpp"
#include "platform/VbConvert.hpp"
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
      if (x.receiveBuffer[0] != frame::STX) {
        result = xr::DeviceError;
        finished = Resend(result, 200);
        break;
      }
      // STX ... ETB c1 c2 $: the sum runs from the STX through the ETB.
      const int n = x.receiveCount;
      bool match = false;
      if (n >= 4) {
        uint8_t sum = XorChecksum(x.receiveBuffer.data(), x.receiveBuffer.data() + (n - 3));
        std::string expected = ChecksumText(sum);
        match = x.receiveBuffer[static_cast<size_t>(n - 3)] == static_cast<uint8_t>(expected[0]) &&
                x.receiveBuffer[static_cast<size_t>(n - 2)] == static_cast<uint8_t>(expected[1]);
      }
      if (!match) {
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
  LinkTransfer& x = ctx_.xfer;
  ctx_.store.ParseErrorMessage.clear();
  for (size_t pos = 1; pos <= 16; ++pos) {
    uint8_t c = x.receiveBuffer[pos];
    if (c != '0' && c != '1') {
      ctx_.store.ParseErrorMessage = "Error Parsing Dyne Status Data";
      return xr::ParseError;
    }
  }
  for (size_t k = 1; k <= 16; ++k) ctx_.store.DyneStatusBits[k - 1] = x.receiveBuffer[k] != '0';
  return xr::Success;
}

int32_t DyneReplies::ParseDyneVariable() {
  LinkTransfer& x = ctx_.xfer;
  ReadingsStore& s = ctx_.store;
  const uint8_t* b = x.receiveBuffer.data();
  // The payload ends at the ETB (or, in a damaged frame, at the end of what was received).
  int end = x.receiveCount;
  for (int i = 1; i < x.receiveCount; ++i) {
    if (b[i] == frame::ETB) {
      end = i;
      break;
    }
  }
  auto fail = [&](const char* message) {
    s.ParseErrorMessage = message;
    return xr::ParseError;
  };
  s.ParseErrorMessage.clear();
  int pos = 1;
  for (size_t group = 0; group < s.slots.size() && pos < end; ++group) {
    while (pos < end && b[pos] == ' ') ++pos;
    if (pos >= end) break;
    // The number: up to three digits, then "=" (a value follows) or "-" (none follows).
    int sep = -1;
    for (int i = pos; i < end && i <= pos + 3; ++i) {
      if (b[i] == '=' || b[i] == '-') {
        sep = i;
        break;
      }
    }
    if (sep < 0) return fail("Error Parsing Variable Number");
    std::string number(reinterpret_cast<const char*>(b + pos), static_cast<size_t>(sep - pos));
    RequestSlot& slot = s.slots[group];
    slot.variable = static_cast<uint8_t>(static_cast<int>(VbVal(number)) & 0xFF);
    pos = sep + 1;
    if (b[sep] == '-') {
      slot.controllerValue = 0.0f;
      slot.controllerUnit.clear();
      while (pos < end && b[pos] != frame::CR) ++pos;
      if (pos < end) ++pos;
      continue;
    }
    while (pos < end && b[pos] == ' ') ++pos;
    int valueStart = pos;
    while (pos < end && b[pos] != frame::CR && b[pos] != ' ') ++pos;
    if (pos >= end) return fail("Parse error, no CR or SPACE followed variable value");
    std::string value(reinterpret_cast<const char*>(b + valueStart), static_cast<size_t>(pos - valueStart));
    slot.controllerValue = static_cast<float>(VbVal(value));
    slot.controllerUnit.clear();
    if (b[pos] == ' ') {
      int unitStart = ++pos;
      while (pos < end && b[pos] != frame::CR) ++pos;
      if (pos >= end) return fail("Parse error, no CR followed Variable units data");
      slot.controllerUnit.assign(reinterpret_cast<const char*>(b + unitStart), static_cast<size_t>(pos - unitStart));
    }
    ++pos;  // the CR
  }
  ctx_.readings.ScaleConvertData(true);
  return xr::Success;
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
