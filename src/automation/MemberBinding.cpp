#include "automation/MemberBinding.hpp"

#include <map>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "automation/clsKeloInterface.hpp"

namespace tavkelo {

namespace {

using Args = std::vector<AutoValue>;
using K = clsKeloInterface;

struct Binding {
  const char* name;
  MemberKind kind;
  MemberCall call;
};

// A C++ result as its automation value (enumerations travel as Long).
template <class R>
AutoValue Wrap(R value) {
  if constexpr (std::is_enum_v<R>) {
    return static_cast<int32_t>(value);
  } else {
    return AutoValue(value);
  }
}

float F(Args& a, size_t i) {
  return std::get<float>(a[i]);
}
bool B(Args& a, size_t i) {
  return std::get<bool>(a[i]);
}
int16_t I(Args& a, size_t i) {
  return std::get<int16_t>(a[i]);
}
int32_t L(Args& a, size_t i) {
  return std::get<int32_t>(a[i]);
}
const std::string& S(Args& a, size_t i) {
  return std::get<std::string>(a[i]);
}
template <class E>
E En(Args& a, size_t i) {
  return static_cast<E>(std::get<int32_t>(a[i]));
}

template <class R>
Binding Get(const char* name, R (K::*get)()) {
  return {name, MemberKind::PropertyGet, [get](K& k, Args&) { return Wrap((k.*get)()); }};
}

// A property indexed by the window number.
template <class R>
Binding Get(const char* name, R (K::*get)(int16_t)) {
  return {name, MemberKind::PropertyGet, [get](K& k, Args& a) { return Wrap((k.*get)(I(a, 0))); }};
}

// A call without a result.
MemberCall NoResult(std::function<void(K&, Args&)> call) {
  return [call = std::move(call)](K& k, Args& a) {
    call(k, a);
    return AutoValue();
  };
}

Binding Put(const char* name, std::function<void(K&, Args&)> call) {
  return {name, MemberKind::PropertyPut, NoResult(std::move(call))};
}

Binding Call(const char* name, MemberCall call) {
  return {name, MemberKind::Method, std::move(call)};
}

Binding CallVoid(const char* name, std::function<void(K&, Args&)> call) {
  return Call(name, NoResult(std::move(call)));
}

// A method without parameters that returns an error constant.
Binding Command(const char* name, QRTXErrorConstants (K::*fn)()) {
  return Call(name, [fn](K& k, Args&) { return Wrap((k.*fn)()); });
}

const std::vector<Binding>& Bindings() {
  static const std::vector<Binding> kBindings = {
      // ---- lifecycle, connection and settings
      CallVoid("Init", [](K& k, Args& a) { k.Init(B(a, 0), I(a, 1), L(a, 2), S(a, 3)); }),
      Call("InitFromIniFile",
           [](K& k, Args& a) { return Wrap(k.InitFromIniFile(S(a, 0), S(a, 1))); }),
      CallVoid("SaveSettingsToIniFile",
               [](K& k, Args& a) { k.SaveSettingsToIniFile(S(a, 0), S(a, 1)); }),
      Call("Connect", [](K& k, Args&) { return Wrap(k.Connect()); }),
      CallVoid("DisConnect", [](K& k, Args&) { k.DisConnect(); }),
      Call("Update", [](K& k, Args&) { return Wrap(k.Update()); }),
      CallVoid("ResetAutoUpdateErrorCount", [](K& k, Args&) { k.ResetAutoUpdateErrorCount(); }),
      Call("ErrorConstantToString",
           [](K& k, Args& a) {
             return Wrap(k.ErrorConstantToString(En<QRTXErrorConstants>(a, 0)));
           }),
      Get("AutoUpdateEnabled", &K::AutoUpdateEnabled),
      Put("AutoUpdateEnabled", [](K& k, Args& a) { k.AutoUpdateEnabled(B(a, 0)); }),
      Get("SerialPort", &K::SerialPort),
      Get("BaudRate", &K::BaudRate),
      Get("Parity", &K::Parity),
      Get("AutoUpdateErrorCount", &K::AutoUpdateErrorCount),
      Get("MeasuringDirection", &K::MeasuringDirection),
      Get("AvgISEPercent", &K::AvgISEPercent),
      Get("CurTest", &K::CurTest),
      Get("LastTestCompletionStatus", &K::LastTestCompletionStatus),
      Get("ASMTestMode", &K::ASMTestMode),
      Get("ConstantTargetTestMode", &K::ConstantTargetTestMode),
      Get("VehSimTestOnlyIntegrateInWindow", &K::VehSimTestOnlyIntegrateInWindow),
      Get("PrimarySpeedMPH", &K::PrimarySpeedMPH),
      Get("PrimaryAccelMPHPerSec", &K::PrimaryAccelMPHPerSec),
      Get("ParasiticsTorque", &K::ParasiticsTorque),
      Get("PAUTorque", &K::PAUTorque),
      Get("AccumulatedMiles", &K::AccumulatedMiles),
      Get("LeftWeight", &K::LeftWeight),
      Get("RightWeight", &K::RightWeight),
      Get("FrameTemp", &K::FrameTemp),
      Get("BearingTemp", &K::BearingTemp),
      Get("TimeSinceLastUpdate", &K::TimeSinceLastUpdate),
      Get("AccumulatedTime", &K::AccumulatedTime),
      Get("SlaveVersion", &K::SlaveVersion),
      Get("LastFakeDataReadTime", &K::LastFakeDataReadTime),
      Get("AccelTorque", &K::AccelTorque),
      Get("SecondarySpeedMPH", &K::SecondarySpeedMPH),
      Get("FWDSpeedMPH", &K::FWDSpeedMPH),
      Get("WarmupTestTimeSeconds", &K::WarmupTestTimeSeconds),
      Get("ParasiticsTestTopSpeedMPH", &K::ParasiticsTestTopSpeedMPH),
      Get("ParasiticsTestBottomSpeedMPH", &K::ParasiticsTestBottomSpeedMPH),
      Get("ASM5015TRLHP", &K::ASM5015TRLHP),
      Get("ASM5015GTRLHP", &K::ASM5015GTRLHP),
      Get("ASM2525TRLHP", &K::ASM2525TRLHP),
      Get("ASM2525GTRLHP", &K::ASM2525GTRLHP),
      Get("ConstantTargetTestSpeedTarget", &K::ConstantTargetTestSpeedTarget),
      Get("ConstantTargetTestTorqueTarget", &K::ConstantTargetTestTorqueTarget),
      Get("ConstantTargetTestPowerTarget", &K::ConstantTargetTestPowerTarget),
      Get("VehSimTestVehicleWeight", &K::VehSimTestVehicleWeight),
      Get("VehSimTestTRLHPAt50", &K::VehSimTestTRLHPAt50),
      Get("VehSimTestGTRLHPAt50", &K::VehSimTestGTRLHPAt50),
      Get("VehSimTestTRLHPAPF", &K::VehSimTestTRLHPAPF),
      Get("VehSimTestTRLHPBPF", &K::VehSimTestTRLHPBPF),
      Get("VehSimTestTRLHPCPF", &K::VehSimTestTRLHPCPF),
      Get("VehSimTestGTRLHPAPF", &K::VehSimTestGTRLHPAPF),
      Get("VehSimTestGTRLHPBPF", &K::VehSimTestGTRLHPBPF),
      Get("VehSimTestGTRLHPCPF", &K::VehSimTestGTRLHPCPF),
      Get("ConstantTargetTestManualTarget", &K::ConstantTargetTestManualTarget),
      Get("ConstantTargetTestManualRampRate", &K::ConstantTargetTestManualRampRate),
      Get("ConstantTargetTestSpeedRampRate", &K::ConstantTargetTestSpeedRampRate),
      Get("ConstantTargetTestTorqueRampRate", &K::ConstantTargetTestTorqueRampRate),
      Get("ConstantTargetTestPowerRampRate", &K::ConstantTargetTestPowerRampRate),
      Get("VehSimTestAugBreakingForceLimit", &K::VehSimTestAugBreakingForceLimit),
      Get("VehSimTestAugBreakingForceMultiplier", &K::VehSimTestAugBreakingForceMultiplier),
      Get("CDTestHiWinTopSpeed", &K::CDTestHiWinTopSpeed),
      Get("CDTestHiWinBottomSpeed", &K::CDTestHiWinBottomSpeed),
      Get("CDTestHiWinTargetLoadHP", &K::CDTestHiWinTargetLoadHP),
      Get("CDTestLoWinTopSpeed", &K::CDTestLoWinTopSpeed),
      Get("CDTestLoWinBottomSpeed", &K::CDTestLoWinBottomSpeed),
      Get("CDTestLoWinTargetLoadHP", &K::CDTestLoWinTargetLoadHP),
      Get("CDTestTopWindowCalcTime", &K::CDTestTopWindowCalcTime),
      Get("CDTestTopWindowActualTime", &K::CDTestTopWindowActualTime),
      Get("CDTestTopWindowActualTopSpeed", &K::CDTestTopWindowActualTopSpeed),
      Get("CDTestTopWindowActualBottomSpeed", &K::CDTestTopWindowActualBottomSpeed),
      Get("CDTestTopWindowActualHP", &K::CDTestTopWindowActualHP),
      Get("CDTestBottomWindowCalcTime", &K::CDTestBottomWindowCalcTime),
      Get("CDTestBottomWindowActualTime", &K::CDTestBottomWindowActualTime),
      Get("CDTestBottomWindowActualTopSpeed", &K::CDTestBottomWindowActualTopSpeed),
      Get("CDTestBottomWindowActualBottomSpeed", &K::CDTestBottomWindowActualBottomSpeed),
      Get("CDTestBottomWindowActualHP", &K::CDTestBottomWindowActualHP),
      Get("RollDiameter", &K::RollDiameter),
      Get("TWDEquivalentWeight", &K::TWDEquivalentWeight),
      Get("TWDTorqueVsMPHCurveA", &K::TWDTorqueVsMPHCurveA),
      Get("TWDTorqueVsMPHCurveB", &K::TWDTorqueVsMPHCurveB),
      Get("TWDTorqueVsMPHCurveC", &K::TWDTorqueVsMPHCurveC),
      Get("TWDRawTorqueVsMPHCurveA", &K::TWDRawTorqueVsMPHCurveA),
      Get("TWDRawTorqueVsMPHCurveB", &K::TWDRawTorqueVsMPHCurveB),
      Get("TWDRawTorqueVsMPHCurveC", &K::TWDRawTorqueVsMPHCurveC),
      Get("CalArmLength", &K::CalArmLength),
      Get("CalWeight", &K::CalWeight),
      Get("ScaleCalArmRatio", &K::ScaleCalArmRatio),
      Get("ScaleCalWeight", &K::ScaleCalWeight),
      Get("PrimaryPulsesPerRev", &K::PrimaryPulsesPerRev),
      Get("SecondaryPulsesPerRev", &K::SecondaryPulsesPerRev),
      Get("RestraintBackoffTime", &K::RestraintBackoffTime),
      Get("PAUGearRatio", &K::PAUGearRatio),
      Get("TempInputLowCalDegreesF", &K::TempInputLowCalDegreesF),
      Get("TempInputHighCalDegreesF", &K::TempInputHighCalDegreesF),
      Get("TorquePIDP", &K::TorquePIDP),
      Get("TorquePIDI", &K::TorquePIDI),
      Get("TorquePIDD", &K::TorquePIDD),
      Get("SpeedPIDP", &K::SpeedPIDP),
      Get("SpeedPIDI", &K::SpeedPIDI),
      Get("SpeedPIDD", &K::SpeedPIDD),
      Get("PAU1TorqueZeroVoltage", &K::PAU1TorqueZeroVoltage),
      Get("PAU1TorquePosSpan", &K::PAU1TorquePosSpan),
      Get("PAU1TorqueNegSpan", &K::PAU1TorqueNegSpan),
      Get("LeftScaleZeroVoltage", &K::LeftScaleZeroVoltage),
      Get("LeftScalePosSpan", &K::LeftScalePosSpan),
      Get("LeftScaleNegSpan", &K::LeftScaleNegSpan),
      Get("RightScaleZeroVoltage", &K::RightScaleZeroVoltage),
      Get("RightScalePosSpan", &K::RightScalePosSpan),
      Get("RightScaleNegSpan", &K::RightScaleNegSpan),
      Get("FrameTempZeroVoltage", &K::FrameTempZeroVoltage),
      Get("FrameTempPosSpan", &K::FrameTempPosSpan),
      Get("FrameTempNegSpan", &K::FrameTempNegSpan),
      Get("BearingTempZeroVoltage", &K::BearingTempZeroVoltage),
      Get("BearingTempPosSpan", &K::BearingTempPosSpan),
      Get("BearingTempNegSpan", &K::BearingTempNegSpan),
      Get("FWDBaseDistanceZeroVoltage", &K::FWDBaseDistanceZeroVoltage),
      Get("FWDBaseDistancePosSpan", &K::FWDBaseDistancePosSpan),
      Get("FWDBaseDistanceNegSpan", &K::FWDBaseDistanceNegSpan),
      Get("FWDBaseMinWheelbase", &K::FWDBaseMinWheelbase),
      Get("FWDBaseMaxWheelbase", &K::FWDBaseMaxWheelbase),
      Get("FWDBaseEquivalentWeight", &K::FWDBaseEquivalentWeight),
      Get("FWDPulsesPerRev", &K::FWDPulsesPerRev),
      Get("FWDWheelBase", &K::FWDWheelBase),
      Get("FWDTorqueVsMPHCurveA", &K::FWDTorqueVsMPHCurveA),
      Get("FWDTorqueVsMPHCurveB", &K::FWDTorqueVsMPHCurveB),
      Get("FWDTorqueVsMPHCurveC", &K::FWDTorqueVsMPHCurveC),
      Get("FWDRawTorqueVsMPHCurveA", &K::FWDRawTorqueVsMPHCurveA),
      Get("FWDRawTorqueVsMPHCurveB", &K::FWDRawTorqueVsMPHCurveB),
      Get("FWDRawTorqueVsMPHCurveC", &K::FWDRawTorqueVsMPHCurveC),
      Get("Active", &K::Active),
      Get("Connected", &K::Connected),
      Get("TraceMessagesOn", &K::TraceMessagesOn),
      Get("UsingLiveData", &K::UsingLiveData),
      Get("LiftStatus", &K::LiftStatus),
      Get("LiftEnable", &K::LiftEnable),
      Get("MotorFault", &K::MotorFault),
      Get("MotorOverTemp", &K::MotorOverTemp),
      Get("PAUIsOverTemp", &K::PAUIsOverTemp),
      Get("PAU1Enable", &K::PAU1Enable),
      Get("WarmupMotorEnable", &K::WarmupMotorEnable),
      Get("LeftRestraintIn", &K::LeftRestraintIn),
      Get("RightRestraintIn", &K::RightRestraintIn),
      Get("LeftRestraintCentered", &K::LeftRestraintCentered),
      Get("RightRestraintCentered", &K::RightRestraintCentered),
      Get("RightRestraintMoving", &K::RightRestraintMoving),
      Get("RetractFWDBaseEnable", &K::RetractFWDBaseEnable),
      Get("VehSimTestAugBreakingActive", &K::VehSimTestAugBreakingActive),
      Get("VehSimTestInertiaSimEnabled", &K::VehSimTestInertiaSimEnabled),
      Get("RetraintsEdged", &K::RetraintsEdged),
      Get("LeftRestraintMoving", &K::LeftRestraintMoving),
      Get("LiftOverride", &K::LiftOverride),
      Get("EStopPressed", &K::EStopPressed),
      Get("HasActiveRestaints", &K::HasActiveRestaints),
      Get("IsFWDDyno", &K::IsFWDDyno),
      Get("CenterRestraintsEnable", &K::CenterRestraintsEnable),
      Get("EdgeRestraintsEnable", &K::EdgeRestraintsEnable),
      Get("EngageFWDBaseEnable", &K::EngageFWDBaseEnable),
      Get("ExtendFWDBaseEnable", &K::ExtendFWDBaseEnable),
      Get("FWDBaseAtExtendLimit", &K::FWDBaseAtExtendLimit),
      Get("FWDBaseAtRetractLimit", &K::FWDBaseAtRetractLimit),
      Get("FWDBaseLiftEnable", &K::FWDBaseLiftEnable),
      Get("FWDBaseLiftStatus", &K::FWDBaseLiftStatus),
      Get("FWDBaseMoving", &K::FWDBaseMoving),
      Get("VehSimTestAugBreakingEnabled", &K::VehSimTestAugBreakingEnabled),
      Get("CDTestTopWindowRun", &K::CDTestTopWindowRun),
      Get("CDTestBottomWindowRun", &K::CDTestBottomWindowRun),
      Get("VehSimTestWindowStartTime", &K::VehSimTestWindowStartTime),
      Get("VehSimTestWindowEndTime", &K::VehSimTestWindowEndTime),
      Get("VehSimTestHPIntWinActualHPSum", &K::VehSimTestHPIntWinActualHPSum),
      Get("VehSimTestHPIntWinTargetHPSum", &K::VehSimTestHPIntWinTargetHPSum),
      Get("VehSimTestHPIntWinNumSamples", &K::VehSimTestHPIntWinNumSamples),
      Get("VehSimTestHPIntWinAvgHPEHP", &K::VehSimTestHPIntWinAvgHPEHP),
      Get("VehSimTestHPIntWinAvgHPEPercent", &K::VehSimTestHPIntWinAvgHPEPercent),
      Get("VehSimTestHPIntWinInstHPEHP", &K::VehSimTestHPIntWinInstHPEHP),
      Get("VehSimTestHPIntWinInstHPEPercent", &K::VehSimTestHPIntWinInstHPEPercent),
      // ---- device commands and tests
      Call("RaiseLifts", [](K& k, Args& a) { return Wrap(k.RaiseLifts(B(a, 0), B(a, 1))); }),
      Call("LowerLifts", [](K& k, Args& a) { return Wrap(k.LowerLifts(B(a, 0), B(a, 1))); }),
      Command("ResetTestDistance", &K::ResetTestDistance),
      Command("ResetTestTime", &K::ResetTestTime),
      Command("SaveCalibrationToFLASH", &K::SaveCalibrationToFLASH),
      Call("SetSystemParameter",
           [](K& k, Args& a) {
             return Wrap(k.SetSystemParameter(En<QRTXSysParamIndeces>(a, 0), F(a, 1)));
           }),
      Call("GetSystemParameter",
           [](K& k, Args& a) { return Wrap(k.GetSystemParameter(std::get<uint8_t>(a[0]))); }),
      Command("GetSlaveVersion", &K::GetSlaveVersion),
      Command("GetASMTestParameters", &K::GetASMTestParameters),
      Command("GetVehSimTestParameters", &K::GetVehSimTestParameters),
      Command("GetConstantLoadTestParameters", &K::GetConstantLoadTestParameters),
      Command("GetConstantPowerTestParameters", &K::GetConstantPowerTestParameters),
      Command("GetConstantSpeedTestParameters", &K::GetConstantSpeedTestParameters),
      Command("GetLastCoastdownTestResults", &K::GetLastCoastdownTestResults),
      Call("GetParasiticsAtSpeed",
           [](K& k, Args& a) {
             float raw = F(a, 1), fwdRaw = F(a, 2), unseen = F(a, 3), fwdUnseen = F(a, 4);
             QRTXErrorConstants r = k.GetParasiticsAtSpeed(F(a, 0), raw, fwdRaw, unseen, fwdUnseen);
             a[1] = raw;
             a[2] = fwdRaw;
             a[3] = unseen;
             a[4] = fwdUnseen;
             return Wrap(r);
           }),
      Call("StartTest", [](K& k, Args& a) { return Wrap(k.StartTest(En<QRTXTestIndeces>(a, 0))); }),
      Command("StopTest", &K::StopTest),
      Call("SpanAnalogInput",
           [](K& k, Args& a) { return Wrap(k.SpanAnalogInput(En<QRTXAnalogInputIndeces>(a, 0))); }),
      // ---- test parameters
      Call("SetWarmupTestParameters",
           [](K& k, Args& a) { return Wrap(k.SetWarmupTestParameters(F(a, 0))); }),
      Call("SetParasiticsTestParameters",
           [](K& k, Args& a) { return Wrap(k.SetParasiticsTestParameters(F(a, 0), F(a, 1))); }),
      Call("SetConstantLoadTestParameters",
           [](K& k, Args& a) { return Wrap(k.SetConstantLoadTestParameters(F(a, 0), F(a, 1))); }),
      Call("SetConstantSpeedTestParameters",
           [](K& k, Args& a) { return Wrap(k.SetConstantSpeedTestParameters(F(a, 0), F(a, 1))); }),
      Call("SetConstantPowerTestParameters",
           [](K& k, Args& a) { return Wrap(k.SetConstantPowerTestParameters(F(a, 0), F(a, 1))); }),
      Call("SetConstantTargetTestingMode",
           [](K& k, Args& a) {
             return Wrap(k.SetConstantTargetTestingMode(En<QRTXCTTModeIndeces>(a, 0)));
           }),
      Call("SetASMTestParameters",
           [](K& k, Args& a) {
             return Wrap(k.SetASMTestParameters(En<QRTXASMTestModeIndeces>(a, 0), F(a, 1), F(a, 2),
                                                F(a, 3), F(a, 4)));
           }),
      Call("SetVehSimTestParameters",
           [](K& k, Args& a) {
             return Wrap(k.SetVehSimTestParameters(B(a, 0), B(a, 1), F(a, 2), F(a, 3), F(a, 4),
                                                   F(a, 5), F(a, 6), F(a, 7), F(a, 8), F(a, 9),
                                                   F(a, 10), F(a, 11), F(a, 12)));
           }),
      Call("SetCoastdownTestParameters",
           [](K& k, Args& a) {
             return Wrap(k.SetCoastdownTestParameters(F(a, 0), F(a, 1), F(a, 2), F(a, 3), F(a, 4),
                                                      F(a, 5)));
           }),
      // ---- placeholders
      Call("GetAnalogInputCalibration",
           [](K& k, Args& a) {
             float z = F(a, 1), p = F(a, 2), n = F(a, 3);
             return Wrap(k.GetAnalogInputCalibration(En<QRTXAnalogInputIndeces>(a, 0), z, p, n));
           }),
      Call("SetAnalogInputCalibration",
           [](K& k, Args& a) {
             return Wrap(k.SetAnalogInputCalibration(En<QRTXAnalogInputIndeces>(a, 0), F(a, 1),
                                                     F(a, 2), F(a, 3)));
           }),
      Call("ZeroAnalogInput",
           [](K& k, Args& a) { return Wrap(k.ZeroAnalogInput(En<QRTXAnalogInputIndeces>(a, 0))); }),
      Call("GetPIDConstants",
           [](K& k, Args& a) {
             float p = F(a, 1), i = F(a, 2), d = F(a, 3);
             return Wrap(k.GetPIDConstants(En<QRTXPIDIndeces>(a, 0), p, i, d));
           }),
      Command("GetManualLoadTestParameters", &K::GetManualLoadTestParameters),
      Call("SetManualLoadTestParameters",
           [](K& k, Args& a) { return Wrap(k.SetManualLoadTestParameters(F(a, 0), F(a, 1))); }),
      Call("GetVehSimTestHPIntWinErrors",
           [](K& k, Args& a) { return Wrap(k.GetVehSimTestHPIntWinErrors(I(a, 0))); }),
      Call("GetVehSimTestHPIntWinParameters",
           [](K& k, Args& a) { return Wrap(k.GetVehSimTestHPIntWinParameters(I(a, 0))); }),
      Call("SetVehSimTestHPIntWinParameters",
           [](K& k, Args& a) {
             return Wrap(k.SetVehSimTestHPIntWinParameters(I(a, 0), F(a, 1), F(a, 2), B(a, 3)));
           }),
      Call("PositiveVoltageSpanAnalogInput",
           [](K& k, Args& a) {
             return Wrap(k.PositiveVoltageSpanAnalogInput(En<QRTXAnalogInputIndeces>(a, 0)));
           }),
      Call("NegativeVoltageSpanAnalogInput",
           [](K& k, Args& a) {
             return Wrap(k.NegativeVoltageSpanAnalogInput(En<QRTXAnalogInputIndeces>(a, 0)));
           }),
      Call("SetPIDConstants",
           [](K& k, Args& a) {
             return Wrap(k.SetPIDConstants(En<QRTXPIDIndeces>(a, 0), F(a, 1), F(a, 2), F(a, 3)));
           }),
      Call("ResetPIDValues",
           [](K& k, Args& a) { return Wrap(k.ResetPIDValues(En<QRTXPIDIndeces>(a, 0))); }),
      Command("ResetParasitics", &K::ResetParasitics),
      Call("ResetVehSimTestHPIntWinErrors",
           [](K& k, Args& a) { return Wrap(k.ResetVehSimTestHPIntWinErrors(I(a, 0))); }),
      Command("ResetVehSimTestISE", &K::ResetVehSimTestISE),
      Call("SetFWDBaseDistance", [](K& k, Args& a) { return Wrap(k.SetFWDBaseDistance(F(a, 0))); }),
      Call("SetFWDBaseState", [](K& k, Args& a) { return Wrap(k.SetFWDBaseState(B(a, 0))); }),
      Command("RetractFWDBaseToLimit", &K::RetractFWDBaseToLimit),
      Command("StopFWDBase", &K::StopFWDBase),
      Command("StopRestraints", &K::StopRestraints),
      Call("StartUsingLiveData", [](K& k, Args&) { return Wrap(k.StartUsingLiveData()); }),
      Call("StartFakeDataPlayBack",
           [](K& k, Args& a) { return Wrap(k.StartFakeDataPlayBack(S(a, 0))); }),
      Command("CenterRestraints", &K::CenterRestraints),
      Command("EdgeRestraints", &K::EdgeRestraints),
      Command("ExtendFWDBaseToLimit", &K::ExtendFWDBaseToLimit),
      Command("GetCoastdownTestParameters", &K::GetCoastdownTestParameters),
      Command("GetParasiticsCurves", &K::GetParasiticsCurves),
      Command("GetParasiticsTestParameters", &K::GetParasiticsTestParameters),
      Command("GetWarmupTestParameters", &K::GetWarmupTestParameters),
  };
  return kBindings;
}

const char* KindName(MemberKind kind) {
  switch (kind) {
    case MemberKind::Method:
      return "method";
    case MemberKind::PropertyGet:
      return "property get";
    case MemberKind::PropertyPut:
      return "property put";
  }
  return "member";
}

using Key = std::pair<MemberKind, std::string>;

std::map<Key, const Binding*> BindingsByKey(std::vector<std::string>& mismatches) {
  std::map<Key, const Binding*> byKey;
  for (const Binding& b : Bindings()) {
    if (!byKey.emplace(Key{b.kind, b.name}, &b).second) {
      mismatches.push_back(std::string(KindName(b.kind)) + " " + b.name + " is bound twice");
    }
  }
  return byKey;
}

// The described members with their calls; what does not match goes to mismatches.
std::vector<BoundMember> Bind(std::vector<std::string>& mismatches) {
  std::map<Key, const Binding*> byKey = BindingsByKey(mismatches);
  std::vector<BoundMember> bound;
  for (const MemberInfo& m : MemberTable()) {
    auto it = byKey.find(Key{m.kind, m.name});
    if (it == byKey.end()) {
      mismatches.push_back(std::string(KindName(m.kind)) + " " + m.name +
                           " is described but not bound");
      continue;
    }
    bound.push_back(BoundMember{m, it->second->call});
    byKey.erase(it);
  }
  for (const auto& [key, binding] : byKey) {
    mismatches.push_back(std::string(KindName(key.first)) + " " + key.second +
                         " is bound but not described");
  }
  return bound;
}

std::vector<BoundMember> BindOrThrow() {
  std::vector<std::string> mismatches;
  std::vector<BoundMember> bound = Bind(mismatches);
  if (!mismatches.empty()) {
    std::string text = "the binding of clsKeloInterface does not match its description:";
    for (const std::string& line : mismatches) text += "\n  " + line;
    throw std::logic_error(text);
  }
  return bound;
}

}  // namespace

const std::vector<BoundMember>& BoundMembers() {
  static const std::vector<BoundMember> kBound = BindOrThrow();
  return kBound;
}

const BoundMember* FindBoundMember(std::string_view name, MemberKind kind) {
  for (const BoundMember& m : BoundMembers()) {
    if (m.kind == kind && m.name == name) return &m;
  }
  return nullptr;
}

std::vector<std::string> BindingMismatches() {
  std::vector<std::string> mismatches;
  Bind(mismatches);
  return mismatches;
}

}  // namespace tavkelo
