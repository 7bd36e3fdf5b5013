#include "link/DynePoller.hpp"

#include <exception>
#include <optional>

#include "link/KeloContext.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

void DynePoller::ResetLinkState() {
  p_.readingsActive = false;
  p_.connected = false;
  p_.suspendRequested = false;
  p_.DyneReadingsBusy = false;
  p_.commandInProgress = false;
  p_.cycleIndex = 0;
}

void DynePoller::UpdateDyneReadings() {
  int stage = 1000;
  try {
    if (ctx_.store.DyneVersion == 0.0f && p_.connected) {
      if (ctx_.log.RawCom()) ctx_.log.WriteLog("UpdateDyneReadings-GetVersion...");
      stage = 1200;
      InterfaceKeloCommand(cmd::GetVariable, var::VERSION, 0.0f);
    }
    stage = 1400;
    Step(stage);
    stage = 2600;
    const PollerState& p = p_;
    if (p.suspendRequested && ctx_.log.RawCom()) {
      LoopTimer& t = ctx_.comm.tmrUpdateReadings;
      ctx_.log.WriteLog(std::string("UpdateDyneReadings-DRSR:") + BoolText(p.suspendRequested) +
                        " DIS:" + VbFormat(static_cast<int>(p.cycleIndex), "00") +
                        " DISS:" + VbFormat(static_cast<int>(p.slowIndex), "00") +
                        " CIP:" + BoolText(p.commandInProgress) +
                        " TmrInt:" + VbFormat(static_cast<int>(t.Interval()), "0000") +
                        " TmrEnb:" + BoolText(t.Enabled()));
    }
    stage = 3000;
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, "UpdateDyneReadings[" + std::to_string(stage) + "]", 0);
  }
  // Rearmed also after a failure, so that one bad step never stops the poller.
  Rearm();
}

int32_t DynePoller::SendCycleRequest(int& stage) {
  PollerState& p = p_;
  const SharedTestState& t = ctx_.test;
  int32_t result = -1;  // nothing sent
  switch (p.cycleIndex) {
    case 0:
      stage = 2110;
      p.cycleStart = ctx_.Tick();
      result = SendDyneCommand(cmd::GetTestValues);
      break;
    case 1:
      stage = 2120;
      result = SendDyneCommand(cmd::GetStatus);
      if (result == xr::Success) p.lastStatusTime = ctx_.Tick();
      break;
    case 2:
      stage = 2130;
      // Parasitics, coastdown and the load-cell calibration want speed and torque more often.
      if (t.CurTest != test::Parasitics && t.CurTest != test::Coastdown &&
          t.CurCalibration != calibration::LoadCell) {
        result = SendDyneCommand(cmd::GetVariable, var::ACCELERATION);
      } else {
        result = SendDyneCommand(cmd::GetTestValues);
      }
      break;
    case 3: {
      stage = 2140;
      const bool testRuns =
          t.CurTest != test::None && t.CurCalibration != calibration::WeightScales;
      switch (p.slowIndex) {
        case 0:
          stage = 2141;
          result = SendDyneCommand(cmd::GetVariable, var::DISTANCE);
          break;
        case 1:
          stage = 2142;
          result = testRuns ? SendDyneCommand(cmd::GetTestValues)
                            : SendDyneCommand(cmd::GetVariable, var::LEFTWEIGHT);
          break;
        case 2:
          stage = 2143;
          result = SendDyneCommand(cmd::GetVariable, var::BEARINGTEMP);
          break;
        case 3:
          stage = 2144;
          result = testRuns ? SendDyneCommand(cmd::GetTestValues)
                            : SendDyneCommand(cmd::GetVariable, var::RIGHTWEIGHT);
          break;
        case 4:
          stage = 2145;
          result = SendDyneCommand(cmd::GetVariable, var::FORCETEMP);
          break;
        case 5:
          stage = 2146;
          result = SendDyneCommand(cmd::GetVariable, var::MEASURING_DIRECTION);
          break;
        default:
          break;
      }
      p.slowIndex = p.slowIndex >= 5 ? 0 : static_cast<int16_t>(p.slowIndex + 1);
      break;
    }
    default:
      stage = 2190;
      break;
  }
  return result;
}

