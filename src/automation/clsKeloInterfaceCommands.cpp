// Device commands of clsKeloInterface, and the start and stop of tests and calibrations.

#include <cmath>
#include <exception>

#include "automation/clsKeloInterfaceInternal.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {

QRTXErrorConstants clsKeloInterface::RunCommands(const std::string& name,
                                                 const std::string& announce,
                                                 const std::function<QRTXErrorConstants()>& chain) {
  LogCall(announce);
  SuspendDyneReadings();
  QRTXErrorConstants result = chain();
  ResumeDyneReadings();
  return Finish(name, result);
}

namespace {
// Runs the exchanges in order and stops at the first that fails.
QRTXErrorConstants Chain(std::initializer_list<std::function<int32_t()>> steps) {
  for (const auto& step : steps) {
    QRTXErrorConstants result = DeviceResultToError(step());
    if (result != gQRTXErrNoError) return result;
  }
  return gQRTXErrNoError;
}
}  // namespace

QRTXErrorConstants clsKeloInterface::RaiseLifts(bool TWDLift, bool /*FWDLift*/) {
  const std::string name = "RaiseLifts";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  float speed = PrimarySpeedMPH();
  if (speed > 0.5f || std::isnan(speed)) return Finish(name, gQRTXErrCantRaiseLiftNow);
  if (!TWDLift) return Finish(name, gQRTXErrInvalidParameter);
  return RunCommands(name, name + "...",
                     [this] { return DeviceResultToError(Send(cmd::RaiseLifts)); });
}

QRTXErrorConstants clsKeloInterface::LowerLifts(bool TWDLift, bool /*FWDLift*/) {
  const std::string name = "LowerLifts";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  if (!TWDLift) return Finish(name, gQRTXErrInvalidParameter);
  return RunCommands(name, name + "...",
                     [this] { return DeviceResultToError(Send(cmd::LowerLifts)); });
}

QRTXErrorConstants clsKeloInterface::ResetTestDistance() {
  const std::string name = "ResetTestDistance";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...",
                     [this] { return DeviceResultToError(Send(cmd::ResetDistance)); });
}

QRTXErrorConstants clsKeloInterface::ResetTestTime() {
  ctx_.host.TestTimeStartTick = ctx_.Tick();
  return Finish("ResetTestTime", gQRTXErrNoError);
}

QRTXErrorConstants clsKeloInterface::SaveCalibrationToFLASH() {
  const std::string name = "SaveCalibrationToFLASH";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  const ReadingsStore& s = ctx_.store;
  return RunCommands(name, name + "...", [&] {
    return Chain(
        {[&] { return Send(cmd::WriteVariable, var::PARASITIC_LOSSES_A, s.ParasiticLossA); },
         [&] { return Send(cmd::WriteVariable, var::PARASITIC_LOSSES_B, s.ParasiticLossB); },
         [&] { return Send(cmd::WriteVariable, var::PARASITIC_LOSSES_C, s.ParasiticLossC); },
         [&] { return Send(cmd::WriteVariable, var::LOSSES_15MPH, s.Losses15Mph); },
         [&] { return Send(cmd::WriteVariable, var::LOSSES_25MPH, s.Losses25Mph); }});
  });
}

QRTXErrorConstants clsKeloInterface::SetSystemParameter(QRTXSysParamIndeces WhichParam,
                                                        float NewValue) {
  const std::string name = "SetSystemParameter";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  if (WhichParam < gQRTXSPIRollDiameter || WhichParam > gQRTXSPIPAUGearRatio) {
    return Finish(name, gQRTXErrInvalidParameter);
  }
  // Only the equivalent weight is kept by the controller; the other selectors are accepted.
  if (WhichParam != gQRTXSPITWDEquivalentWeight) return Finish(name, gQRTXErrNoError);
  return RunCommands(name, name + "-EquivalentWeight...", [&] {
    return DeviceResultToError(Send(cmd::WriteVariable, var::BASEINERTIA, NewValue));
  });
}

QRTXErrorConstants clsKeloInterface::GetSystemParameter(uint8_t WhichParam) {
  const std::string name = "GetSystemParameter";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  bool diameter = WhichParam == gQRTXSPIRollDiameter;
  return RunCommands(name, name + (diameter ? "-RollDiameter..." : "-EquivalentWeight..."), [&] {
    return DeviceResultToError(
        Send(cmd::GetVariable, diameter ? var::ROLLDIAMETER : var::BASEINERTIA));
  });
}

