// Properties of clsKeloInterface. Five shapes: a locked copy of a readings-store field, a plain
// copy of a process-wide field, a field of this object, a fixed value, and a placeholder that
// logs "Not Implemented" and returns its fixed value.

#include "automation/clsKeloInterfaceInternal.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/modMath.hpp"

namespace tavkelo {

// ---- link and settings --------------------------------------------------------------------------
bool clsKeloInterface::Active() {
  return Active_;
}
int16_t clsKeloInterface::SerialPort() {
  return SerialPort_;
}
int32_t clsKeloInterface::BaudRate() {
  return BaudRate_;
}
std::string clsKeloInterface::Parity() {
  return Parity_;
}
bool clsKeloInterface::Connected() {
  return ctx_.polling.Connected();
}

float clsKeloInterface::AccumulatedTime() {
  return (static_cast<float>(ctx_.Tick()) - static_cast<float>(ctx_.host.TestTimeStartTick)) /
         1000.0f;
}

float clsKeloInterface::SlaveVersion() {
  float version = ctx_.store.DyneVersion;
  LogCall("SlaveVersion[" + VbFormat(version, "#0.00") + "]");
  return version;
}

bool clsKeloInterface::TraceMessagesOn() {
  return NotImplemented("TraceMessagesOn", false);
}
bool clsKeloInterface::UsingLiveData() {
  return NotImplemented("UsingLiveData", true);
}
float clsKeloInterface::LastFakeDataReadTime() {
  return NotImplemented("LastFakeDataReadTime", 0.0f);
}

// ---- live measurements ------------------------------------------------------------------------
float clsKeloInterface::PrimarySpeedMPH() {
  return Locked<float>([this] { return ctx_.store.DyneSpeed; });
}
float clsKeloInterface::PrimaryAccelMPHPerSec() {
  return Locked<float>([this] { return ctx_.store.DyneAcceleration; });
}
float clsKeloInterface::ParasiticsTorque() {
  return Locked<float>([this] {
    const ReadingsStore& s = ctx_.store;
    return modMath::evalcurve(s.ParasiticCoefK, s.ParasiticCoefA, s.ParasiticCoefB, s.DyneSpeed);
  });
}
float clsKeloInterface::PAUTorque() {
  return Locked<float>([this] {
    const ReadingsStore& s = ctx_.store;
    float parasitics =
        modMath::evalcurve(s.ParasiticCoefK, s.ParasiticCoefA, s.ParasiticCoefB, s.DyneSpeed);
    float torque = s.DyneTorque - parasitics;
    // During an ASM test the regulator's GTRL torque is not the vehicle's.
    if (ctx_.test.CurTest == test::Asm) torque -= ctx_.params.AsmGtrlTorque;
    return torque;
  });
}
float clsKeloInterface::AccumulatedMiles() {
  return Locked<float>([this] { return ctx_.store.DyneDistance; });
}
float clsKeloInterface::LeftWeight() {
  return Locked<float>([this] { return ctx_.store.LeftWeight; });
}
float clsKeloInterface::RightWeight() {
  return Locked<float>([this] { return ctx_.store.RightWeight; });
}
float clsKeloInterface::FrameTemp() {
  return Locked<float>([this] { return ctx_.store.ForceTemp; });
}
float clsKeloInterface::BearingTemp() {
  return Locked<float>([this] { return ctx_.store.BearingTemp; });
}
int16_t clsKeloInterface::MeasuringDirection() {
  return Locked<int16_t>([this] { return ctx_.store.MeasuringDirection; });
}

float clsKeloInterface::AvgISEPercent() {
  if (!ctx_.polling.Connected()) return 0.0f;
  LogCall("AvgISEPercent...");
  // The one property that asks the controller itself, without suspending the poller.
  Send(cmd::GetVariable, var::ISE);
  return Locked<float>([this] { return ctx_.store.DyneIse; });
}

float clsKeloInterface::AccelTorque() {
  return NotImplemented("AccelTorque", 0.0f);
}
float clsKeloInterface::SecondarySpeedMPH() {
  return NotImplemented("SecondarySpeedMPH", 0.0f);
}
float clsKeloInterface::FWDSpeedMPH() {
  return 0.0f;
}

// ---- status flags
// ---------------------------------------------------------------------------------
bool clsKeloInterface::LiftStatus() {
  return Locked<bool>([this] {
    const auto& b = ctx_.store.StatusBitsCopy;
    return b[status::LiftsUp] && !b[status::LiftsDown];
  });
}
bool clsKeloInterface::LiftEnable() {
  return ctx_.store.LiftsUp;
}
bool clsKeloInterface::MotorFault() {
  return Locked<bool>([this] { return ctx_.store.StatusBitsCopy[status::MotorFault]; });
}
bool clsKeloInterface::MotorOverTemp() {
  return Locked<bool>([this] { return ctx_.store.StatusBitsCopy[status::OverTemperature]; });
}
bool clsKeloInterface::PAUIsOverTemp() {
  return Locked<bool>([this] {
    int16_t t = ctx_.test.CurTest;
    return (t == test::Asm || t == test::VehicleSimulation) &&
           ctx_.store.StatusBitsCopy[status::OverTemperature];
  });
}
bool clsKeloInterface::PAU1Enable() {
  return Locked<bool>([this] { return ctx_.store.DyneSpeed >= 2.0f && ctx_.store.RegulatorOn; });
}
bool clsKeloInterface::WarmupMotorEnable() {
  return Locked<bool>([this] { return ctx_.store.StatusBitsCopy[status::MotorOn]; });
}
bool clsKeloInterface::LeftRestraintIn() {
  return Locked<bool>([this] { return ctx_.store.StatusBitsCopy[status::RestraintsIn]; });
}
// Both sides share the one restraints-in flag, deliberately.
bool clsKeloInterface::RightRestraintIn() {
  return LeftRestraintIn();
}

bool clsKeloInterface::LeftRestraintCentered() {
  return NotImplemented("LeftRestraintCentered", false);
}
bool clsKeloInterface::RightRestraintCentered() {
  return NotImplemented("RightRestraintCentered", false);
}
bool clsKeloInterface::RightRestraintMoving() {
  return NotImplemented("RightRestraintMoving", false);
}
bool clsKeloInterface::RetractFWDBaseEnable() {
  return NotImplemented("RetractFWDBaseEnable", false);
}
bool clsKeloInterface::VehSimTestAugBreakingActive() {
  return NotImplemented("VehSimTestAugBreakingActive", false);
}
bool clsKeloInterface::VehSimTestInertiaSimEnabled() {
  return NotImplemented("VehSimTestInertiaSimEnabled", false);
}
bool clsKeloInterface::RetraintsEdged() {
  return NotImplemented("RetraintsEdged", true);
}
// A two-wheel-drive dyne: the four-wheel-drive base and these flags are fixed.
bool clsKeloInterface::LeftRestraintMoving() {
  return false;
}
bool clsKeloInterface::LiftOverride() {
  return false;
}
bool clsKeloInterface::EStopPressed() {
  return false;
}
bool clsKeloInterface::HasActiveRestaints() {
  return false;
}
bool clsKeloInterface::IsFWDDyno() {
  return false;
}
bool clsKeloInterface::CenterRestraintsEnable() {
  return false;
}
bool clsKeloInterface::EdgeRestraintsEnable() {
  return false;
}
bool clsKeloInterface::EngageFWDBaseEnable() {
  return false;
}
bool clsKeloInterface::ExtendFWDBaseEnable() {
  return false;
}
bool clsKeloInterface::FWDBaseAtExtendLimit() {
  return false;
}
bool clsKeloInterface::FWDBaseAtRetractLimit() {
  return false;
}
bool clsKeloInterface::FWDBaseLiftEnable() {
  return false;
}
bool clsKeloInterface::FWDBaseLiftStatus() {
  return false;
}
bool clsKeloInterface::FWDBaseMoving() {
  return false;
}

// ---- test state and parameters ------------------------------------------------------------------
QRTXTestIndeces clsKeloInterface::CurTest() {
  return static_cast<QRTXTestIndeces>(ctx_.test.CurTest);
}
QRTXLTCSIndeces clsKeloInterface::LastTestCompletionStatus() {
  return static_cast<QRTXLTCSIndeces>(ctx_.test.LastTestCompletionStatus);
}
uint8_t clsKeloInterface::ASMTestMode() {
  return ctx_.params.ASMTestMode;
}
QRTXCTTModeIndeces clsKeloInterface::ConstantTargetTestMode() {
  return static_cast<QRTXCTTModeIndeces>(ctx_.params.ConstantTargetTestMode);
}
float clsKeloInterface::WarmupTestTimeSeconds() {
  return static_cast<float>(ctx_.params.WarmupTimeSeconds);
}
float clsKeloInterface::ParasiticsTestTopSpeedMPH() {
  return ctx_.params.ParasiticsTopSpeedMPH;
}
float clsKeloInterface::ParasiticsTestBottomSpeedMPH() {
  return ctx_.params.ParasiticsBottomSpeedMPH;
}
float clsKeloInterface::ASM5015TRLHP() {
  return ctx_.params.ASM5015TRLHP;
}
float clsKeloInterface::ASM5015GTRLHP() {
  return ctx_.params.ASM5015GTRLHP;
}
float clsKeloInterface::ASM2525TRLHP() {
  return ctx_.params.ASM2525TRLHP;
}
float clsKeloInterface::ASM2525GTRLHP() {
  return ctx_.params.ASM2525GTRLHP;
}
float clsKeloInterface::ConstantTargetTestSpeedTarget() {
  return ctx_.params.ConstantTargetTestSpeedTarget;
}
float clsKeloInterface::ConstantTargetTestTorqueTarget() {
  return ctx_.params.ConstantTargetTestTorqueTarget;
}
float clsKeloInterface::ConstantTargetTestPowerTarget() {
  return ctx_.params.ConstantTargetTestPowerTarget;
}
float clsKeloInterface::VehSimTestVehicleWeight() {
  return ctx_.params.VehSimTestVehicleWeight;
}
float clsKeloInterface::VehSimTestTRLHPAt50() {
  return ctx_.params.VehSimTestTRLHPAt50;
}
float clsKeloInterface::VehSimTestGTRLHPAt50() {
  return ctx_.params.VehSimTestGTRLHPAt50;
}
float clsKeloInterface::VehSimTestTRLHPAPF() {
  return ctx_.params.VehSimTestTRLHPAPF;
}
float clsKeloInterface::VehSimTestTRLHPBPF() {
  return ctx_.params.VehSimTestTRLHPBPF;
}
float clsKeloInterface::VehSimTestTRLHPCPF() {
  return ctx_.params.VehSimTestTRLHPCPF;
}
float clsKeloInterface::VehSimTestGTRLHPAPF() {
  return ctx_.params.VehSimTestGTRLHPAPF;
}
float clsKeloInterface::VehSimTestGTRLHPBPF() {
  return ctx_.params.VehSimTestGTRLHPBPF;
}
float clsKeloInterface::VehSimTestGTRLHPCPF() {
  return ctx_.params.VehSimTestGTRLHPCPF;
}
bool clsKeloInterface::VehSimTestAugBreakingEnabled() {
  return ctx_.params.VehSimTestAugBreakingEnabled;
}
float clsKeloInterface::ConstantTargetTestManualTarget() {
  return NotImplemented("ConstantTargetTestManualTarget", 0.0f);
}
float clsKeloInterface::ConstantTargetTestManualRampRate() {
  return NotImplemented("ConstantTargetTestManualRampRate", 0.0f);
}
float clsKeloInterface::ConstantTargetTestSpeedRampRate() {
  return NotImplemented("ConstantTargetTestSpeedRampRate", 0.0f);
}
float clsKeloInterface::ConstantTargetTestTorqueRampRate() {
  return NotImplemented("ConstantTargetTestTorqueRampRate", 0.0f);
}
float clsKeloInterface::ConstantTargetTestPowerRampRate() {
  return NotImplemented("ConstantTargetTestPowerRampRate", 0.0f);
}
float clsKeloInterface::VehSimTestAugBreakingForceLimit() {
  return NotImplemented("VehSimTestAugBreakingForceLimit", 0.0f);
}
float clsKeloInterface::VehSimTestAugBreakingForceMultiplier() {
  return NotImplemented("VehSimTestAugBreakingForceMultiplier", 0.0f);
}
float clsKeloInterface::VehSimTestWindowStartTime(int16_t) {
  return NotImplemented("VehSimTestWindowStartTime", 0.0f);
}
float clsKeloInterface::VehSimTestWindowEndTime(int16_t) {
  return NotImplemented("VehSimTestWindowEndTime", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinActualHPSum(int16_t) {
  return NotImplemented("VehSimTestHPIntWinActualHPSum", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinTargetHPSum(int16_t) {
  return NotImplemented("VehSimTestHPIntWinTargetHPSum", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinNumSamples(int16_t) {
  return NotImplemented("VehSimTestHPIntWinNumSamples", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinAvgHPEHP(int16_t) {
  return NotImplemented("VehSimTestHPIntWinAvgHPEHP", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinAvgHPEPercent(int16_t) {
  return NotImplemented("VehSimTestHPIntWinAvgHPEPercent", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinInstHPEHP(int16_t) {
  return NotImplemented("VehSimTestHPIntWinInstHPEHP", 0.0f);
}
float clsKeloInterface::VehSimTestHPIntWinInstHPEPercent(int16_t) {
  return NotImplemented("VehSimTestHPIntWinInstHPEPercent", 0.0f);
}
bool clsKeloInterface::VehSimTestOnlyIntegrateInWindow(int16_t) {
  return NotImplemented("VehSimTestOnlyIntegrateInWindow", false);
}

// ---- coastdown parameters and results
// -------------------------------------------------------------
float clsKeloInterface::CDTestHiWinTopSpeed() {
  return ctx_.params.CoastdownHi.HiSpeed;
}
float clsKeloInterface::CDTestHiWinBottomSpeed() {
  return ctx_.params.CoastdownHi.LoSpeed;
}
float clsKeloInterface::CDTestHiWinTargetLoadHP() {
  return ctx_.params.CoastdownHi.LoadHP;
}
float clsKeloInterface::CDTestLoWinTopSpeed() {
  return ctx_.params.CoastdownLo.HiSpeed;
}
float clsKeloInterface::CDTestLoWinBottomSpeed() {
  return ctx_.params.CoastdownLo.LoSpeed;
}
float clsKeloInterface::CDTestLoWinTargetLoadHP() {
  return ctx_.params.CoastdownLo.LoadHP;
}
bool clsKeloInterface::CDTestTopWindowRun() {
  return ctx_.results.Coastdown[1].Run;
}
float clsKeloInterface::CDTestTopWindowCalcTime() {
  return ctx_.results.Coastdown[1].CCDT;
}
float clsKeloInterface::CDTestTopWindowActualTime() {
  return ctx_.results.Coastdown[1].ACDT;
}
float clsKeloInterface::CDTestTopWindowActualTopSpeed() {
  return ctx_.results.Coastdown[1].TopSpeed;
}
float clsKeloInterface::CDTestTopWindowActualBottomSpeed() {
  return ctx_.results.Coastdown[1].BotSpeed;
}
float clsKeloInterface::CDTestTopWindowActualHP() {
  return ctx_.results.Coastdown[1].ActualHP;
}
bool clsKeloInterface::CDTestBottomWindowRun() {
  return ctx_.results.Coastdown[2].Run;
}
float clsKeloInterface::CDTestBottomWindowCalcTime() {
  return ctx_.results.Coastdown[2].CCDT;
}
float clsKeloInterface::CDTestBottomWindowActualTime() {
  return ctx_.results.Coastdown[2].ACDT;
}
float clsKeloInterface::CDTestBottomWindowActualTopSpeed() {
  return ctx_.results.Coastdown[2].TopSpeed;
}
float clsKeloInterface::CDTestBottomWindowActualBottomSpeed() {
  return ctx_.results.Coastdown[2].BotSpeed;
}
float clsKeloInterface::CDTestBottomWindowActualHP() {
  return ctx_.results.Coastdown[2].ActualHP;
}

// ---- dyne constants
// -------------------------------------------------------------------------------
float clsKeloInterface::RollDiameter() {
  return ctx_.store.RollDiameter;
}
float clsKeloInterface::TWDEquivalentWeight() {
  return ctx_.store.BaseInertia;
}
// The loss-torque curve: constant, linear and square terms (from variables 51, 52 and 53).
float clsKeloInterface::TWDTorqueVsMPHCurveA() {
  return ctx_.store.ParasiticCoefK;
}
float clsKeloInterface::TWDTorqueVsMPHCurveB() {
  return ctx_.store.ParasiticCoefA;
}
float clsKeloInterface::TWDTorqueVsMPHCurveC() {
  return ctx_.store.ParasiticCoefB;
}
float clsKeloInterface::TWDRawTorqueVsMPHCurveA() {
  return NotImplemented("TWDRawTorqueVsMPHCurveA", 0.0f);
}
float clsKeloInterface::TWDRawTorqueVsMPHCurveB() {
  return NotImplemented("TWDRawTorqueVsMPHCurveB", 0.0f);
}
float clsKeloInterface::TWDRawTorqueVsMPHCurveC() {
  return NotImplemented("TWDRawTorqueVsMPHCurveC", 0.0f);
}
float clsKeloInterface::CalArmLength() {
  return NotImplemented("CalArmLength", 0.0f);
}
float clsKeloInterface::CalWeight() {
  return NotImplemented("CalWeight", 0.0f);
}
float clsKeloInterface::ScaleCalArmRatio() {
  return NotImplemented("ScaleCalArmRatio", 0.0f);
}
float clsKeloInterface::ScaleCalWeight() {
  return NotImplemented("ScaleCalWeight", 0.0f);
}
float clsKeloInterface::PrimaryPulsesPerRev() {
  return NotImplemented("PrimaryPulsesPerRev", 0.0f);
}
float clsKeloInterface::SecondaryPulsesPerRev() {
  return NotImplemented("SecondaryPulsesPerRev", 0.0f);
}
float clsKeloInterface::RestraintBackoffTime() {
  return NotImplemented("RestraintBackoffTime", 0.0f);
}
float clsKeloInterface::PAUGearRatio() {
  return NotImplemented("PAUGearRatio", 0.0f);
}
float clsKeloInterface::TempInputLowCalDegreesF() {
  return NotImplemented("TempInputLowCalDegreesF", 0.0f);
}
float clsKeloInterface::TempInputHighCalDegreesF() {
  return NotImplemented("TempInputHighCalDegreesF", 0.0f);
}
float clsKeloInterface::TorquePIDP() {
  return NotImplemented("TorquePIDP", 0.0f);
}
float clsKeloInterface::TorquePIDI() {
  return NotImplemented("TorquePIDI", 0.0f);
}
float clsKeloInterface::TorquePIDD() {
  return NotImplemented("TorquePIDD", 0.0f);
}
float clsKeloInterface::SpeedPIDP() {
  return NotImplemented("SpeedPIDP", 0.0f);
}
float clsKeloInterface::SpeedPIDI() {
  return NotImplemented("SpeedPIDI", 0.0f);
}
float clsKeloInterface::SpeedPIDD() {
  return NotImplemented("SpeedPIDD", 0.0f);
}
float clsKeloInterface::PAU1TorqueZeroVoltage() {
  return NotImplemented("PAU1TorqueZeroVoltage", 0.0f);
}
float clsKeloInterface::PAU1TorquePosSpan() {
  return NotImplemented("PAU1TorquePosSpan", 0.0f);
}
float clsKeloInterface::PAU1TorqueNegSpan() {
  return NotImplemented("PAU1TorqueNegSpan", 0.0f);
}
float clsKeloInterface::LeftScaleZeroVoltage() {
  return NotImplemented("LeftScaleZeroVoltage", 0.0f);
}
float clsKeloInterface::LeftScalePosSpan() {
  return NotImplemented("LeftScalePosSpan", 0.0f);
}
float clsKeloInterface::LeftScaleNegSpan() {
  return NotImplemented("LeftScaleNegSpan", 0.0f);
}
float clsKeloInterface::RightScaleZeroVoltage() {
  return NotImplemented("RightScaleZeroVoltage", 0.0f);
}
float clsKeloInterface::RightScalePosSpan() {
  return NotImplemented("RightScalePosSpan", 0.0f);
}
float clsKeloInterface::RightScaleNegSpan() {
  return NotImplemented("RightScaleNegSpan", 0.0f);
}
float clsKeloInterface::FrameTempZeroVoltage() {
  return NotImplemented("FrameTempZeroVoltage", 0.0f);
}
float clsKeloInterface::FrameTempPosSpan() {
  return NotImplemented("FrameTempPosSpan", 0.0f);
}
float clsKeloInterface::FrameTempNegSpan() {
  return NotImplemented("FrameTempNegSpan", 0.0f);
}
float clsKeloInterface::BearingTempZeroVoltage() {
  return NotImplemented("BearingTempZeroVoltage", 0.0f);
}
float clsKeloInterface::BearingTempPosSpan() {
  return NotImplemented("BearingTempPosSpan", 0.0f);
}
float clsKeloInterface::BearingTempNegSpan() {
  return NotImplemented("BearingTempNegSpan", 0.0f);
}
float clsKeloInterface::FWDBaseDistanceZeroVoltage() {
  return 0.0f;
}
float clsKeloInterface::FWDBaseDistancePosSpan() {
  return 0.0f;
}
float clsKeloInterface::FWDBaseDistanceNegSpan() {
  return 0.0f;
}
float clsKeloInterface::FWDBaseMinWheelbase() {
  return 0.0f;
}
float clsKeloInterface::FWDBaseMaxWheelbase() {
  return 0.0f;
}
float clsKeloInterface::FWDBaseEquivalentWeight() {
  return 0.0f;
}
float clsKeloInterface::FWDPulsesPerRev() {
  return 0.0f;
}
float clsKeloInterface::FWDWheelBase() {
  return 0.0f;
}
float clsKeloInterface::FWDTorqueVsMPHCurveA() {
  return 0.0f;
}
float clsKeloInterface::FWDTorqueVsMPHCurveB() {
  return 0.0f;
}
float clsKeloInterface::FWDTorqueVsMPHCurveC() {
  return 0.0f;
}
float clsKeloInterface::FWDRawTorqueVsMPHCurveA() {
  return 0.0f;
}
float clsKeloInterface::FWDRawTorqueVsMPHCurveB() {
  return 0.0f;
}
float clsKeloInterface::FWDRawTorqueVsMPHCurveC() {
  return 0.0f;
}

}  // namespace tavkelo
