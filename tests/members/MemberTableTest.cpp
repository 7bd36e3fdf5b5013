// Walks every published member of clsKeloInterface, listed here from the interface's documentation,
// and checks the member table: it exists with its kind, parameter types, by-reference flags and
// result type, and the table lists nothing else.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "members/MemberTable.hpp"

namespace tavkelo {
namespace {

// "name(ParamType, ...) -> Result", by-reference parameters marked "&".
struct Expected {
  MemberKind kind;
  const char* signature;
};

std::string Signature(const MemberInfo& m) {
  std::string s = m.name + "(";
  for (size_t i = 0; i < m.params.size(); ++i) {
    if (i > 0) s += ", ";
    s += AutoTypeName(m.params[i].type) + (m.params[i].byRef ? "&" : "");
  }
  return s + ") -> " + AutoTypeName(m.result);
}

std::vector<Expected> Documented() {
  std::vector<Expected> e;
  auto method = [&](const char* s) { e.push_back({MemberKind::Method, s}); };
  auto get = [&](const char* s) { e.push_back({MemberKind::PropertyGet, s}); };
  // lifecycle and connection
  method("Init(Boolean, Integer, Long, String) -> Void");
  method("InitFromIniFile(String, String) -> Boolean");
  method("SaveSettingsToIniFile(String, String) -> Void");
  method("Connect() -> Boolean");
  method("DisConnect() -> Void");
  method("Update() -> Boolean");
  method("ResetAutoUpdateErrorCount() -> Void");
  method("ErrorConstantToString(QRTXErrorConstants) -> String");
  e.push_back({MemberKind::PropertyPut, "AutoUpdateEnabled(Boolean) -> Void"});
  // properties
  for (const char* s : {"Active() -> Boolean", "SerialPort() -> Integer", "BaudRate() -> Long", "Parity() -> String",
                        "Connected() -> Boolean", "AutoUpdateEnabled() -> Boolean", "AutoUpdateErrorCount() -> Long",
                        "TimeSinceLastUpdate() -> Single", "AccumulatedTime() -> Single", "SlaveVersion() -> Single",
                        "TraceMessagesOn() -> Boolean", "UsingLiveData() -> Boolean", "LastFakeDataReadTime() -> Single",
                        "MeasuringDirection() -> Integer", "CurTest() -> QRTXTestIndeces",
                        "LastTestCompletionStatus() -> QRTXLTCSIndeces", "ASMTestMode() -> Byte",
                        "ConstantTargetTestMode() -> QRTXCTTModeIndeces", "VehSimTestAugBreakingEnabled() -> Boolean",
                        "CDTestTopWindowRun() -> Boolean", "CDTestBottomWindowRun() -> Boolean",
                        "VehSimTestOnlyIntegrateInWindow(Integer) -> Boolean"}) {
    get(s);
  }
  for (const char* n :
       {"PrimarySpeedMPH", "PrimaryAccelMPHPerSec", "ParasiticsTorque", "PAUTorque", "AccumulatedMiles", "LeftWeight",
        "RightWeight", "FrameTemp", "BearingTemp", "AvgISEPercent", "AccelTorque", "SecondarySpeedMPH", "FWDSpeedMPH",
        "WarmupTestTimeSeconds", "ParasiticsTestTopSpeedMPH", "ParasiticsTestBottomSpeedMPH", "ASM5015TRLHP",
        "ASM5015GTRLHP", "ASM2525TRLHP", "ASM2525GTRLHP", "ConstantTargetTestSpeedTarget",
        "ConstantTargetTestTorqueTarget", "ConstantTargetTestPowerTarget", "VehSimTestVehicleWeight",
        "VehSimTestTRLHPAt50", "VehSimTestGTRLHPAt50", "VehSimTestTRLHPAPF", "VehSimTestTRLHPBPF", "VehSimTestTRLHPCPF",
        "VehSimTestGTRLHPAPF", "VehSimTestGTRLHPBPF", "VehSimTestGTRLHPCPF", "ConstantTargetTestManualTarget",
        "ConstantTargetTestManualRampRate", "ConstantTargetTestSpeedRampRate", "ConstantTargetTestTorqueRampRate",
        "ConstantTargetTestPowerRampRate", "VehSimTestAugBreakingForceLimit", "VehSimTestAugBreakingForceMultiplier",
        "CDTestHiWinTopSpeed", "CDTestHiWinBottomSpeed", "CDTestHiWinTargetLoadHP", "CDTestLoWinTopSpeed",
        "CDTestLoWinBottomSpeed", "CDTestLoWinTargetLoadHP", "CDTestTopWindowCalcTime", "CDTestTopWindowActualTime",
        "CDTestTopWindowActualTopSpeed", "CDTestTopWindowActualBottomSpeed", "CDTestTopWindowActualHP",
        "CDTestBottomWindowCalcTime", "CDTestBottomWindowActualTime", "CDTestBottomWindowActualTopSpeed",
        "CDTestBottomWindowActualBottomSpeed", "CDTestBottomWindowActualHP", "RollDiameter", "TWDEquivalentWeight",
        "TWDTorqueVsMPHCurveA", "TWDTorqueVsMPHCurveB", "TWDTorqueVsMPHCurveC", "TWDRawTorqueVsMPHCurveA",
        "TWDRawTorqueVsMPHCurveB", "TWDRawTorqueVsMPHCurveC", "CalArmLength", "CalWeight", "ScaleCalArmRatio",
        "ScaleCalWeight", "PrimaryPulsesPerRev", "SecondaryPulsesPerRev", "RestraintBackoffTime", "PAUGearRatio",
        "TempInputLowCalDegreesF", "TempInputHighCalDegreesF", "TorquePIDP", "TorquePIDI", "TorquePIDD", "SpeedPIDP",
        "SpeedPIDI", "SpeedPIDD", "PAU1TorqueZeroVoltage", "PAU1TorquePosSpan", "PAU1TorqueNegSpan",
        "LeftScaleZeroVoltage", "LeftScalePosSpan", "LeftScaleNegSpan", "RightScaleZeroVoltage", "RightScalePosSpan",
        "RightScaleNegSpan", "FrameTempZeroVoltage", "FrameTempPosSpan", "FrameTempNegSpan", "BearingTempZeroVoltage",
        "BearingTempPosSpan", "BearingTempNegSpan", "FWDBaseDistanceZeroVoltage", "FWDBaseDistancePosSpan",
        "FWDBaseDistanceNegSpan", "FWDBaseMinWheelbase", "FWDBaseMaxWheelbase", "FWDBaseEquivalentWeight",
        "FWDPulsesPerRev", "FWDWheelBase", "FWDTorqueVsMPHCurveA", "FWDTorqueVsMPHCurveB", "FWDTorqueVsMPHCurveC",
        "FWDRawTorqueVsMPHCurveA", "FWDRawTorqueVsMPHCurveB", "FWDRawTorqueVsMPHCurveC"}) {
    e.push_back({MemberKind::PropertyGet, nullptr});
    e.back().signature = n;  // completed below as a Single getter
  }
  for (const char* n : {"LiftStatus", "LiftEnable", "MotorFault", "MotorOverTemp", "PAUIsOverTemp", "PAU1Enable",
                        "WarmupMotorEnable", "LeftRestraintIn", "RightRestraintIn", "LeftRestraintCentered",
                        "RightRestraintCentered", "RightRestraintMoving", "RetractFWDBaseEnable",
                        "VehSimTestAugBreakingActive", "VehSimTestInertiaSimEnabled", "RetraintsEdged",
                        "LeftRestraintMoving", "LiftOverride", "EStopPressed", "HasActiveRestaints", "IsFWDDyno",
                        "CenterRestraintsEnable", "EdgeRestraintsEnable", "EngageFWDBaseEnable", "ExtendFWDBaseEnable",
                        "FWDBaseAtExtendLimit", "FWDBaseAtRetractLimit", "FWDBaseLiftEnable", "FWDBaseLiftStatus",
                        "FWDBaseMoving"}) {
    e.push_back({MemberKind::PropertyGet, n});
  }
  for (const char* n : {"VehSimTestWindowStartTime", "VehSimTestWindowEndTime", "VehSimTestHPIntWinActualHPSum",
                        "VehSimTestHPIntWinTargetHPSum", "VehSimTestHPIntWinNumSamples", "VehSimTestHPIntWinAvgHPEHP",
                        "VehSimTestHPIntWinAvgHPEPercent", "VehSimTestHPIntWinInstHPEHP",
                        "VehSimTestHPIntWinInstHPEPercent"}) {
    e.push_back({MemberKind::PropertyGet, n});
  }
  // device commands, tests and parameters
  for (const char* s :
       {"RaiseLifts(Boolean, Boolean) -> QRTXErrorConstants", "LowerLifts(Boolean, Boolean) -> QRTXErrorConstants",
        "ResetTestDistance() -> QRTXErrorConstants", "ResetTestTime() -> QRTXErrorConstants",
        "SaveCalibrationToFLASH() -> QRTXErrorConstants",
        "SetSystemParameter(QRTXSysParamIndeces, Single) -> QRTXErrorConstants",
        "GetSystemParameter(Byte) -> QRTXErrorConstants", "GetSlaveVersion() -> QRTXErrorConstants",
        "GetASMTestParameters() -> QRTXErrorConstants", "GetVehSimTestParameters() -> QRTXErrorConstants",
        "GetConstantLoadTestParameters() -> QRTXErrorConstants",
        "GetConstantPowerTestParameters() -> QRTXErrorConstants",
        "GetConstantSpeedTestParameters() -> QRTXErrorConstants",
        "GetLastCoastdownTestResults() -> QRTXErrorConstants",
        "GetParasiticsAtSpeed(Single, Single&, Single&, Single&, Single&) -> QRTXErrorConstants",
        "StartTest(QRTXTestIndeces) -> QRTXErrorConstants", "StopTest() -> QRTXErrorConstants",
        "SpanAnalogInput(QRTXAnalogInputIndeces) -> QRTXErrorConstants",
        "SetWarmupTestParameters(Single) -> QRTXErrorConstants",
        "SetParasiticsTestParameters(Single, Single) -> QRTXErrorConstants",
        "SetConstantLoadTestParameters(Single, Single) -> QRTXErrorConstants",
        "SetConstantSpeedTestParameters(Single, Single) -> QRTXErrorConstants",
        "SetConstantPowerTestParameters(Single, Single) -> QRTXErrorConstants",
        "SetConstantTargetTestingMode(QRTXCTTModeIndeces) -> QRTXErrorConstants",
        "SetASMTestParameters(QRTXASMTestModeIndeces, Single, Single, Single, Single) -> QRTXErrorConstants",
        "SetVehSimTestParameters(Boolean, Boolean, Single, Single, Single, Single, Single, Single, Single, Single, "
        "Single, Single, Single) -> QRTXErrorConstants",
        "SetCoastdownTestParameters(Single, Single, Single, Single, Single, Single) -> QRTXErrorConstants"}) {
    method(s);
  }
  // placeholders
  for (const char* n : {"GetAnalogInputCalibration", "SetAnalogInputCalibration", "ZeroAnalogInput", "GetPIDConstants",
                        "GetManualLoadTestParameters", "SetManualLoadTestParameters", "GetVehSimTestHPIntWinErrors",
                        "GetVehSimTestHPIntWinParameters", "SetVehSimTestHPIntWinParameters",
                        "PositiveVoltageSpanAnalogInput", "NegativeVoltageSpanAnalogInput", "SetPIDConstants",
                        "ResetPIDValues", "ResetParasitics", "ResetVehSimTestHPIntWinErrors", "ResetVehSimTestISE",
                        "SetFWDBaseDistance", "SetFWDBaseState", "RetractFWDBaseToLimit", "StopFWDBase",
                        "StopRestraints", "StartUsingLiveData", "StartFakeDataPlayBack", "CenterRestraints",
                        "EdgeRestraints", "ExtendFWDBaseToLimit", "GetCoastdownTestParameters", "GetParasiticsCurves",
                        "GetParasiticsTestParameters", "GetWarmupTestParameters"}) {
    method(n);
  }
  return e;
}

TEST(MemberTable, EveryDocumentedMemberIsThereWithItsKindAndTypes) {
  std::set<std::pair<int, std::string>> seen;
  for (const Expected& x : Documented()) {
    std::string sig = x.signature;
    std::string name = sig.substr(0, sig.find('('));
    const MemberInfo* m = FindMember(name, x.kind);
    ASSERT_NE(m, nullptr) << name;
    std::string actual = Signature(*m);
    if (sig.find('(') != std::string::npos) {
      EXPECT_EQ(actual, sig);
    } else if (x.kind == MemberKind::PropertyGet) {
      // A bare property name: a Single, a Boolean flag, or a Single indexed by WhichWin.
      EXPECT_TRUE(actual == name + "() -> Single" || actual == name + "() -> Boolean" ||
                  actual == name + "(Integer) -> Single")
          << actual;
    } else {
      // A placeholder method: whatever its parameters, its result is documented.
      bool boolResult = name == "StartUsingLiveData" || name == "StartFakeDataPlayBack";
      EXPECT_EQ(AutoTypeName(m->result), boolResult ? "Boolean" : "QRTXErrorConstants") << name;
    }
    seen.insert({static_cast<int>(x.kind), name});
  }
  for (const MemberInfo& m : MemberTable()) {
    EXPECT_TRUE(seen.count({static_cast<int>(m.kind), m.name}) == 1) << "undocumented member " << m.name;
  }
  EXPECT_EQ(seen.size(), MemberTable().size()) << "each member listed once";
}

TEST(MemberTable, OnlyMembersThatTalkToTheDyneCanWait) {
  std::set<std::string> waiting;
  for (const MemberInfo& m : MemberTable()) {
    if (m.canWait) waiting.insert(m.name);
  }
  for (const char* n : {"Connect", "DisConnect", "Update", "AvgISEPercent", "RaiseLifts", "StopTest",
                        "SpanAnalogInput", "SaveCalibrationToFLASH", "SetConstantLoadTestParameters"}) {
    EXPECT_EQ(waiting.count(n), 1u) << n;
  }
  for (const char* n : {"Init", "StartTest", "PrimarySpeedMPH", "SetWarmupTestParameters",
                        "SetCoastdownTestParameters", "ResetTestTime", "GetParasiticsAtSpeed", "CurTest"}) {
    EXPECT_EQ(waiting.count(n), 0u) << n;
  }
}

// Every property of the interface's property tables, with the result type the tables give.
TEST(MemberTable, EveryPropertyReadsAsItsDocumentedType) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> byType = {
      {"Boolean",
       {"Active", "Connected", "AutoUpdateEnabled", "TraceMessagesOn", "UsingLiveData", "LiftStatus",
        "LiftEnable", "MotorFault", "MotorOverTemp", "PAUIsOverTemp", "PAU1Enable", "WarmupMotorEnable",
        "LeftRestraintIn", "RightRestraintIn", "LeftRestraintCentered", "RightRestraintCentered",
        "RightRestraintMoving", "RetractFWDBaseEnable", "VehSimTestAugBreakingActive",
        "VehSimTestInertiaSimEnabled", "RetraintsEdged", "LeftRestraintMoving", "LiftOverride", "EStopPressed",
        "HasActiveRestaints", "IsFWDDyno", "CenterRestraintsEnable", "EdgeRestraintsEnable",
        "EngageFWDBaseEnable", "ExtendFWDBaseEnable", "FWDBaseAtExtendLimit", "FWDBaseAtRetractLimit",
        "FWDBaseLiftEnable", "FWDBaseLiftStatus", "FWDBaseMoving"}},
      {"Integer",
       {"SerialPort", "MeasuringDirection"}},
      {"Long",
       {"BaudRate", "AutoUpdateErrorCount"}},
      {"String",
       {"Parity"}},
      {"Single",
       {"TimeSinceLastUpdate", "AccumulatedTime", "SlaveVersion", "LastFakeDataReadTime", "PrimarySpeedMPH",
        "PrimaryAccelMPHPerSec", "ParasiticsTorque", "PAUTorque", "AccumulatedMiles", "LeftWeight",
        "RightWeight", "FrameTemp", "BearingTemp", "AvgISEPercent", "AccelTorque", "SecondarySpeedMPH",
        "FWDSpeedMPH", "RollDiameter", "TWDEquivalentWeight", "TWDTorqueVsMPHCurveA", "TWDTorqueVsMPHCurveB",
        "TWDTorqueVsMPHCurveC", "TWDRawTorqueVsMPHCurveA", "TWDRawTorqueVsMPHCurveB",
        "TWDRawTorqueVsMPHCurveC", "CalArmLength", "CalWeight", "ScaleCalArmRatio", "ScaleCalWeight",
        "PrimaryPulsesPerRev", "SecondaryPulsesPerRev", "RestraintBackoffTime", "PAUGearRatio",
        "TempInputLowCalDegreesF", "TempInputHighCalDegreesF", "TorquePIDP", "TorquePIDI", "TorquePIDD",
        "SpeedPIDP", "SpeedPIDI", "SpeedPIDD", "PAU1TorqueZeroVoltage", "PAU1TorquePosSpan",
        "PAU1TorqueNegSpan", "LeftScaleZeroVoltage", "LeftScalePosSpan", "LeftScaleNegSpan",
        "RightScaleZeroVoltage", "RightScalePosSpan", "RightScaleNegSpan", "FrameTempZeroVoltage",
        "FrameTempPosSpan", "FrameTempNegSpan", "BearingTempZeroVoltage", "BearingTempPosSpan",
        "BearingTempNegSpan", "FWDBaseDistanceZeroVoltage", "FWDBaseDistancePosSpan", "FWDBaseDistanceNegSpan",
        "FWDBaseMinWheelbase", "FWDBaseMaxWheelbase", "FWDBaseEquivalentWeight", "FWDPulsesPerRev",
        "FWDWheelBase", "FWDTorqueVsMPHCurveA", "FWDTorqueVsMPHCurveB", "FWDTorqueVsMPHCurveC",
        "FWDRawTorqueVsMPHCurveA", "FWDRawTorqueVsMPHCurveB", "FWDRawTorqueVsMPHCurveC"}},
      {"QRTXTestIndeces",
       {"CurTest"}},
      {"QRTXLTCSIndeces",
       {"LastTestCompletionStatus"}},
      {"Byte",
       {"ASMTestMode"}},
      {"QRTXCTTModeIndeces",
       {"ConstantTargetTestMode"}},
  };
  size_t checked = 0;
  for (const auto& [type, names] : byType) {
    for (const std::string& name : names) {
      const MemberInfo* m = FindMember(name, MemberKind::PropertyGet);
      ASSERT_NE(m, nullptr) << name;
      EXPECT_EQ(AutoTypeName(m->result), type) << name;
      ++checked;
    }
  }
  EXPECT_EQ(checked, 114u);
}

}  // namespace
}  // namespace tavkelo