QRTXErrorConstants clsKeloInterface::GetSlaveVersion() {
  const std::string name = "GetSlaveVersion";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...",
                     [this] { return DeviceResultToError(Send(cmd::GetVariable, var::VERSION)); });
}

QRTXErrorConstants clsKeloInterface::GetASMTestParameters() {
  const std::string name = "GetASMTestParameters";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...", [this] {
    return Chain({[this] { return Send(cmd::GetVariable, var::ASMSPEED); },
                  [this] { return Send(cmd::GetVariable, var::ASMPWRTARGET); },
                  [this] { return Send(cmd::GetVariable, var::ASMGTRL); }});
  });
}

QRTXErrorConstants clsKeloInterface::GetVehSimTestParameters() {
  const std::string name = "GetVehSimTestParameters";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...", [this] {
    return Chain({[this] { return Send(cmd::GetVariable, var::DSR_VEHWEIGHT); },
                  [this] { return Send(cmd::GetVariable, var::DSR_A); },
                  [this] { return Send(cmd::GetVariable, var::DSR_B); },
                  [this] { return Send(cmd::GetVariable, var::DSR_C); },
                  [this] { return Send(cmd::GetVariable, var::GTRL_A); },
                  [this] { return Send(cmd::GetVariable, var::GTRL_B); },
                  [this] { return Send(cmd::GetVariable, var::GTRL_C); }});
  });
}

QRTXErrorConstants clsKeloInterface::GetConstantLoadTestParameters() {
  const std::string name = "GetConstantLoadTestParameters";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...", [this] {
    QRTXErrorConstants r = DeviceResultToError(Send(cmd::GetVariable, var::TORQUETARGET));
    if (r == gQRTXErrNoError) ctx_.params.ConstantTargetTestTorqueTarget = ctx_.store.TorqueTarget;
    return r;
  });
}

QRTXErrorConstants clsKeloInterface::GetConstantPowerTestParameters() {
  const std::string name = "GetConstantPowerTestParameters";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...", [this] {
    QRTXErrorConstants r = DeviceResultToError(Send(cmd::GetVariable, var::ASMPWRTARGET));
    if (r == gQRTXErrNoError) ctx_.params.ConstantTargetTestPowerTarget = ctx_.store.AsmPowerTarget;
    return r;
  });
}

QRTXErrorConstants clsKeloInterface::GetConstantSpeedTestParameters() {
  const std::string name = "GetConstantSpeedTestParameters";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  return RunCommands(name, name + "...", [this] {
    QRTXErrorConstants r = DeviceResultToError(Send(cmd::GetVariable, var::SPEEDTARGET));
    if (r == gQRTXErrNoError) ctx_.params.ConstantTargetTestSpeedTarget = ctx_.store.SpeedTarget;
    return r;
  });
}

QRTXErrorConstants clsKeloInterface::GetLastCoastdownTestResults() {
  if (ctx_.loadCoastdownResults) ctx_.loadCoastdownResults();
  return Finish("GetLastCoastdownTestResults", gQRTXErrNoError);
}

QRTXErrorConstants clsKeloInterface::GetParasiticsAtSpeed(float TheSpeed, float& TWDRawPara,
                                                          float& FWDRawPara, float& TWDUnseenPara,
                                                          float& FWDUnseenPara) {
  const ReadingsStore& s = ctx_.store;
  TWDRawPara = 0.0f;
  FWDRawPara = 0.0f;
  FWDUnseenPara = 0.0f;
  TWDUnseenPara = 0.0f;
  try {
    TWDUnseenPara =
        modMath::evalcurve(s.ParasiticCoefK, s.ParasiticCoefA, s.ParasiticCoefB, TheSpeed);
  } catch (const std::exception& e) {
    // A speed far outside the curve's range overflows a Single: the call reports it and fails.
    ctx_.log.LogException(e, std::string(kClassName) + ": GetParasiticsAtSpeed", 0);
    return Finish("GetParasiticsAtSpeed", gQRTXErrInvalidValue);
  }
  return Finish("GetParasiticsAtSpeed", gQRTXErrNoError);
}

