#include "link/DyneReadings.hpp"

#include <cmath>
#include <exception>

#include "link/DyneRequestFrame.hpp"
#include "link/DyneUnits.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
// Holds the readings lock for one copy into the store; the lock never waits on the loop.
class ReadingsLockGuard {
 public:
  explicit ReadingsLockGuard(NamedSemaphore* lock) : lock_(lock) {
    if (lock_ != nullptr) lock_->Acquire();
  }
  ~ReadingsLockGuard() {
    if (lock_ != nullptr) lock_->Release();
  }
  ReadingsLockGuard(const ReadingsLockGuard&) = delete;
  ReadingsLockGuard& operator=(const ReadingsLockGuard&) = delete;

 private:
  NamedSemaphore* lock_;
};
}  // namespace

void DyneReadings::ScaleConvertData(bool toClient) {
  ReadingsStore& s = ctx_.store;
  for (size_t i = 0; i < s.slots.size(); ++i) {
    RequestSlot& slot = s.slots[i];
    const char* code = "100_";
    try {
      bool towardsClient = toClient && !slot.writePending;
      UnitConversion conv = ConversionFor(slot.variable);
      code = conv.code;
      if (towardsClient) {
        slot.clientValue = ToClientUnits(slot.variable, slot.controllerValue, s.TorqueSpeedFactor);
      } else {
        slot.controllerValue =
            ToControllerUnits(slot.variable, slot.clientValue, s.TorqueSpeedFactor);
        slot.controllerValue =
            ShiftNegativeForController(slot.variable, slot.controllerValue, &code);
      }
      if (slot.variable != var::DSR_VEHWEIGHT) slot.controllerUnit = conv.controllerUnit;
      slot.clientUnit = conv.clientUnit;
    } catch (const std::exception& e) {
      ctx_.log.LogException(e, "ScaleConvertData[" + std::to_string(i) + code + "]", 0);
    }
  }
}

void DyneReadings::StoreSpeed(float mph) {
  ReadingsStore& s = ctx_.store;
  s.PreviousDyneSpeed = s.DyneSpeed;
  s.PreviousDyneSpeedTick = s.DyneSpeedTick;
  s.DyneSpeed = mph;
  s.DyneSpeedTick = ctx_.Tick();
}

void DyneReadings::CopyStatusBits() {
  ReadingsStore& s = ctx_.store;
  s.StatusBitsCopy = s.DyneStatusBits;
  // An over-temperature reaches the clients only when it lasts longer than 5 seconds.
  if (s.StatusBitsCopy[status::OverTemperature]) {
    int32_t now = ctx_.Tick();
    if (!s.OverTempLatched) {
      s.OverTempLatched = true;
      s.OverTempStartTick = now;
    }
    if (TickDiff(now, s.OverTempStartTick) <= 5000)
      s.StatusBitsCopy[status::OverTemperature] = false;
  } else {
    s.OverTempLatched = false;
  }
}

