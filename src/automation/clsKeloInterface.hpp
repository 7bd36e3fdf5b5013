#pragma once
// clsKeloInterface: the one public class of the server. A client creates an object, calls Init
// and Connect, then reads live values as properties and issues commands. Every object of the
// process shares one link, one readings store and one running test (KeloContext).
//
// The implementation is split by member group: lifecycle and connection (clsKeloInterface.cpp),
// properties (clsKeloInterfaceProperties.cpp), device commands and tests
// (clsKeloInterfaceCommands.cpp), test parameters (clsKeloInterfaceParameters.cpp) and the
// published placeholders (clsKeloInterfacePlaceholders.cpp).

#include <cstdint>
#include <functional>
#include <string>

#include "members/KeloEnums.hpp"

namespace tavkelo {

class KeloContext;

class clsKeloInterface {
 public:
  explicit clsKeloInterface(KeloContext& ctx);  // Class_Initialize
  ~clsKeloInterface();                          // Class_Terminate
  clsKeloInterface(const clsKeloInterface&) = delete;
  clsKeloInterface& operator=(const clsKeloInterface&) = delete;

  KeloContext& Context() { return ctx_; }

  // ---- lifecycle, connection and settings ---------------------------------------------------
  void Init(bool BeActive, int16_t SerialPort, int32_t BaudRate, const std::string& Parity);
  bool InitFromIniFile(const std::string& IniFileName, const std::string& SectionName);
  void SaveSettingsToIniFile(const std::string& IniFile, const std::string& SectionName);
  bool Connect();
  void DisConnect();
  bool Update();
  void ResetAutoUpdateErrorCount();
  std::string ErrorConstantToString(QRTXErrorConstants TheError);

  // ---- properties: link and settings ----------------------------------------------------------
  bool Active();
  int16_t SerialPort();
  int32_t BaudRate();
  std::string Parity();
  bool Connected();
  bool AutoUpdateEnabled();
  void AutoUpdateEnabled(bool value);
  int32_t AutoUpdateErrorCount();
  float TimeSinceLastUpdate();
  float AccumulatedTime();
  float SlaveVersion();
  bool TraceMessagesOn();
  bool UsingLiveData();
  float LastFakeDataReadTime();

  // ---- properties: live measurements --------------------------------------------------------
  float PrimarySpeedMPH();
  float PrimaryAccelMPHPerSec();
  float ParasiticsTorque();
  float PAUTorque();
  float AccumulatedMiles();
  float LeftWeight();
  float RightWeight();
  float FrameTemp();
  float BearingTemp();
  int16_t MeasuringDirection();
  float AvgISEPercent();
  float AccelTorque();
  float SecondarySpeedMPH();
  float FWDSpeedMPH();

  // ---- properties: status flags -----------------------------------------------------------------
  bool LiftStatus();
  bool LiftEnable();
  bool MotorFault();
  bool MotorOverTemp();
  bool PAUIsOverTemp();
  bool PAU1Enable();
  bool WarmupMotorEnable();
  bool LeftRestraintIn();
  bool RightRestraintIn();
  bool LeftRestraintCentered();
  bool RightRestraintCentered();
  bool RightRestraintMoving();
  bool RetractFWDBaseEnable();
  bool VehSimTestAugBreakingActive();
  bool VehSimTestInertiaSimEnabled();
  bool RetraintsEdged();
  bool LeftRestraintMoving();
  bool LiftOverride();
  bool EStopPressed();
  bool HasActiveRestaints();
  bool IsFWDDyno();
  bool CenterRestraintsEnable();
  bool EdgeRestraintsEnable();
  bool EngageFWDBaseEnable();
  bool ExtendFWDBaseEnable();
  bool FWDBaseAtExtendLimit();
  bool FWDBaseAtRetractLimit();
  bool FWDBaseLiftEnable();
  bool FWDBaseLiftStatus();
  bool FWDBaseMoving();