QRTXErrorConstants clsKeloInterface::StartTest(QRTXTestIndeces TestIndex) {
  const SharedTestState& t = ctx_.test;
  const ReadingsStore& s = ctx_.store;
  QRTXErrorConstants result = gQRTXErrNoError;
  const bool motorOn = s.StatusBitsCopy[status::MotorOn];
  if (!ctx_.polling.Connected()) {
    result = gQRTXErrNoLinkToDevice;
  } else if (ctx_.tests == nullptr || !ctx_.tests->Start(static_cast<int16_t>(TestIndex))) {
    result = gQRTXErrCantStartTestNow;
  }
  LogCall("StartTest(" + TestIndexToString(TestIndex) + ") - " + ErrorToString(result));
  if (result == gQRTXErrCantStartTestNow && ctx_.log.ClsCal()) {
    std::string bits;
    for (bool bit : s.StatusBitsCopy) bits.push_back(bit ? '1' : '0');
    const std::string crlf = "\r\n";
    ctx_.log.WriteLog(crlf + "     Status     : " + bits + crlf +
                      "     CurrentTest: " + TestIndexToString(t.CurTest) + crlf +
                      "     LTCS       : " + std::to_string(t.LastTestCompletionStatus) + crlf +
                      "     PDTS_CS    : " + std::to_string(t.SleepStatus) + crlf +
                      "     LCWS_CS    : " + std::to_string(t.LcwsStatus) + crlf +
                      "     Motor      : " + (motorOn ? "On" : "Off") + crlf +
                      "     LiftTarget : " + (s.LiftsUp ? "Raise" : "Lower") + crlf +
                      "     DyneError  : " + BoolText(s.DeviceError()));
  }
  return result;
}

QRTXErrorConstants clsKeloInterface::StopTest() {
  const std::string name = "StopTest";
  if (!ctx_.polling.Connected()) return Finish(name, gQRTXErrNoLinkToDevice);
  const SharedTestState& t = ctx_.test;
  LogCall("StopTest(" + TestIndexToString(t.CurTest) + ")...");
  QRTXErrorConstants result = gQRTXErrNoError;
  RequestStops();
  if (t.CurTest != test::None) {
    // Warm-up, parasitics and coastdown close through their own stages; a target test has none,
    // so what it switched on is switched off here.
    if (t.StartedTestIndex >= test::ConstantTarget &&
        t.StartedTestIndex <= test::VehicleSimulation) {
      SuspendDyneReadings();
      result = Chain({[this] { return Send(cmd::RegulatorOff); },
                      [this] { return Send(cmd::AugmentedBreakingOff); },
                      [this] { return Send(cmd::BeltCompensationOff); }});
      ResumeDyneReadings();
    }
  } else {
    SuspendDyneReadings();
    result = Chain({[this] { return Send(cmd::RegulatorOff); },
                    [this] { return Send(cmd::AugmentedBreakingOff); },
                    [this] { return Send(cmd::BeltCompensationOff); },
                    [this] { return Send(cmd::MotorOff); }});
    ResumeDyneReadings();
  }
  return Finish(name, result);
}

QRTXErrorConstants clsKeloInterface::SpanAnalogInput(QRTXAnalogInputIndeces WhichInput) {
  if (!ctx_.polling.Connected()) return Finish("SpanAnalogInput", gQRTXErrNoLinkToDevice);
  int32_t kind = calibration::None;
  if (WhichInput == gQRTXAIIPAU1Torque) kind = calibration::LoadCell;
  if (WhichInput == gQRTXAIILeftScale || WhichInput == gQRTXAIIRightScale) {
    kind = calibration::WeightScales;
  }
  if (kind == calibration::None || ctx_.calibrations == nullptr) {
    return NotImplemented("SpanAnalogInput", gQRTXErrInvalidParameter);
  }
  StopTest();
  ctx_.calibrations->Start(kind);
  return Finish("SpanAnalogInput", gQRTXErrNoError);
}

void clsKeloInterface::RequestStops() {
  // A running calibration stops on the same request as a test.
  if (ctx_.tests != nullptr) ctx_.tests->RequestStop();
  if (ctx_.calibrations != nullptr) ctx_.calibrations->RequestStop();
}

}  // namespace tavkelo