void DyneReadings::StoreVariable(uint8_t variable, float v, float raw) {
  ReadingsStore& s = ctx_.store;
  const float k = s.TorqueSpeedFactor;
  switch (variable) {
    case var::VERSION:
      s.DyneVersion = v;
      break;
    case var::ROLLDIAMETER:
      s.RollDiameter = v;
      break;
    case var::BASEINERTIA:
      s.BaseInertia = v;
      break;
    case var::TORQUE_REG_RELEASE:
      s.TorqueRegRelease = VbCInt(raw);
      break;
    case var::PARASITIC_LOSSES_A:
      s.ParasiticLossA = v;
      s.ParasiticCoefK = v / 74.57f * k / 50.0f;
      break;
    case var::PARASITIC_LOSSES_B:
      s.ParasiticLossB = v;
      s.ParasiticCoefA = v / 74.57f * k / 2500.0f;
      break;
    case var::PARASITIC_LOSSES_C:
      s.ParasiticLossC = v;
      s.ParasiticCoefB = v / 74.57f * k / 125000.0f;
      break;
    case var::AMPLIFICATION_SCALE1:
      s.AmplificationScale1 = v;
      break;
    case var::AMPLIFICATION_SCALE2:
      s.AmplificationScale2 = v;
      break;
    case var::CAL_WEIGHT:
      s.CalWeight = v;
      break;
    case var::LOSSES_15MPH:
      s.Losses15Mph = v;
      s.Losses15MphHP = v / 74.57f;
      break;
    case var::LOSSES_25MPH:
      s.Losses25Mph = v;
      s.Losses25MphHP = v / 74.57f;
      break;
    case var::SPEEDTARGET:
      s.SpeedTarget = v;
      break;
    case var::TORQUETARGET:
      s.TorqueTarget = v;
      break;
    case var::DSR_VEHWEIGHT:
      s.DsrVehicleWeight = v;
      break;
    case var::DSR_C:
      s.DsrC = v;
      break;
    case var::DSR_B:
      s.DsrB = v;
      break;
    case var::DSR_A:
      s.DsrA = v;
      break;
    case var::SPEED:
      StoreSpeed(v);
      break;
    case var::ACCELERATION:
      s.DyneAcceleration = v;
      break;
    case var::POWER:
      s.DynePower = v;
      break;
    case var::GTRL_A:
      s.GtrlA = v;
      break;
    case var::GTRL_B:
      s.GtrlB = v;
      break;
    case var::GTRL_C:
      s.GtrlC = v;
      break;
    case var::RIGHTWEIGHT:
      s.RightWeight = v;
      s.TotalWeight = s.RightWeight + s.LeftWeight;
      break;
    case var::LEFTWEIGHT:
      s.LeftWeight = v;
      s.TotalWeight = s.RightWeight + s.LeftWeight;
      break;
    case var::ISE:
      s.DyneIse = v;
      break;
    case var::FORCETEMP:
      s.ForceTemp = v;
      break;
    case var::BEARINGTEMP:
      s.BearingTemp = v;
      break;
    case var::DISTANCE:
      s.DyneDistance = v;
      break;
    case var::STOPWATCH1:
      s.StopWatch1 = v;
      break;
    case var::STOPWATCH2:
      s.StopWatch2 = v;
      break;
    case var::ASMPWRTARGET:
      s.AsmPowerTarget = v;
      break;
    case var::ASMGTRL:
      s.AsmGtrl = v;
      break;
    case var::ASMSPEED:
      s.AsmSpeed = v;
      break;
    case var::TORQUE:
      s.DyneTorque = v;
      break;
    case var::MEASURING_DIRECTION:
      s.MeasuringDirection = VbCInt(raw);
      break;
    default:
      break;
  }
}

void DyneReadings::StoreDyneData(int32_t command) {
  ReadingsStore& s = ctx_.store;
  int stage = 3000;
  try {
    ReadingsLockGuard guard(ctx_.ReadingsLock());
    stage = 3010;
    if (command == cmd::GetStatus) {
      stage = 3100;
      s.PreviousStatusReadTime = s.StatusReadTime;
      s.StatusReadTime = ctx_.loop.Now();
      stage = 3110;
      s.StatusReplyCount = s.StatusReplyCount + 1 > 99999 ? 9 : s.StatusReplyCount + 1;
      stage = 3120;
      CopyStatusBits();
    } else if (command == cmd::GetTestValues) {
      // By position, whatever numbers the groups carry.
      stage = 3200;
      s.DynePower = s.slots[0].clientValue;
      stage = 3210;
      s.DyneTorque = s.slots[1].clientValue;
      stage = 3220;
      StoreSpeed(s.slots[2].clientValue);
      // Fresh live values: what TimeSinceLastUpdate measures from.
      ctx_.host.LastUpdateTick = ctx_.Tick();
    } else if (command == cmd::GetVariable) {
      stage = 3300;
      const RequestSlot& slot = s.slots[0];
      StoreVariable(slot.variable, slot.clientValue, slot.controllerValue);
    }
    stage = 3380;
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, "StoreDyneData[" + std::to_string(stage) + "]", 0);
  }
  if (ctx_.log.GetVar() && command == cmd::GetVariable) {
    const RequestSlot& slot = s.slots[0];
    ctx_.log.WriteLog("Get_Variable-Cmd:" + DyneCmdText(command, slot.variable) +
                      " Var:" + DyneVariableName(slot.variable) +
                      "  TavNum:" + VbFormat(static_cast<int>(slot.variable), "000") +
                      ", Raw:" + VbFormat(slot.controllerValue, "0.000"));
  }
}

}  // namespace tavkelo