  // ---- properties: test state and parameters --------------------------------------------------
  QRTXTestIndeces CurTest();
  QRTXLTCSIndeces LastTestCompletionStatus();
  uint8_t ASMTestMode();
  QRTXCTTModeIndeces ConstantTargetTestMode();
  float WarmupTestTimeSeconds();
  float ParasiticsTestTopSpeedMPH();
  float ParasiticsTestBottomSpeedMPH();
  float ASM5015TRLHP();
  float ASM5015GTRLHP();
  float ASM2525TRLHP();
  float ASM2525GTRLHP();
  float ConstantTargetTestSpeedTarget();
  float ConstantTargetTestTorqueTarget();
  float ConstantTargetTestPowerTarget();
  float VehSimTestVehicleWeight();
  float VehSimTestTRLHPAt50();
  float VehSimTestGTRLHPAt50();
  float VehSimTestTRLHPAPF();
  float VehSimTestTRLHPBPF();
  float VehSimTestTRLHPCPF();
  float VehSimTestGTRLHPAPF();
  float VehSimTestGTRLHPBPF();
  float VehSimTestGTRLHPCPF();
  bool VehSimTestAugBreakingEnabled();
  float ConstantTargetTestManualTarget();
  float ConstantTargetTestManualRampRate();
  float ConstantTargetTestSpeedRampRate();
  float ConstantTargetTestTorqueRampRate();
  float ConstantTargetTestPowerRampRate();
  float VehSimTestAugBreakingForceLimit();
  float VehSimTestAugBreakingForceMultiplier();
  float VehSimTestWindowStartTime(int16_t WhichWin);
  float VehSimTestWindowEndTime(int16_t WhichWin);
  float VehSimTestHPIntWinActualHPSum(int16_t WhichWin);
  float VehSimTestHPIntWinTargetHPSum(int16_t WhichWin);
  float VehSimTestHPIntWinNumSamples(int16_t WhichWin);
  float VehSimTestHPIntWinAvgHPEHP(int16_t WhichWin);
  float VehSimTestHPIntWinAvgHPEPercent(int16_t WhichWin);
  float VehSimTestHPIntWinInstHPEHP(int16_t WhichWin);
  float VehSimTestHPIntWinInstHPEPercent(int16_t WhichWin);
  bool VehSimTestOnlyIntegrateInWindow(int16_t WhichWin);

  // ---- properties: coastdown parameters and results -------------------------------------------
  float CDTestHiWinTopSpeed();
  float CDTestHiWinBottomSpeed();
  float CDTestHiWinTargetLoadHP();
  float CDTestLoWinTopSpeed();
  float CDTestLoWinBottomSpeed();
  float CDTestLoWinTargetLoadHP();
  bool CDTestTopWindowRun();
  float CDTestTopWindowCalcTime();
  float CDTestTopWindowActualTime();
  float CDTestTopWindowActualTopSpeed();
  float CDTestTopWindowActualBottomSpeed();
  float CDTestTopWindowActualHP();
  bool CDTestBottomWindowRun();
  float CDTestBottomWindowCalcTime();
  float CDTestBottomWindowActualTime();
  float CDTestBottomWindowActualTopSpeed();
  float CDTestBottomWindowActualBottomSpeed();
  float CDTestBottomWindowActualHP();

  // ---- properties: dyne constants ---------------------------------------------------------------
  float RollDiameter();
  float TWDEquivalentWeight();
  float TWDTorqueVsMPHCurveA();
  float TWDTorqueVsMPHCurveB();
  float TWDTorqueVsMPHCurveC();
  float TWDRawTorqueVsMPHCurveA();
  float TWDRawTorqueVsMPHCurveB();
  float TWDRawTorqueVsMPHCurveC();
  float CalArmLength();
  float CalWeight();
  float ScaleCalArmRatio();
  float ScaleCalWeight();
  float PrimaryPulsesPerRev();
  float SecondaryPulsesPerRev();
  float RestraintBackoffTime();
  float PAUGearRatio();
  float TempInputLowCalDegreesF();
  float TempInputHighCalDegreesF();
  float TorquePIDP();
  float TorquePIDI();
  float TorquePIDD();
  float SpeedPIDP();
  float SpeedPIDI();
  float SpeedPIDD();
  float PAU1TorqueZeroVoltage();
  float PAU1TorquePosSpan();
  float PAU1TorqueNegSpan();
  float LeftScaleZeroVoltage();
  float LeftScalePosSpan();
  float LeftScaleNegSpan();
  float RightScaleZeroVoltage();
  float RightScalePosSpan();
  float RightScaleNegSpan();
  float FrameTempZeroVoltage();
  float FrameTempPosSpan();
  float FrameTempNegSpan();
  float BearingTempZeroVoltage();
  float BearingTempPosSpan();
  float BearingTempNegSpan();
  float FWDBaseDistanceZeroVoltage();
  float FWDBaseDistancePosSpan();
  float FWDBaseDistanceNegSpan();
  float FWDBaseMinWheelbase();
  float FWDBaseMaxWheelbase();
  float FWDBaseEquivalentWeight();
  float FWDPulsesPerRev();
  float FWDWheelBase();
  float FWDTorqueVsMPHCurveA();
  float FWDTorqueVsMPHCurveB();
  float FWDTorqueVsMPHCurveC();
  float FWDRawTorqueVsMPHCurveA();
  float FWDRawTorqueVsMPHCurveB();
  float FWDRawTorqueVsMPHCurveC();