void DynePoller::Step(int& stage) {
  PollerState& p = p_;
  SharedTestState& t = ctx_.test;
  switch (p.pollState) {
    case PollState::SendNext: {
      stage = 2100;
      int32_t result = -1;
      if (p.readingsActive) {
        result = SendCycleRequest(stage);
        stage = 2200;
        p.cycleIndex = p.cycleIndex >= 3 ? 0 : static_cast<int16_t>(p.cycleIndex + 1);
      }
      if (result == xr::Success) {
        p.pollState = PollState::AwaitReply;
        p.commandInProgress = true;
      } else {
        p.pollState = PollState::AfterReply;
        p.commandInProgress = false;
      }
      break;
    }
    case PollState::AwaitReply:
      stage = 2300;
      if (ctx_.exchange.CheckKeloCmdSts()) {
        p.pollState = PollState::AfterReply;
        p.commandInProgress = false;
        // The last request of a cycle has been answered.
        if (p.readingsActive && p.cycleIndex == 0 && ctx_.onPollCycle) ctx_.onPollCycle();
      }
      break;
    case PollState::AfterReply:
      stage = 2400;
      // While the link is being recovered the runs wait: their closing commands (regulator and
      // motor off) must reach the dyne, so the stop asked for at the loss is carried out once the
      // link is back.
      if (ctx_.recovery.Reconnecting()) {
        p.pollState = PollState::SendNext;
        break;
      }
      if (t.CurTest != test::None) {
        stage = t.CurTest == test::Warmup       ? 2411
                : t.CurTest == test::Parasitics ? 2412
                : t.CurTest == test::Coastdown  ? 2413
                                                : 2414;
        if (ctx_.runTestStep) ctx_.runTestStep(t.CurTest);
      }
      if (t.CurCalibration != calibration::None) {
        stage = t.CurCalibration == calibration::LoadCell ? 2431 : 2432;
        if (ctx_.runCalibrationStep) ctx_.runCalibrationStep(t.CurCalibration);
      }
      // A step that put its own request on the line: await that reply next. A request that
      // could not be put (the port closed under it) is not awaited, or the poller would wait
      // for a reply that never comes.
      if (t.TestCommandPending && ctx_.exchange.AwaitingReply()) {
        stage = 2441;
        t.TestCommandPending = false;
        p.pollState = PollState::AwaitReply;
        p.commandInProgress = true;
      } else {
        stage = 2442;
        t.TestCommandPending = false;
        p.pollState = PollState::SendNext;
      }
      break;
    default:
      stage = 2450;
      p.pollState = PollState::SendNext;
      p.cycleIndex = 0;
      p.slowIndex = 0;
      p.commandInProgress = false;
      break;
  }
}

void DynePoller::Rearm() {
  PollerState& p = p_;
  LoopTimer& timer = ctx_.comm.tmrUpdateReadings;
  const SharedTestState& t = ctx_.test;
  if (p.commandInProgress) {
    // A reply is outstanding: look at it again soon.
    timer.SetInterval(5);
    timer.SetEnabled(true);
    return;
  }
  if (p.suspendRequested) {
    // A suspend is requested and nothing is outstanding: hand the line over.
    p.DyneReadingsBusy = false;
    timer.SetEnabled(false);
    return;
  }
  uint32_t interval = 10;
  if (!p.readingsActive && t.SleepStatus != seqstatus::Running &&
      t.LcwsStatus != seqstatus::Running) {
    interval = 1000;
  }
  if (p.readingsActive && p.cycleIndex == 0) {
    // A cycle has just completed. While the rolls coast (turning, motor off) the poller runs
    // continuously; otherwise the next cycle starts one period after this one began.
    const ReadingsStore& s = ctx_.store;
    bool coasting = s.DyneSpeed >= 0.5f && !s.StatusBitsCopy[status::MotorOn];
    if (!coasting) {
      p.cycleTime = TickDiff(ctx_.Tick(), p.cycleStart);
      int32_t period = t.CurCalibration != calibration::None ? 500 : 1000;
      int32_t remainder = period - p.cycleTime;
      if (remainder > 10) interval = static_cast<uint32_t>(remainder);
    }
  }
  timer.SetInterval(interval);
  timer.SetEnabled(true);
}

