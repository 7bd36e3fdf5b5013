#include "members/MemberTable.hpp"

#include <algorithm>

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

constexpr bool kTalksToDyne = true;
constexpr bool kByRef = true;

MemberInfo Get(const char* name, AutoTypeRef type, bool canWait = false) {
  return MemberInfo{name, MemberKind::PropertyGet, {}, type, canWait, true};
}

// A property indexed by the window number.
MemberInfo IndexedGet(const char* name, AutoTypeRef type) {
  return MemberInfo{name, MemberKind::PropertyGet, {{"WhichWin", kInteger, false}}, type, false,
                    true};
}

MemberInfo Put(const char* name, AutoTypeRef type) {
  return MemberInfo{name, MemberKind::PropertyPut, {{"value", type, false}}, kVoid, false, false};
}

MemberInfo Method(const char* name, std::vector<ParamInfo> params, AutoTypeRef result,
                  bool canWait = false) {
  return MemberInfo{name, MemberKind::Method, std::move(params), result, canWait, false};
}

// A method that only reads: it may run inside another call's wait.
MemberInfo Reading(MemberInfo member) {
  member.readsOnly = true;
  return member;
}

// A method without parameters that returns an error constant.
MemberInfo Command(const char* name, bool canWait = false) {
  return Method(name, {}, kError, canWait);
}