  // ---- device commands and tests --------------------------------------------------------------
  QRTXErrorConstants RaiseLifts(bool TWDLift, bool FWDLift);
  QRTXErrorConstants LowerLifts(bool TWDLift, bool FWDLift);
  QRTXErrorConstants ResetTestDistance();
  QRTXErrorConstants ResetTestTime();
  QRTXErrorConstants SaveCalibrationToFLASH();
  QRTXErrorConstants SetSystemParameter(QRTXSysParamIndeces WhichParam, float NewValue);
  QRTXErrorConstants GetSystemParameter(uint8_t WhichParam);
  QRTXErrorConstants GetSlaveVersion();
  QRTXErrorConstants GetASMTestParameters();
  QRTXErrorConstants GetVehSimTestParameters();
  QRTXErrorConstants GetConstantLoadTestParameters();
  QRTXErrorConstants GetConstantPowerTestParameters();
  QRTXErrorConstants GetConstantSpeedTestParameters();
  QRTXErrorConstants GetLastCoastdownTestResults();
  QRTXErrorConstants GetParasiticsAtSpeed(float TheSpeed, float& TWDRawPara, float& FWDRawPara,
                                          float& TWDUnseenPara, float& FWDUnseenPara);
  QRTXErrorConstants StartTest(QRTXTestIndeces TestIndex);
  QRTXErrorConstants StopTest();
  QRTXErrorConstants SpanAnalogInput(QRTXAnalogInputIndeces WhichInput);

  // ---- test parameters ------------------------------------------------------------------------
  QRTXErrorConstants SetWarmupTestParameters(float NewWarmupTimeSeconds);
  QRTXErrorConstants SetParasiticsTestParameters(float NewTopSpeedMPH, float NewBottomSpeedMPH);
  QRTXErrorConstants SetConstantLoadTestParameters(float NewTargetFtLbs,
                                                   float NewRamprateFtLbsPerSecond);
  QRTXErrorConstants SetConstantSpeedTestParameters(float NewTargetMPH,
                                                    float NewRampRateMPHPerSecond);
  QRTXErrorConstants SetConstantPowerTestParameters(float NewTargetHP,
                                                    float NewRampRateHPPerSecond);
  QRTXErrorConstants SetConstantTargetTestingMode(QRTXCTTModeIndeces NewTestingMode);
  QRTXErrorConstants SetASMTestParameters(QRTXASMTestModeIndeces ASMTestMode, float ASM5015TRLHP,
                                          float ASM5015GTRLHP, float ASM2525TRLHP,
                                          float ASM2525GTRLHP);
  QRTXErrorConstants SetVehSimTestParameters(
      bool VehSimTestInertiaSimEnabled, bool VehSimTestAugBrakingEnabled,
      float VehSimTestAugBrakingForceLimit, float VehSimTestAugBrakingForceMultiplier,
      float VehSimTestVehicleWeight, float VehSimTestTRLHPAt50, float VehSimTestGTRLHPAt50,
      float VehSimTestTRLHPAPF, float VehSimTestTRLHPBPF, float VehSimTestTRLHPCPF,
      float VehSimTestGTRLHPAPF, float VehSimTestGTRLHPBPF, float VehSimTestGTRLHPCPF);
  QRTXErrorConstants SetCoastdownTestParameters(float NewHiWinHiSpeed, float NewHiWinLoSpeed,
                                                float NewHiWinLoadHP, float NewLoWinHiSpeed,
                                                float NewLoWinLoSpeed, float NewLoWinLoadHP);

