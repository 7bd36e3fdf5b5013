#include "automation/MemberTable.hpp"

#include <type_traits>

#include "automation/clsKeloInterface.hpp"

namespace tavkelo {

namespace {

constexpr AutoTypeRef kVoid{AutoType::Void};
constexpr AutoTypeRef kBoolean{AutoType::Boolean};
constexpr AutoTypeRef kByte{AutoType::Byte};
constexpr AutoTypeRef kInteger{AutoType::Integer};
constexpr AutoTypeRef kLong{AutoType::Long};
constexpr AutoTypeRef kSingle{AutoType::Single};
constexpr AutoTypeRef kString{AutoType::String};
constexpr AutoTypeRef kError{AutoType::Enum, "QRTXErrorConstants"};
constexpr AutoTypeRef kTestIndex{AutoType::Enum, "QRTXTestIndeces"};
constexpr AutoTypeRef kLtcs{AutoType::Enum, "QRTXLTCSIndeces"};
constexpr AutoTypeRef kCttMode{AutoType::Enum, "QRTXCTTModeIndeces"};
constexpr AutoTypeRef kAsmMode{AutoType::Enum, "QRTXASMTestModeIndeces"};
constexpr AutoTypeRef kSysParam{AutoType::Enum, "QRTXSysParamIndeces"};
constexpr AutoTypeRef kAnalogInput{AutoType::Enum, "QRTXAnalogInputIndeces"};
constexpr AutoTypeRef kPid{AutoType::Enum, "QRTXPIDIndeces"};

using Args = std::vector<AutoValue>;
using K = clsKeloInterface;

// A C++ result as its automation value (enumerations travel as Long).
template <class R>
AutoValue Wrap(R value) {
  if constexpr (std::is_enum_v<R>) {
    return static_cast<int32_t>(value);
  } else {
    return AutoValue(value);
  }
}

float F(Args& a, size_t i) { return std::get<float>(a[i]); }
bool B(Args& a, size_t i) { return std::get<bool>(a[i]); }
int16_t I(Args& a, size_t i) { return std::get<int16_t>(a[i]); }
int32_t L(Args& a, size_t i) { return std::get<int32_t>(a[i]); }
const std::string& S(Args& a, size_t i) { return std::get<std::string>(a[i]); }
template <class E>
E En(Args& a, size_t i) {
  return static_cast<E>(std::get<int32_t>(a[i]));
}

template <class R>
MemberInfo Getter(const char* name, R (K::*get)(), AutoTypeRef type, bool canWait = false) {
  return MemberInfo{name, MemberKind::PropertyGet, {}, type, canWait,
                    [get](K& k, Args&) { return Wrap((k.*get)()); }};
}

template <class R>
MemberInfo IndexedGetter(const char* name, R (K::*get)(int16_t), AutoTypeRef type) {
  return MemberInfo{name, MemberKind::PropertyGet, {{"WhichWin", kInteger, false}}, type, false,
                    [get](K& k, Args& a) { return Wrap((k.*get)(I(a, 0))); }};
}

MemberInfo Method(const char* name, std::vector<ParamInfo> params, AutoTypeRef result, bool canWait,
                  std::function<AutoValue(K&, Args&)> call) {
  return MemberInfo{name, MemberKind::Method, std::move(params), result, canWait, std::move(call)};
}

// A method without parameters that returns an error constant.
MemberInfo Command(const char* name, QRTXErrorConstants (K::*fn)(), bool canWait) {
  return Method(name, {}, kError, canWait, [fn](K& k, Args&) { return Wrap((k.*fn)()); });
}

std::vector<MemberInfo> BuildTable() {
  std::vector<MemberInfo> t = {
      // ---- lifecycle, connection and settings
      Method("Init",
             {{"BeActive", kBoolean}, {"SerialPort", kInteger}, {"BaudRate", kLong}, {"Parity", kString}}, kVoid,
             false, [](K& k, Args& a) { k.Init(B(a, 0), I(a, 1), L(a, 2), S(a, 3)); return AutoValue(); }),
      Method("InitFromIniFile", {{"IniFileName", kString}, {"SectionName", kString}}, kBoolean, false,
             [](K& k, Args& a) { return Wrap(k.InitFromIniFile(S(a, 0), S(a, 1))); }),
      Method("SaveSettingsToIniFile", {{"IniFile", kString}, {"SectionName", kString}}, kVoid, false,
             [](K& k, Args& a) { k.SaveSettingsToIniFile(S(a, 0), S(a, 1)); return AutoValue(); }),
      Method("Connect", {}, kBoolean, true, [](K& k, Args&) { return Wrap(k.Connect()); }),
      Method("DisConnect", {}, kVoid, true, [](K& k, Args&) { k.DisConnect(); return AutoValue(); }),
      Method("Update", {}, kBoolean, true, [](K& k, Args&) { return Wrap(k.Update()); }),
      Method("ResetAutoUpdateErrorCount", {}, kVoid, false,
             [](K& k, Args&) { k.ResetAutoUpdateErrorCount(); return AutoValue(); }),
      Method("ErrorConstantToString", {{"TheError", kError}}, kString, false,
             [](K& k, Args& a) { return Wrap(k.ErrorConstantToString(En<QRTXErrorConstants>(a, 0))); }),
      MemberInfo{"AutoUpdateEnabled", MemberKind::PropertyGet, {}, kBoolean, false,
                 [](K& k, Args&) { return Wrap(k.AutoUpdateEnabled()); }},
      MemberInfo{"AutoUpdateEnabled", MemberKind::PropertyPut, {{"value", kBoolean}}, kVoid, false,
                 [](K& k, Args& a) { k.AutoUpdateEnabled(B(a, 0)); return AutoValue(); }},
      Getter("SerialPort", &K::SerialPort, kInteger),
      Getter("BaudRate", &K::BaudRate, kLong),
      Getter("Parity", &K::Parity, kString),
      Getter("AutoUpdateErrorCount", &K::AutoUpdateErrorCount, kLong),
      Getter("MeasuringDirection", &K::MeasuringDirection, kInteger),
      Getter("AvgISEPercent", &K::AvgISEPercent, kSingle, true),
      Getter("CurTest", &K::CurTest, kTestIndex),
      Getter("LastTestCompletionStatus", &K::LastTestCompletionStatus, kLtcs),
      Getter("ASMTestMode", &K::ASMTestMode, kByte),
      Getter("ConstantTargetTestMode", &K::ConstantTargetTestMode, kCttMode),
      IndexedGetter("VehSimTestOnlyIntegrateInWindow", &K::VehSimTestOnlyIntegrateInWindow, kBoolean),
      Getter("PrimarySpeedMPH", &K::PrimarySpeedMPH, kSingle),
      Getter("PrimaryAccelMPHPerSec", &K::PrimaryAccelMPHPerSec, kSingle),
      Getter("ParasiticsTorque", &K::ParasiticsTorque, kSingle),
      Getter("PAUTorque", &K::PAUTorque, kSingle),
      Getter("AccumulatedMiles", &K::AccumulatedMiles, kSingle),
      Getter("LeftWeight", &K::LeftWeight, kSingle),
      Getter("RightWeight", &K::RightWeight, kSingle),
      Getter("FrameTemp", &K::FrameTemp, kSingle),
      Getter("BearingTemp", &K::BearingTemp, kSingle),
      Getter("TimeSinceLastUpdate", &K::TimeSinceLastUpdate, kSingle),
      Getter("AccumulatedTime", &K::AccumulatedTime, kSingle),
      Getter("SlaveVersion", &K::SlaveVersion, kSingle),
      Getter("LastFakeDataReadTime", &K::LastFakeDataReadTime, kSingle),
      Getter("AccelTorque", &K::AccelTorque, kSingle),
      Getter("SecondarySpeedMPH", &K::SecondarySpeedMPH, kSingle),
      Getter("FWDSpeedMPH", &K::FWDSpeedMPH, kSingle),
      Getter("WarmupTestTimeSeconds", &K::WarmupTestTimeSeconds, kSingle),
      Getter("ParasiticsTestTopSpeedMPH", &K::ParasiticsTestTopSpeedMPH, kSingle),
      Getter("ParasiticsTestBottomSpeedMPH", &K::ParasiticsTestBottomSpeedMPH, kSingle),
      Getter("ASM5015TRLHP", &K::ASM5015TRLHP, kSingle),
      Getter("ASM5015GTRLHP", &K::ASM5015GTRLHP, kSingle),
      Getter("ASM2525TRLHP", &K::ASM2525TRLHP, kSingle),
      Getter("ASM2525GTRLHP", &K::ASM2525GTRLHP, kSingle),
      Getter("ConstantTargetTestSpeedTarget", &K::ConstantTargetTestSpeedTarget, kSingle),
      Getter("ConstantTargetTestTorqueTarget", &K::ConstantTargetTestTorqueTarget, kSingle),
      Getter("ConstantTargetTestPowerTarget", &K::ConstantTargetTestPowerTarget, kSingle),
      Getter("VehSimTestVehicleWeight", &K::VehSimTestVehicleWeight, kSingle),
      Getter("VehSimTestTRLHPAt50", &K::VehSimTestTRLHPAt50, kSingle),
      Getter("VehSimTestGTRLHPAt50", &K::VehSimTestGTRLHPAt50, kSingle),
      Getter("VehSimTestTRLHPAPF", &K::VehSimTestTRLHPAPF, kSingle),
      Getter("VehSimTestTRLHPBPF", &K::VehSimTestTRLHPBPF, kSingle),
      Getter("VehSimTestTRLHPCPF", &K::VehSimTestTRLHPCPF, kSingle),
      Getter("VehSimTestGTRLHPAPF", &K::VehSimTestGTRLHPAPF, kSingle),
      Getter("VehSimTestGTRLHPBPF", &K::VehSimTestGTRLHPBPF, kSingle),
      Getter("VehSimTestGTRLHPCPF", &K::VehSimTestGTRLHPCPF, kSingle),
      Getter("ConstantTargetTestManualTarget", &K::ConstantTargetTestManualTarget, kSingle),
      Getter("ConstantTargetTestManualRampRate", &K::ConstantTargetTestManualRampRate, kSingle),
      Getter("ConstantTargetTestSpeedRampRate", &K::ConstantTargetTestSpeedRampRate, kSingle),
      Getter("ConstantTargetTestTorqueRampRate", &K::ConstantTargetTestTorqueRampRate, kSingle),
      Getter("ConstantTargetTestPowerRampRate", &K::ConstantTargetTestPowerRampRate, kSingle),
      Getter("VehSimTestAugBreakingForceLimit", &K::VehSimTestAugBreakingForceLimit, kSingle),
      Getter("VehSimTestAugBreakingForceMultiplier", &K::VehSimTestAugBreakingForceMultiplier, kSingle),
      Getter("CDTestHiWinTopSpeed", &K::CDTestHiWinTopSpeed, kSingle),
      Getter("CDTestHiWinBottomSpeed", &K::CDTestHiWinBottomSpeed, kSingle),
      Getter("CDTestHiWinTargetLoadHP", &K::CDTestHiWinTargetLoadHP, kSingle),
      Getter("CDTestLoWinTopSpeed", &K::CDTestLoWinTopSpeed, kSingle),
      Getter("CDTestLoWinBottomSpeed", &K::CDTestLoWinBottomSpeed, kSingle),
      Getter("CDTestLoWinTargetLoadHP", &K::CDTestLoWinTargetLoadHP, kSingle),
      Getter("CDTestTopWindowCalcTime", &K::CDTestTopWindowCalcTime, kSingle),
      Getter("CDTestTopWindowActualTime", &K::CDTestTopWindowActualTime, kSingle),
      Getter("CDTestTopWindowActualTopSpeed", &K::CDTestTopWindowActualTopSpeed, kSingle),
      Getter("CDTestTopWindowActualBottomSpeed", &K::CDTestTopWindowActualBottomSpeed, kSingle),
      Getter("CDTestTopWindowActualHP", &K::CDTestTopWindowActualHP, kSingle),
      Getter("CDTestBottomWindowCalcTime", &K::CDTestBottomWindowCalcTime, kSingle),
      Getter("CDTestBottomWindowActualTime", &K::CDTestBottomWindowActualTime, kSingle),
      Getter("CDTestBottomWindowActualTopSpeed", &K::CDTestBottomWindowActualTopSpeed, kSingle),
      Getter("CDTestBottomWindowActualBottomSpeed", &K::CDTestBottomWindowActualBottomSpeed, kSingle),
      Getter("CDTestBottomWindowActualHP", &K::CDTestBottomWindowActualHP, kSingle),
      Getter("RollDiameter", &K::RollDiameter, kSingle),
      Getter("TWDEquivalentWeight", &K::TWDEquivalentWeight, kSingle),
      Getter("TWDTorqueVsMPHCurveA", &K::TWDTorqueVsMPHCurveA, kSingle),
      Getter("TWDTorqueVsMPHCurveB", &K::TWDTorqueVsMPHCurveB, kSingle),
      Getter("TWDTorqueVsMPHCurveC", &K::TWDTorqueVsMPHCurveC, kSingle),
      Getter("TWDRawTorqueVsMPHCurveA", &K::TWDRawTorqueVsMPHCurveA, kSingle),
      Getter("TWDRawTorqueVsMPHCurveB", &K::TWDRawTorqueVsMPHCurveB, kSingle),
      Getter("TWDRawTorqueVsMPHCurveC", &K::TWDRawTorqueVsMPHCurveC, kSingle),
      Getter("CalArmLength", &K::CalArmLength, kSingle),
      Getter("CalWeight", &K::CalWeight, kSingle),
      Getter("ScaleCalArmRatio", &K::ScaleCalArmRatio, kSingle),
      Getter("ScaleCalWeight", &K::ScaleCalWeight, kSingle),
      Getter("PrimaryPulsesPerRev", &K::PrimaryPulsesPerRev, kSingle),
      Getter("SecondaryPulsesPerRev", &K::SecondaryPulsesPerRev, kSingle),
      Getter("RestraintBackoffTime", &K::RestraintBackoffTime, kSingle),
      Getter("PAUGearRatio", &K::PAUGearRatio, kSingle),
      Getter("TempInputLowCalDegreesF", &K::TempInputLowCalDegreesF, kSingle),
      Getter("TempInputHighCalDegreesF", &K::TempInputHighCalDegreesF, kSingle),
      Getter("TorquePIDP", &K::TorquePIDP, kSingle),
      Getter("TorquePIDI", &K::TorquePIDI, kSingle),
      Getter("TorquePIDD", &K::TorquePIDD, kSingle),
      Getter("SpeedPIDP", &K::SpeedPIDP, kSingle),
      Getter("SpeedPIDI", &K::SpeedPIDI, kSingle),
      Getter("SpeedPIDD", &K::SpeedPIDD, kSingle),
      Getter("PAU1TorqueZeroVoltage", &K::PAU1TorqueZeroVoltage, kSingle),
      Getter("PAU1TorquePosSpan", &K::PAU1TorquePosSpan, kSingle),
      Getter("PAU1TorqueNegSpan", &K::PAU1TorqueNegSpan, kSingle),
      Getter("LeftScaleZeroVoltage", &K::LeftScaleZeroVoltage, kSingle),
      Getter("LeftScalePosSpan", &K::LeftScalePosSpan, kSingle),
      Getter("LeftScaleNegSpan", &K::LeftScaleNegSpan, kSingle),
      Getter("RightScaleZeroVoltage", &K::RightScaleZeroVoltage, kSingle),
      Getter("RightScalePosSpan", &K::RightScalePosSpan, kSingle),
      Getter("RightScaleNegSpan", &K::RightScaleNegSpan, kSingle),
      Getter("FrameTempZeroVoltage", &K::FrameTempZeroVoltage, kSingle),
      Getter("FrameTempPosSpan", &K::FrameTempPosSpan, kSingle),
      Getter("FrameTempNegSpan", &K::FrameTempNegSpan, kSingle),
      Getter("BearingTempZeroVoltage", &K::BearingTempZeroVoltage, kSingle),
      Getter("BearingTempPosSpan", &K::BearingTempPosSpan, kSingle),
      Getter("BearingTempNegSpan", &K::BearingTempNegSpan, kSingle),
      Getter("FWDBaseDistanceZeroVoltage", &K::FWDBaseDistanceZeroVoltage, kSingle),
      Getter("FWDBaseDistancePosSpan", &K::FWDBaseDistancePosSpan, kSingle),
      Getter("FWDBaseDistanceNegSpan", &K::FWDBaseDistanceNegSpan, kSingle),
      Getter("FWDBaseMinWheelbase", &K::FWDBaseMinWheelbase, kSingle),
      Getter("FWDBaseMaxWheelbase", &K::FWDBaseMaxWheelbase, kSingle),
      Getter("FWDBaseEquivalentWeight", &K::FWDBaseEquivalentWeight, kSingle),
      Getter("FWDPulsesPerRev", &K::FWDPulsesPerRev, kSingle),
      Getter("FWDWheelBase", &K::FWDWheelBase, kSingle),
      Getter("FWDTorqueVsMPHCurveA", &K::FWDTorqueVsMPHCurveA, kSingle),
      Getter("FWDTorqueVsMPHCurveB", &K::FWDTorqueVsMPHCurveB, kSingle),
      Getter("FWDTorqueVsMPHCurveC", &K::FWDTorqueVsMPHCurveC, kSingle),
      Getter("FWDRawTorqueVsMPHCurveA", &K::FWDRawTorqueVsMPHCurveA, kSingle),
      Getter("FWDRawTorqueVsMPHCurveB", &K::FWDRawTorqueVsMPHCurveB, kSingle),
      Getter("FWDRawTorqueVsMPHCurveC", &K::FWDRawTorqueVsMPHCurveC, kSingle),
      Getter("Active", &K::Active, kBoolean),
      Getter("Connected", &K::Connected, kBoolean),
      Getter("TraceMessagesOn", &K::TraceMessagesOn, kBoolean),
      Getter("UsingLiveData", &K::UsingLiveData, kBoolean),
      Getter("LiftStatus", &K::LiftStatus, kBoolean),
      Getter("LiftEnable", &K::LiftEnable, kBoolean),
      Getter("MotorFault", &K::MotorFault, kBoolean),
      Getter("MotorOverTemp", &K::MotorOverTemp, kBoolean),
      Getter("PAUIsOverTemp", &K::PAUIsOverTemp, kBoolean),
      Getter("PAU1Enable", &K::PAU1Enable, kBoolean),
      Getter("WarmupMotorEnable", &K::WarmupMotorEnable, kBoolean),
      Getter("LeftRestraintIn", &K::LeftRestraintIn, kBoolean),
      Getter("RightRestraintIn", &K::RightRestraintIn, kBoolean),
      Getter("LeftRestraintCentered", &K::LeftRestraintCentered, kBoolean),
      Getter("RightRestraintCentered", &K::RightRestraintCentered, kBoolean),
      Getter("RightRestraintMoving", &K::RightRestraintMoving, kBoolean),
      Getter("RetractFWDBaseEnable", &K::RetractFWDBaseEnable, kBoolean),
      Getter("VehSimTestAugBreakingActive", &K::VehSimTestAugBreakingActive, kBoolean),
      Getter("VehSimTestInertiaSimEnabled", &K::VehSimTestInertiaSimEnabled, kBoolean),
      Getter("RetraintsEdged", &K::RetraintsEdged, kBoolean),
      Getter("LeftRestraintMoving", &K::LeftRestraintMoving, kBoolean),
      Getter("LiftOverride", &K::LiftOverride, kBoolean),
      Getter("EStopPressed", &K::EStopPressed, kBoolean),
      Getter("HasActiveRestaints", &K::HasActiveRestaints, kBoolean),
      Getter("IsFWDDyno", &K::IsFWDDyno, kBoolean),
      Getter("CenterRestraintsEnable", &K::CenterRestraintsEnable, kBoolean),
      Getter("EdgeRestraintsEnable", &K::EdgeRestraintsEnable, kBoolean),
      Getter("EngageFWDBaseEnable", &K::EngageFWDBaseEnable, kBoolean),
      Getter("ExtendFWDBaseEnable", &K::ExtendFWDBaseEnable, kBoolean),
      Getter("FWDBaseAtExtendLimit", &K::FWDBaseAtExtendLimit, kBoolean),
      Getter("FWDBaseAtRetractLimit", &K::FWDBaseAtRetractLimit, kBoolean),
      Getter("FWDBaseLiftEnable", &K::FWDBaseLiftEnable, kBoolean),
      Getter("FWDBaseLiftStatus", &K::FWDBaseLiftStatus, kBoolean),
      Getter("FWDBaseMoving", &K::FWDBaseMoving, kBoolean),
      Getter("VehSimTestAugBreakingEnabled", &K::VehSimTestAugBreakingEnabled, kBoolean),
      Getter("CDTestTopWindowRun", &K::CDTestTopWindowRun, kBoolean),
      Getter("CDTestBottomWindowRun", &K::CDTestBottomWindowRun, kBoolean),
      IndexedGetter("VehSimTestWindowStartTime", &K::VehSimTestWindowStartTime, kSingle),
      IndexedGetter("VehSimTestWindowEndTime", &K::VehSimTestWindowEndTime, kSingle),
      IndexedGetter("VehSimTestHPIntWinActualHPSum", &K::VehSimTestHPIntWinActualHPSum, kSingle),
      IndexedGetter("VehSimTestHPIntWinTargetHPSum", &K::VehSimTestHPIntWinTargetHPSum, kSingle),
      IndexedGetter("VehSimTestHPIntWinNumSamples", &K::VehSimTestHPIntWinNumSamples, kSingle),
      IndexedGetter("VehSimTestHPIntWinAvgHPEHP", &K::VehSimTestHPIntWinAvgHPEHP, kSingle),
      IndexedGetter("VehSimTestHPIntWinAvgHPEPercent", &K::VehSimTestHPIntWinAvgHPEPercent, kSingle),
      IndexedGetter("VehSimTestHPIntWinInstHPEHP", &K::VehSimTestHPIntWinInstHPEHP, kSingle),
      IndexedGetter("VehSimTestHPIntWinInstHPEPercent", &K::VehSimTestHPIntWinInstHPEPercent, kSingle),
      // ---- device commands and tests
      Method("RaiseLifts", {{"TWDLift", kBoolean}, {"FWDLift", kBoolean}}, kError, true,
             [](K& k, Args& a) { return Wrap(k.RaiseLifts(B(a, 0), B(a, 1))); }),
      Method("LowerLifts", {{"TWDLift", kBoolean}, {"FWDLift", kBoolean}}, kError, true,
             [](K& k, Args& a) { return Wrap(k.LowerLifts(B(a, 0), B(a, 1))); }),
      Command("ResetTestDistance", &K::ResetTestDistance, true),
      Command("ResetTestTime", &K::ResetTestTime, false),
      Command("SaveCalibrationToFLASH", &K::SaveCalibrationToFLASH, true),
      Method("SetSystemParameter", {{"WhichParam", kSysParam}, {"NewValue", kSingle}}, kError, true,
             [](K& k, Args& a) { return Wrap(k.SetSystemParameter(En<QRTXSysParamIndeces>(a, 0), F(a, 1))); }),
      Method("GetSystemParameter", {{"WhichParam", kByte}}, kError, true,
             [](K& k, Args& a) { return Wrap(k.GetSystemParameter(std::get<uint8_t>(a[0]))); }),
      Command("GetSlaveVersion", &K::GetSlaveVersion, true),
      Command("GetASMTestParameters", &K::GetASMTestParameters, true),
      Command("GetVehSimTestParameters", &K::GetVehSimTestParameters, true),
      Command("GetConstantLoadTestParameters", &K::GetConstantLoadTestParameters, true),
      Command("GetConstantPowerTestParameters", &K::GetConstantPowerTestParameters, true),
      Command("GetConstantSpeedTestParameters", &K::GetConstantSpeedTestParameters, true),
      Command("GetLastCoastdownTestResults", &K::GetLastCoastdownTestResults, false),
      Method("GetParasiticsAtSpeed",
             {{"TheSpeed", kSingle},
              {"TWDRawPara", kSingle, true},
              {"FWDRawPara", kSingle, true},
              {"TWDUnseenPara", kSingle, true},
              {"FWDUnseenPara", kSingle, true}},
             kError, false,
             [](K& k, Args& a) {
               float raw = F(a, 1), fwdRaw = F(a, 2), unseen = F(a, 3), fwdUnseen = F(a, 4);
               QRTXErrorConstants r = k.GetParasiticsAtSpeed(F(a, 0), raw, fwdRaw, unseen, fwdUnseen);
               a[1] = raw;
               a[2] = fwdRaw;
               a[3] = unseen;
               a[4] = fwdUnseen;
               return Wrap(r);
             }),
      Method("StartTest", {{"TestIndex", kTestIndex}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.StartTest(En<QRTXTestIndeces>(a, 0))); }),
      Command("StopTest", &K::StopTest, true),
      Method("SpanAnalogInput", {{"WhichInput", kAnalogInput}}, kError, true,
             [](K& k, Args& a) { return Wrap(k.SpanAnalogInput(En<QRTXAnalogInputIndeces>(a, 0))); }),
      // ---- test parameters
      Method("SetWarmupTestParameters", {{"NewWarmupTimeSeconds", kSingle}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.SetWarmupTestParameters(F(a, 0))); }),
      Method("SetParasiticsTestParameters", {{"NewTopSpeedMPH", kSingle}, {"NewBottomSpeedMPH", kSingle}}, kError,
             false, [](K& k, Args& a) { return Wrap(k.SetParasiticsTestParameters(F(a, 0), F(a, 1))); }),
      Method("SetConstantLoadTestParameters", {{"NewTargetFtLbs", kSingle}, {"NewRamprateFtLbsPerSecond", kSingle}},
             kError, true, [](K& k, Args& a) { return Wrap(k.SetConstantLoadTestParameters(F(a, 0), F(a, 1))); }),
      Method("SetConstantSpeedTestParameters", {{"NewTargetMPH", kSingle}, {"NewRampRateMPHPerSecond", kSingle}},
             kError, true, [](K& k, Args& a) { return Wrap(k.SetConstantSpeedTestParameters(F(a, 0), F(a, 1))); }),
      Method("SetConstantPowerTestParameters", {{"NewTargetHP", kSingle}, {"NewRampRateHPPerSecond", kSingle}},
             kError, true, [](K& k, Args& a) { return Wrap(k.SetConstantPowerTestParameters(F(a, 0), F(a, 1))); }),
      Method("SetConstantTargetTestingMode", {{"NewTestingMode", kCttMode}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.SetConstantTargetTestingMode(En<QRTXCTTModeIndeces>(a, 0))); }),
      Method("SetASMTestParameters",
             {{"ASMTestMode", kAsmMode},
              {"ASM5015TRLHP", kSingle},
              {"ASM5015GTRLHP", kSingle},
              {"ASM2525TRLHP", kSingle},
              {"ASM2525GTRLHP", kSingle}},
             kError, true,
             [](K& k, Args& a) {
               return Wrap(k.SetASMTestParameters(En<QRTXASMTestModeIndeces>(a, 0), F(a, 1), F(a, 2), F(a, 3), F(a, 4)));
             }),
      Method("SetVehSimTestParameters",
             {{"VehSimTestInertiaSimEnabled", kBoolean},
              {"VehSimTestAugBrakingEnabled", kBoolean},
              {"VehSimTestAugBrakingForceLimit", kSingle},
              {"VehSimTestAugBrakingForceMultiplier", kSingle},
              {"VehSimTestVehicleWeight", kSingle},
              {"VehSimTestTRLHPAt50", kSingle},
              {"VehSimTestGTRLHPAt50", kSingle},
              {"VehSimTestTRLHPAPF", kSingle},
              {"VehSimTestTRLHPBPF", kSingle},
              {"VehSimTestTRLHPCPF", kSingle},
              {"VehSimTestGTRLHPAPF", kSingle},
              {"VehSimTestGTRLHPBPF", kSingle},
              {"VehSimTestGTRLHPCPF", kSingle}},
             kError, true,
             [](K& k, Args& a) {
               return Wrap(k.SetVehSimTestParameters(B(a, 0), B(a, 1), F(a, 2), F(a, 3), F(a, 4), F(a, 5), F(a, 6),
                                                     F(a, 7), F(a, 8), F(a, 9), F(a, 10), F(a, 11), F(a, 12)));
             }),
      Method("SetCoastdownTestParameters",
             {{"NewHiWinHiSpeed", kSingle},
              {"NewHiWinLoSpeed", kSingle},
              {"NewHiWinLoadHP", kSingle},
              {"NewLoWinHiSpeed", kSingle},
              {"NewLoWinLoSpeed", kSingle},
              {"NewLoWinLoadHP", kSingle}},
             kError, false,
             [](K& k, Args& a) {
               return Wrap(k.SetCoastdownTestParameters(F(a, 0), F(a, 1), F(a, 2), F(a, 3), F(a, 4), F(a, 5)));
             }),
      // ---- placeholders
      Method("GetAnalogInputCalibration",
             {{"WhichInput", kAnalogInput},
              {"ZeroVoltage", kSingle, true},
              {"PosSpan", kSingle, true},
              {"NegSpan", kSingle, true}},
             kError, false,
             [](K& k, Args& a) {
               float z = F(a, 1), p = F(a, 2), n = F(a, 3);
               return Wrap(k.GetAnalogInputCalibration(En<QRTXAnalogInputIndeces>(a, 0), z, p, n));
             }),
      Method("SetAnalogInputCalibration",
             {{"WhichInput", kAnalogInput}, {"ZeroVoltage", kSingle}, {"PosSpan", kSingle}, {"NegSpan", kSingle}},
             kError, false,
             [](K& k, Args& a) {
               return Wrap(k.SetAnalogInputCalibration(En<QRTXAnalogInputIndeces>(a, 0), F(a, 1), F(a, 2), F(a, 3)));
             }),
      Method("ZeroAnalogInput", {{"WhichInput", kAnalogInput}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.ZeroAnalogInput(En<QRTXAnalogInputIndeces>(a, 0))); }),
      Method("GetPIDConstants",
             {{"WhichPID", kPid}, {"PValue", kSingle, true}, {"IValue", kSingle, true}, {"DValue", kSingle, true}},
             kError, false,
             [](K& k, Args& a) {
               float p = F(a, 1), i = F(a, 2), d = F(a, 3);
               return Wrap(k.GetPIDConstants(En<QRTXPIDIndeces>(a, 0), p, i, d));
             }),
      Command("GetManualLoadTestParameters", &K::GetManualLoadTestParameters, false),
      Method("SetManualLoadTestParameters", {{"NewTarget", kSingle}, {"NewRampRate", kSingle}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.SetManualLoadTestParameters(F(a, 0), F(a, 1))); }),
      Method("GetVehSimTestHPIntWinErrors", {{"WhichWin", kInteger}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.GetVehSimTestHPIntWinErrors(I(a, 0))); }),
      Method("GetVehSimTestHPIntWinParameters", {{"WhichWin", kInteger}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.GetVehSimTestHPIntWinParameters(I(a, 0))); }),
      Method("SetVehSimTestHPIntWinParameters",
             {{"WhichWin", kInteger}, {"StartTime", kSingle}, {"EndTime", kSingle}, {"OnlyIntegrateInWindow", kBoolean}},
             kError, false,
             [](K& k, Args& a) { return Wrap(k.SetVehSimTestHPIntWinParameters(I(a, 0), F(a, 1), F(a, 2), B(a, 3))); }),
      Method("PositiveVoltageSpanAnalogInput", {{"WhichInput", kAnalogInput}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.PositiveVoltageSpanAnalogInput(En<QRTXAnalogInputIndeces>(a, 0))); }),
      Method("NegativeVoltageSpanAnalogInput", {{"WhichInput", kAnalogInput}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.NegativeVoltageSpanAnalogInput(En<QRTXAnalogInputIndeces>(a, 0))); }),
      Method("SetPIDConstants", {{"WhichPID", kPid}, {"PValue", kSingle}, {"IValue", kSingle}, {"DValue", kSingle}},
             kError, false,
             [](K& k, Args& a) { return Wrap(k.SetPIDConstants(En<QRTXPIDIndeces>(a, 0), F(a, 1), F(a, 2), F(a, 3))); }),
      Method("ResetPIDValues", {{"WhichPID", kPid}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.ResetPIDValues(En<QRTXPIDIndeces>(a, 0))); }),
      Command("ResetParasitics", &K::ResetParasitics, false),
      Method("ResetVehSimTestHPIntWinErrors", {{"WhichWin", kInteger}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.ResetVehSimTestHPIntWinErrors(I(a, 0))); }),
      Command("ResetVehSimTestISE", &K::ResetVehSimTestISE, false),
      Method("SetFWDBaseDistance", {{"NewDistance", kSingle}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.SetFWDBaseDistance(F(a, 0))); }),
      Method("SetFWDBaseState", {{"Engage", kBoolean}}, kError, false,
             [](K& k, Args& a) { return Wrap(k.SetFWDBaseState(B(a, 0))); }),
      Command("RetractFWDBaseToLimit", &K::RetractFWDBaseToLimit, false),
      Command("StopFWDBase", &K::StopFWDBase, false),
      Command("StopRestraints", &K::StopRestraints, false),
      Method("StartUsingLiveData", {}, kBoolean, false, [](K& k, Args&) { return Wrap(k.StartUsingLiveData()); }),
      Method("StartFakeDataPlayBack", {{"FakeDataFileName", kString}}, kBoolean, false,
             [](K& k, Args& a) { return Wrap(k.StartFakeDataPlayBack(S(a, 0))); }),
      Command("CenterRestraints", &K::CenterRestraints, false),
      Command("EdgeRestraints", &K::EdgeRestraints, false),
      Command("ExtendFWDBaseToLimit", &K::ExtendFWDBaseToLimit, false),
      Command("GetCoastdownTestParameters", &K::GetCoastdownTestParameters, false),
      Command("GetParasiticsCurves", &K::GetParasiticsCurves, false),
      Command("GetParasiticsTestParameters", &K::GetParasiticsTestParameters, false),
      Command("GetWarmupTestParameters", &K::GetWarmupTestParameters, false),
  };
  return t;
}

}  // namespace

const std::vector<MemberInfo>& MemberTable() {
  static const std::vector<MemberInfo> kTable = BuildTable();
  return kTable;
}

const MemberInfo* FindMember(std::string_view name, MemberKind kind) {
  for (const MemberInfo& m : MemberTable()) {
    if (m.kind == kind && m.name == name) return &m;
  }
  return nullptr;
}

std::string AutoTypeName(const AutoTypeRef& type) {
  switch (type.type) {
    case AutoType::Void: return "Void";
    case AutoType::Boolean: return "Boolean";
    case AutoType::Byte: return "Byte";
    case AutoType::Integer: return "Integer";
    case AutoType::Long: return "Long";
    case AutoType::Single: return "Single";
    case AutoType::String: return "String";
    case AutoType::Enum: return type.enumName != nullptr ? type.enumName : "Long";
  }
  return "Void";
}

}  // namespace tavkelo