std::vector<MemberInfo> BuildTable() {
  return {
      // ---- lifecycle, connection and settings
      Method("Init",
             {{"BeActive", kBoolean},
              {"SerialPort", kInteger},
              {"BaudRate", kLong},
              {"Parity", kString}},
             kVoid),
      Method("InitFromIniFile", {{"IniFileName", kString}, {"SectionName", kString}}, kBoolean),
      Method("SaveSettingsToIniFile", {{"IniFile", kString}, {"SectionName", kString}}, kVoid),
      Method("Connect", {}, kBoolean, kTalksToDyne),
      Method("DisConnect", {}, kVoid, kTalksToDyne),
      Method("Update", {}, kBoolean, kTalksToDyne),
      Method("ResetAutoUpdateErrorCount", {}, kVoid),
      Reading(Method("ErrorConstantToString", {{"TheError", kError}}, kString)),
      Get("AutoUpdateEnabled", kBoolean),
      Put("AutoUpdateEnabled", kBoolean),
      Get("SerialPort", kInteger),
      Get("BaudRate", kLong),
      Get("Parity", kString),
      Get("AutoUpdateErrorCount", kLong),
      Get("MeasuringDirection", kInteger),
      Get("AvgISEPercent", kSingle, kTalksToDyne),
      Get("CurTest", kTestIndex),
      Get("LastTestCompletionStatus", kLtcs),
      Get("ASMTestMode", kByte),
      Get("ConstantTargetTestMode", kCttMode),
      IndexedGet("VehSimTestOnlyIntegrateInWindow", kBoolean),
      Get("PrimarySpeedMPH", kSingle),
      Get("PrimaryAccelMPHPerSec", kSingle),
      Get("ParasiticsTorque", kSingle),
      Get("PAUTorque", kSingle),
      Get("AccumulatedMiles", kSingle),
      Get("LeftWeight", kSingle),
      Get("RightWeight", kSingle),
      Get("FrameTemp", kSingle),
      Get("BearingTemp", kSingle),
      Get("TimeSinceLastUpdate", kSingle),
      Get("AccumulatedTime", kSingle),
      Get("SlaveVersion", kSingle),
      Get("LastFakeDataReadTime", kSingle),
      Get("AccelTorque", kSingle),
      Get("SecondarySpeedMPH", kSingle),
      Get("FWDSpeedMPH", kSingle),
      Get("WarmupTestTimeSeconds", kSingle),
      Get("ParasiticsTestTopSpeedMPH", kSingle),
      Get("ParasiticsTestBottomSpeedMPH", kSingle),
      Get("ASM5015TRLHP", kSingle),
      Get("ASM5015GTRLHP", kSingle),
      Get("ASM2525TRLHP", kSingle),
      Get("ASM2525GTRLHP", kSingle),
      Get("ConstantTargetTestSpeedTarget", kSingle),
      Get("ConstantTargetTestTorqueTarget", kSingle),
      Get("ConstantTargetTestPowerTarget", kSingle),
      Get("VehSimTestVehicleWeight", kSingle),
      Get("VehSimTestTRLHPAt50", kSingle),
      Get("VehSimTestGTRLHPAt50", kSingle),
      Get("VehSimTestTRLHPAPF", kSingle),
      Get("VehSimTestTRLHPBPF", kSingle),
      Get("VehSimTestTRLHPCPF", kSingle),
      Get("VehSimTestGTRLHPAPF", kSingle),
      Get("VehSimTestGTRLHPBPF", kSingle),
      Get("VehSimTestGTRLHPCPF", kSingle),
      Get("ConstantTargetTestManualTarget", kSingle),
      Get("ConstantTargetTestManualRampRate", kSingle),
      Get("ConstantTargetTestSpeedRampRate", kSingle),
      Get("ConstantTargetTestTorqueRampRate", kSingle),
      Get("ConstantTargetTestPowerRampRate", kSingle),
      Get("VehSimTestAugBreakingForceLimit", kSingle),
      Get("VehSimTestAugBreakingForceMultiplier", kSingle),
      Get("CDTestHiWinTopSpeed", kSingle),
      Get("CDTestHiWinBottomSpeed", kSingle),
      Get("CDTestHiWinTargetLoadHP", kSingle),
      Get("CDTestLoWinTopSpeed", kSingle),
      Get("CDTestLoWinBottomSpeed", kSingle),
      Get("CDTestLoWinTargetLoadHP", kSingle),
      Get("CDTestTopWindowCalcTime", kSingle),
      Get("CDTestTopWindowActualTime", kSingle),
      Get("CDTestTopWindowActualTopSpeed", kSingle),
      Get("CDTestTopWindowActualBottomSpeed", kSingle),
      Get("CDTestTopWindowActualHP", kSingle),
      Get("CDTestBottomWindowCalcTime", kSingle),
      Get("CDTestBottomWindowActualTime", kSingle),
      Get("CDTestBottomWindowActualTopSpeed", kSingle),
      Get("CDTestBottomWindowActualBottomSpeed", kSingle),
      Get("CDTestBottomWindowActualHP", kSingle),
      Get("RollDiameter", kSingle),
      Get("TWDEquivalentWeight", kSingle),
      Get("TWDTorqueVsMPHCurveA", kSingle),
      Get("TWDTorqueVsMPHCurveB", kSingle),
      Get("TWDTorqueVsMPHCurveC", kSingle),
      Get("TWDRawTorqueVsMPHCurveA", kSingle),
      Get("TWDRawTorqueVsMPHCurveB", kSingle),
      Get("TWDRawTorqueVsMPHCurveC", kSingle),
      Get("CalArmLength", kSingle),
      Get("CalWeight", kSingle),
      Get("ScaleCalArmRatio", kSingle),
      Get("ScaleCalWeight", kSingle),
      Get("PrimaryPulsesPerRev", kSingle),
      Get("SecondaryPulsesPerRev", kSingle),
      Get("RestraintBackoffTime", kSingle),
      Get("PAUGearRatio", kSingle),
      Get("TempInputLowCalDegreesF", kSingle),
      Get("TempInputHighCalDegreesF", kSingle),
      Get("TorquePIDP", kSingle),
      Get("TorquePIDI", kSingle),
      Get("TorquePIDD", kSingle),
      Get("SpeedPIDP", kSingle),
      Get("SpeedPIDI", kSingle),
      Get("SpeedPIDD", kSingle),
      Get("PAU1TorqueZeroVoltage", kSingle),
      Get("PAU1TorquePosSpan", kSingle),
      Get("PAU1TorqueNegSpan", kSingle),
      Get("LeftScaleZeroVoltage", kSingle),
      Get("LeftScalePosSpan", kSingle),
      Get("LeftScaleNegSpan", kSingle),
      Get("RightScaleZeroVoltage", kSingle),
      Get("RightScalePosSpan", kSingle),
      Get("RightScaleNegSpan", kSingle),
      Get("FrameTempZeroVoltage", kSingle),
      Get("FrameTempPosSpan", kSingle),
      Get("FrameTempNegSpan", kSingle),
      Get("BearingTempZeroVoltage", kSingle),
      Get("BearingTempPosSpan", kSingle),
      Get("BearingTempNegSpan", kSingle),
      Get("FWDBaseDistanceZeroVoltage", kSingle),
      Get("FWDBaseDistancePosSpan", kSingle),
      Get("FWDBaseDistanceNegSpan", kSingle),
      Get("FWDBaseMinWheelbase", kSingle),
      Get("FWDBaseMaxWheelbase", kSingle),
      Get("FWDBaseEquivalentWeight", kSingle),
      Get("FWDPulsesPerRev", kSingle),
      Get("FWDWheelBase", kSingle),
      Get("FWDTorqueVsMPHCurveA", kSingle),
      Get("FWDTorqueVsMPHCurveB", kSingle),
      Get("FWDTorqueVsMPHCurveC", kSingle),
      Get("FWDRawTorqueVsMPHCurveA", kSingle),
      Get("FWDRawTorqueVsMPHCurveB", kSingle),
      Get("FWDRawTorqueVsMPHCurveC", kSingle),
      Get("Active", kBoolean),
      Get("Connected", kBoolean),
      Get("TraceMessagesOn", kBoolean),
      Get("UsingLiveData", kBoolean),
      Get("LiftStatus", kBoolean),
      Get("LiftEnable", kBoolean),
      Get("MotorFault", kBoolean),
      Get("MotorOverTemp", kBoolean),
      Get("PAUIsOverTemp", kBoolean),
      Get("PAU1Enable", kBoolean),
      Get("WarmupMotorEnable", kBoolean),
      Get("LeftRestraintIn", kBoolean),
      Get("RightRestraintIn", kBoolean),
      Get("LeftRestraintCentered", kBoolean),
      Get("RightRestraintCentered", kBoolean),
      Get("RightRestraintMoving", kBoolean),
      Get("RetractFWDBaseEnable", kBoolean),
      Get("VehSimTestAugBreakingActive", kBoolean),
      Get("VehSimTestInertiaSimEnabled", kBoolean),
      Get("RetraintsEdged", kBoolean),
      Get("LeftRestraintMoving", kBoolean),
      Get("LiftOverride", kBoolean),
      Get("EStopPressed", kBoolean),
      Get("HasActiveRestaints", kBoolean),
      Get("IsFWDDyno", kBoolean),
      Get("CenterRestraintsEnable", kBoolean),
      Get("EdgeRestraintsEnable", kBoolean),
      Get("EngageFWDBaseEnable", kBoolean),
      Get("ExtendFWDBaseEnable", kBoolean),
      Get("FWDBaseAtExtendLimit", kBoolean),
      Get("FWDBaseAtRetractLimit", kBoolean),
      Get("FWDBaseLiftEnable", kBoolean),
      Get("FWDBaseLiftStatus", kBoolean),
      Get("FWDBaseMoving", kBoolean),
      Get("VehSimTestAugBreakingEnabled", kBoolean),
      Get("CDTestTopWindowRun", kBoolean),
      Get("CDTestBottomWindowRun", kBoolean),
      IndexedGet("VehSimTestWindowStartTime", kSingle),
      IndexedGet("VehSimTestWindowEndTime", kSingle),
      IndexedGet("VehSimTestHPIntWinActualHPSum", kSingle),
      IndexedGet("VehSimTestHPIntWinTargetHPSum", kSingle),
      IndexedGet("VehSimTestHPIntWinNumSamples", kSingle),
      IndexedGet("VehSimTestHPIntWinAvgHPEHP", kSingle),
      IndexedGet("VehSimTestHPIntWinAvgHPEPercent", kSingle),
      IndexedGet("VehSimTestHPIntWinInstHPEHP", kSingle),
      IndexedGet("VehSimTestHPIntWinInstHPEPercent", kSingle),
      // ---- device commands and tests
      Method("RaiseLifts", {{"TWDLift", kBoolean}, {"FWDLift", kBoolean}}, kError, kTalksToDyne),
      Method("LowerLifts", {{"TWDLift", kBoolean}, {"FWDLift", kBoolean}}, kError, kTalksToDyne),
      Command("ResetTestDistance", kTalksToDyne),
      Command("ResetTestTime"),
      Command("SaveCalibrationToFLASH", kTalksToDyne),
      Method("SetSystemParameter", {{"WhichParam", kSysParam}, {"NewValue", kSingle}}, kError,
             kTalksToDyne),
      Method("GetSystemParameter", {{"WhichParam", kByte}}, kError, kTalksToDyne),
      Command("GetSlaveVersion", kTalksToDyne),
      Command("GetASMTestParameters", kTalksToDyne),
      Command("GetVehSimTestParameters", kTalksToDyne),
      Command("GetConstantLoadTestParameters", kTalksToDyne),
      Command("GetConstantPowerTestParameters", kTalksToDyne),
      Command("GetConstantSpeedTestParameters", kTalksToDyne),
      Command("GetLastCoastdownTestResults"),
      Reading(Method("GetParasiticsAtSpeed",
                     {{"TheSpeed", kSingle},
                      {"TWDRawPara", kSingle, kByRef},
                      {"FWDRawPara", kSingle, kByRef},
                      {"TWDUnseenPara", kSingle, kByRef},
                      {"FWDUnseenPara", kSingle, kByRef}},
                     kError)),
      Method("StartTest", {{"TestIndex", kTestIndex}}, kError),
      Command("StopTest", kTalksToDyne),
      Method("SpanAnalogInput", {{"WhichInput", kAnalogInput}}, kError, kTalksToDyne),
      // ---- test parameters
      Method("SetWarmupTestParameters", {{"NewWarmupTimeSeconds", kSingle}}, kError),
      Method("SetParasiticsTestParameters",
             {{"NewTopSpeedMPH", kSingle}, {"NewBottomSpeedMPH", kSingle}}, kError),
      Method("SetConstantLoadTestParameters",
             {{"NewTargetFtLbs", kSingle}, {"NewRamprateFtLbsPerSecond", kSingle}}, kError,
             kTalksToDyne),
      Method("SetConstantSpeedTestParameters",
             {{"NewTargetMPH", kSingle}, {"NewRampRateMPHPerSecond", kSingle}}, kError,
             kTalksToDyne),
      Method("SetConstantPowerTestParameters",
             {{"NewTargetHP", kSingle}, {"NewRampRateHPPerSecond", kSingle}}, kError, kTalksToDyne),
      Method("SetConstantTargetTestingMode", {{"NewTestingMode", kCttMode}}, kError),
      Method("SetASMTestParameters",
             {{"ASMTestMode", kAsmMode},
              {"ASM5015TRLHP", kSingle},
              {"ASM5015GTRLHP", kSingle},
              {"ASM2525TRLHP", kSingle},
              {"ASM2525GTRLHP", kSingle}},
             kError, kTalksToDyne),
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
             kError, kTalksToDyne),
      Method("SetCoastdownTestParameters",
             {{"NewHiWinHiSpeed", kSingle},
              {"NewHiWinLoSpeed", kSingle},
              {"NewHiWinLoadHP", kSingle},
              {"NewLoWinHiSpeed", kSingle},
              {"NewLoWinLoSpeed", kSingle},
              {"NewLoWinLoadHP", kSingle}},
             kError),
      // ---- placeholders
      Reading(Method("GetAnalogInputCalibration",
                     {{"WhichInput", kAnalogInput},
                      {"ZeroVoltage", kSingle, kByRef},
                      {"PosSpan", kSingle, kByRef},
                      {"NegSpan", kSingle, kByRef}},
                     kError)),
      Method("SetAnalogInputCalibration",
             {{"WhichInput", kAnalogInput},
              {"ZeroVoltage", kSingle},
              {"PosSpan", kSingle},
              {"NegSpan", kSingle}},
             kError),
      Method("ZeroAnalogInput", {{"WhichInput", kAnalogInput}}, kError),
      Reading(Method("GetPIDConstants",
                     {{"WhichPID", kPid},
                      {"PValue", kSingle, kByRef},
                      {"IValue", kSingle, kByRef},
                      {"DValue", kSingle, kByRef}},
                     kError)),
      Reading(Command("GetManualLoadTestParameters")),
      Method("SetManualLoadTestParameters", {{"NewTarget", kSingle}, {"NewRampRate", kSingle}},
             kError),
      Reading(Method("GetVehSimTestHPIntWinErrors", {{"WhichWin", kInteger}}, kError)),
      Reading(Method("GetVehSimTestHPIntWinParameters", {{"WhichWin", kInteger}}, kError)),
      Method("SetVehSimTestHPIntWinParameters",
             {{"WhichWin", kInteger},
              {"StartTime", kSingle},
              {"EndTime", kSingle},
              {"OnlyIntegrateInWindow", kBoolean}},
             kError),
      Method("PositiveVoltageSpanAnalogInput", {{"WhichInput", kAnalogInput}}, kError),
      Method("NegativeVoltageSpanAnalogInput", {{"WhichInput", kAnalogInput}}, kError),
      Method("SetPIDConstants",
             {{"WhichPID", kPid}, {"PValue", kSingle}, {"IValue", kSingle}, {"DValue", kSingle}},
             kError),
      Method("ResetPIDValues", {{"WhichPID", kPid}}, kError),
      Command("ResetParasitics"),
      Method("ResetVehSimTestHPIntWinErrors", {{"WhichWin", kInteger}}, kError),
      Command("ResetVehSimTestISE"),
      Method("SetFWDBaseDistance", {{"NewDistance", kSingle}}, kError),
      Method("SetFWDBaseState", {{"Engage", kBoolean}}, kError),
      Command("RetractFWDBaseToLimit"),
      Command("StopFWDBase"),
      Command("StopRestraints"),
      Method("StartUsingLiveData", {}, kBoolean),
      Method("StartFakeDataPlayBack", {{"FakeDataFileName", kString}}, kBoolean),
      Command("CenterRestraints"),
      Command("EdgeRestraints"),
      Command("ExtendFWDBaseToLimit"),
      Command("GetCoastdownTestParameters"),
      Command("GetParasiticsCurves"),
      Command("GetParasiticsTestParameters"),
      Command("GetWarmupTestParameters"),
  };
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

int32_t DispatchId(std::string_view name) {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> names;
    for (const MemberInfo& m : MemberTable()) {
      if (std::find(names.begin(), names.end(), m.name) == names.end()) names.push_back(m.name);
    }
    return names;
  }();
  auto it = std::find(kNames.begin(), kNames.end(), name);
  return it == kNames.end() ? 0 : static_cast<int32_t>(it - kNames.begin()) + 1;
}

std::string AutoTypeName(const AutoTypeRef& type) {
  switch (type.type) {
    case AutoType::Void:
      return "Void";
    case AutoType::Boolean:
      return "Boolean";
    case AutoType::Byte:
      return "Byte";
    case AutoType::Integer:
      return "Integer";
    case AutoType::Long:
      return "Long";
    case AutoType::Single:
      return "Single";
    case AutoType::String:
      return "String";
    case AutoType::Enum:
      return type.enumName != nullptr ? type.enumName : "Long";
  }
  return "Void";
}

}  // namespace tavkelo