  // ---- published placeholders -------------------------------------------------------------------
  QRTXErrorConstants GetAnalogInputCalibration(QRTXAnalogInputIndeces WhichInput,
                                               float& ZeroVoltage, float& PosSpan, float& NegSpan);
  QRTXErrorConstants SetAnalogInputCalibration(QRTXAnalogInputIndeces WhichInput, float ZeroVoltage,
                                               float PosSpan, float NegSpan);
  QRTXErrorConstants ZeroAnalogInput(QRTXAnalogInputIndeces WhichInput);
  QRTXErrorConstants GetPIDConstants(QRTXPIDIndeces WhichPID, float& PValue, float& IValue,
                                     float& DValue);
  QRTXErrorConstants GetManualLoadTestParameters();
  QRTXErrorConstants SetManualLoadTestParameters(float NewTarget, float NewRampRate);
  QRTXErrorConstants GetVehSimTestHPIntWinErrors(int16_t WhichWin);
  QRTXErrorConstants GetVehSimTestHPIntWinParameters(int16_t WhichWin);
  QRTXErrorConstants SetVehSimTestHPIntWinParameters(int16_t WhichWin, float StartTime,
                                                     float EndTime, bool OnlyIntegrateInWindow);
  QRTXErrorConstants PositiveVoltageSpanAnalogInput(QRTXAnalogInputIndeces WhichInput);
  QRTXErrorConstants NegativeVoltageSpanAnalogInput(QRTXAnalogInputIndeces WhichInput);
  QRTXErrorConstants SetPIDConstants(QRTXPIDIndeces WhichPID, float PValue, float IValue,
                                     float DValue);
  QRTXErrorConstants ResetPIDValues(QRTXPIDIndeces WhichPID);
  QRTXErrorConstants ResetParasitics();
  QRTXErrorConstants ResetVehSimTestHPIntWinErrors(int16_t WhichWin);
  QRTXErrorConstants ResetVehSimTestISE();
  QRTXErrorConstants SetFWDBaseDistance(float NewDistance);
  QRTXErrorConstants SetFWDBaseState(bool Engage);
  QRTXErrorConstants RetractFWDBaseToLimit();
  QRTXErrorConstants StopFWDBase();
  QRTXErrorConstants StopRestraints();
  bool StartUsingLiveData();
  bool StartFakeDataPlayBack(const std::string& FakeDataFileName);
  QRTXErrorConstants CenterRestraints();
  QRTXErrorConstants EdgeRestraints();
  QRTXErrorConstants ExtendFWDBaseToLimit();
  QRTXErrorConstants GetCoastdownTestParameters();
  QRTXErrorConstants GetParasiticsCurves();
  QRTXErrorConstants GetParasiticsTestParameters();
  QRTXErrorConstants GetWarmupTestParameters();

 private:
  int32_t ConnectHandshake();
  int32_t ReadDyneInformation();
  void LogInformationDump();
  void SuspendDyneReadings();
  void ResumeDyneReadings();
  int32_t Send(int32_t command, uint8_t variable = 0, float value = 0.0f);
  // Asks the running test or calibration, if any, to stop.
  void RequestStops();

  // Writes "clsKeloInterface: " + text while the ClsCal flag is on.
  void LogCall(const std::string& text);
  // Logs "clsKeloInterface: " + name + " - " + the error text and returns the result.
  QRTXErrorConstants Finish(const std::string& name, QRTXErrorConstants result);
  // The common pattern of a command method: link and checks done by the caller, then the chain
  // of exchanges under the interface lock; the chain stops at the first error.
  QRTXErrorConstants RunCommands(const std::string& name, const std::string& announce,
                                 const std::function<QRTXErrorConstants()>& chain);
  // Placeholders.
  template <class T>
  T NotImplemented(const char* name, T value);
  template <class T>
  T Locked(const std::function<T()>& read);

  KeloContext& ctx_;
  bool Active_ = false;
  int16_t SerialPort_ = 0;
  int32_t BaudRate_ = 0;
  std::string Parity_;
  std::string CommSettings_;
  bool rememberedLift_ = false;
};

}  // namespace tavkelo