int32_t DynePoller::InterfaceKeloCommand(int32_t command, uint8_t variable, float value) {
  if (!p_.connected) return xr::NotConnected;
  if (command < 0 || command > 255 || !IsValidDyneCommand(static_cast<uint8_t>(command))) {
    return xr::InvalidCommand;
  }
  const uint8_t c = static_cast<uint8_t>(command);
  ctx_.exchange.BeginRequest(c, variable, value);
  if (ctx_.log.ClsCal()) {
    std::string line = "InterfaceKeloCommand: " + DyneCommandName(c);
    if (c == cmd::GetVariable) line += " (" + DyneVariableName(variable) + ")";
    ctx_.log.WriteLog(line);
  }
  int32_t result = ctx_.exchange.TransmitDyneRequest();
  if (result == xr::Success) {
    MsgEvents& events = ctx_.host.Events();
    std::optional<int32_t> outcome;
    while (!(outcome = ctx_.exchange.CheckKeloCmdSts())) events.MsgWaitEvent(0, 5);
    result = *outcome;
  }
  if (ctx_.log.ClsCal()) {
    std::string line = "InterfaceKeloCommand: " + DyneCommandName(c);
    if (c == cmd::GetVariable) {
      const RequestSlot& slot = ctx_.store.slots[0];
      line += " (Num:" + VbFormat(static_cast<int>(variable), "000") +
              " Val:" + VbFormat(slot.clientValue, "0.000") + " Unit:'" + slot.clientUnit + "')";
    }
    ctx_.log.WriteLog(line + " Processed");
  }
  return result;
}

int32_t DynePoller::SendDyneCommand(uint8_t command, uint8_t variable, float value) {
  // In progress from here until the poller has the reply.
  if (IsValidDyneCommand(command)) p_.commandInProgress = true;
  return ctx_.exchange.SendDyneCommand(command, variable, value);
}

void DynePoller::SuspendDyneReadings() {
  PollerState& p = p_;
  if (!p.connected) return;
  DiagnosticLog& log = ctx_.log;
  if (log.ClsCal()) log.WriteLog("SuspendDyneReadings-Waiting...");
  NamedSemaphore* lock = ctx_.InterfaceLock();
  if (lock != nullptr) {
    // The holder may be further down this very stack or the poller: keep the loop dispatching
    // while waiting for it, 200 ms at a time.
    while (!ctx_.loop.PumpUntil([lock] { return lock->TryAcquire(); }, 200)) {
    }
  }
  LoopTimer& timer = ctx_.comm.tmrUpdateReadings;
  if (log.ClsCal())
    log.WriteLog(std::string("SuspendDyneReadings-TmrEnb:") + BoolText(timer.Enabled()));
  p.suspendRequested = true;
  bool quiet = ctx_.loop.PumpUntil([&p] { return !p.DyneReadingsBusy; }, 20'000);
  timer.SetEnabled(false);
  if (!quiet && log.LoggingOn()) {
    log.WriteLog("SuspendDyneReadings-Timeout waiting for DyneReadingsBusy to be False.");
  }
}

void DynePoller::ResumeDyneReadings() {
  PollerState& p = p_;
  if (!p.connected) return;
  p.DyneReadingsBusy = true;
  p.suspendRequested = false;
  LoopTimer& timer = ctx_.comm.tmrUpdateReadings;
  timer.SetInterval(10);
  timer.SetEnabled(true);
  if (ctx_.log.ClsCal())
    ctx_.log.WriteLog(std::string("ResumeDyneReadings-TmrEnb:") + BoolText(timer.Enabled()));
  if (NamedSemaphore* lock = ctx_.InterfaceLock()) lock->Release();
}

}  // namespace tavkelo
