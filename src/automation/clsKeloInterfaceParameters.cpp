// Test-parameter methods of clsKeloInterface: validation, rounding and clamps, the writes to the
// controller where a parameter lives there, and their log blocks.

#include <algorithm>
#include <cmath>

#include "automation/clsKeloInterfaceInternal.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
const std::string kLine = "\r\n                  ";

std::string Num(float value, const char* format = "#0.00") {
  return VbFormat(value, format);
}

// Runs the writes in order and stops at the first that fails.
QRTXErrorConstants Writes(std::initializer_list<std::function<int32_t()>> steps) {
  for (const auto& step : steps) {
    QRTXErrorConstants result = DeviceResultToError(step());
    if (result != gQRTXErrNoError) return result;
  }
  return gQRTXErrNoError;
}
}  // namespace

QRTXErrorConstants clsKeloInterface::SetWarmupTestParameters(float NewWarmupTimeSeconds) {
  QRTXErrorConstants result = gQRTXErrNoError;
  int32_t seconds = 0;
  if (std::isnan(NewWarmupTimeSeconds)) {
    result = gQRTXErrInvalidParameter;
  } else {
    // Whole seconds; anything above 99999 is held at 99999, anything below 10 refused.
    seconds = VbCLng(std::clamp(NewWarmupTimeSeconds, -99999.0f, 99999.0f));
    if (seconds < 10) result = gQRTXErrInvalidParameter;
  }
  if (result == gQRTXErrNoError) ctx_.params.WarmupTimeSeconds = seconds;
  LogCall("SetWarmupTestParameters[" + std::to_string(seconds) + " seconds] - " +
          ErrorToString(result));
  return result;
}

QRTXErrorConstants clsKeloInterface::SetParasiticsTestParameters(float NewTopSpeedMPH,
                                                                 float NewBottomSpeedMPH) {
  // Only stored and reported back: the test's windows are fixed.
  if (!(NewTopSpeedMPH >= 15.0f && NewTopSpeedMPH <= 60.0f) || NewBottomSpeedMPH != 10.0f) {
    return gQRTXErrInvalidParameter;
  }
  ctx_.params.ParasiticsTopSpeedMPH = NewTopSpeedMPH;
  ctx_.params.ParasiticsBottomSpeedMPH = NewBottomSpeedMPH;
  return gQRTXErrNoError;
}

QRTXErrorConstants clsKeloInterface::SetConstantLoadTestParameters(float NewTargetFtLbs, float) {
  const std::string name = "SetConstantLoadTestParameters";
  const std::string block = name + "..." + kLine + "Load Ft-Lb: " + Num(NewTargetFtLbs);
  if (!ctx_.polling.Connected()) return Finish(block, gQRTXErrNoLinkToDevice);
  if (!(NewTargetFtLbs <= 1000.0f)) return Finish(block, gQRTXErrInvalidParameter);
  SuspendDyneReadings();
  QRTXErrorConstants result =
      DeviceResultToError(Send(cmd::WriteVariable, var::TORQUETARGET, NewTargetFtLbs));
  ResumeDyneReadings();
  if (result == gQRTXErrNoError) ctx_.params.ConstantTargetTestTorqueTarget = NewTargetFtLbs;
  return Finish(block, result);
}

QRTXErrorConstants clsKeloInterface::SetConstantSpeedTestParameters(float NewTargetMPH, float) {
  const std::string name = "SetConstantSpeedTestParameters";
  const std::string block = name + "..." + kLine + "Speed: " + Num(NewTargetMPH, "#0.0") + " MPH";
  if (!ctx_.polling.Connected()) return Finish(block, gQRTXErrNoLinkToDevice);
  if (!(NewTargetMPH <= 100.0f)) return Finish(block, gQRTXErrInvalidParameter);
  SuspendDyneReadings();
  QRTXErrorConstants result =
      DeviceResultToError(Send(cmd::WriteVariable, var::SPEEDTARGET, NewTargetMPH));
  ResumeDyneReadings();
  if (result == gQRTXErrNoError) ctx_.params.ConstantTargetTestSpeedTarget = NewTargetMPH;
  return Finish(block, result);
}

QRTXErrorConstants clsKeloInterface::SetConstantPowerTestParameters(float NewTargetHP, float) {
  const std::string name = "SetConstantPowerTestParameters";
  const std::string block = name + "..." + kLine + "Power HP: " + Num(NewTargetHP);
  if (!ctx_.polling.Connected()) return Finish(block, gQRTXErrNoLinkToDevice);
  if (!(NewTargetHP <= 100.0f)) return Finish(block, gQRTXErrInvalidParameter);
  SuspendDyneReadings();
  QRTXErrorConstants result =
      Writes({[&] { return Send(cmd::WriteVariable, var::ASMPWRTARGET, NewTargetHP); },
              [&] { return Send(cmd::WriteVariable, var::ASMGTRL, 0.0f); },
              [&] { return Send(cmd::WriteVariable, var::ASMSPEED, 15.0f); }});
  ResumeDyneReadings();
  if (result == gQRTXErrNoError) ctx_.params.ConstantTargetTestPowerTarget = NewTargetHP;
  return Finish(block, result);
}

QRTXErrorConstants clsKeloInterface::SetConstantTargetTestingMode(
    QRTXCTTModeIndeces NewTestingMode) {
  static const char* kNames[] = {"Manual", "Load(Torque FtLb)", "Speed", "Power(HP)"};
  bool valid = NewTestingMode >= gQRTXCTTMIManual && NewTestingMode <= gQRTXCTTMIPower;
  const std::string block = std::string("SetConstantTargetTestingMode...") + kLine + "Mode: " +
                            (valid ? kNames[NewTestingMode] : std::to_string(NewTestingMode));
  if (!ctx_.polling.Connected()) return Finish(block, gQRTXErrNoLinkToDevice);
  if (!valid) return Finish(block, gQRTXErrInvalidParameter);
  ctx_.params.ConstantTargetTestMode = NewTestingMode;
  return Finish(block, gQRTXErrNoError);
}

QRTXErrorConstants clsKeloInterface::SetASMTestParameters(QRTXASMTestModeIndeces ASMTestMode,
                                                          float ASM5015TRLHP, float ASM5015GTRLHP,
                                                          float ASM2525TRLHP, float ASM2525GTRLHP) {
  bool valid = ASMTestMode == gQRTXASMTMI5015 || ASMTestMode == gQRTXASMTMI2525;
  const std::string block = std::string("SetASMTestParameters...") + kLine + "ASM Mode: " +
                            (ASMTestMode == gQRTXASMTMI2525 ? "2525"
                             : valid                        ? "5015"
                                                            : std::to_string(ASMTestMode)) +
                            kLine + "5015 - TRLHP: " + Num(ASM5015TRLHP) +
                            " GTRLHP: " + Num(ASM5015GTRLHP) + kLine +
                            "2525 - TRLHP: " + Num(ASM2525TRLHP) + " GTRLHP: " + Num(ASM2525GTRLHP);
  if (!ctx_.polling.Connected()) return Finish(block, gQRTXErrNoLinkToDevice);
  if (!valid) return Finish(block, gQRTXErrInvalidParameter);
  bool is5015 = ASMTestMode == gQRTXASMTMI5015;
  float power = is5015 ? ASM5015TRLHP : ASM2525TRLHP;
  float gtrl = is5015 ? ASM5015GTRLHP : ASM2525GTRLHP;
  float speed = is5015 ? 15.0f : 25.0f;
  SuspendDyneReadings();
  QRTXErrorConstants result =
      Writes({[&] { return Send(cmd::WriteVariable, var::ASMPWRTARGET, power); },
              [&] { return Send(cmd::WriteVariable, var::ASMGTRL, gtrl); },
              [&] { return Send(cmd::WriteVariable, var::ASMSPEED, speed); }});
  ResumeDyneReadings();
  if (result == gQRTXErrNoError) {
    TestParameters& p = ctx_.params;
    p.ASMTestMode = static_cast<uint8_t>(ASMTestMode);
    p.ASM5015TRLHP = ASM5015TRLHP;
    p.ASM5015GTRLHP = ASM5015GTRLHP;
    p.ASM2525TRLHP = ASM2525TRLHP;
    p.ASM2525GTRLHP = ASM2525GTRLHP;
    // The GTRL power as a torque at the ASM speed; PAUTorque leaves it out during an ASM test.
    p.AsmGtrlTorque = speed == 0.0f ? 0.0f : ctx_.store.TorqueSpeedFactor * gtrl / speed;
  }
  return Finish(block, result);
}

QRTXErrorConstants clsKeloInterface::SetVehSimTestParameters(
    bool, bool VehSimTestAugBrakingEnabled, float, float, float VehSimTestVehicleWeight,
    float VehSimTestTRLHPAt50, float VehSimTestGTRLHPAt50, float VehSimTestTRLHPAPF,
    float VehSimTestTRLHPBPF, float VehSimTestTRLHPCPF, float VehSimTestGTRLHPAPF,
    float VehSimTestGTRLHPBPF, float VehSimTestGTRLHPCPF) {
  const std::string block = std::string("SetVehSimTestParameters...") + kLine +
                            "Vehicle Weight: " + Num(VehSimTestVehicleWeight) + kLine +
                            "TRLHP  @ 50   : " + Num(VehSimTestTRLHPAt50) + kLine +
                            "GTRLHP @ 50   : " + Num(VehSimTestGTRLHPAt50) + kLine +
                            "TRLHP  Coef A : " + Num(VehSimTestTRLHPAPF, "#0.00000") + kLine +
                            "TRLHP  Coef B : " + Num(VehSimTestTRLHPBPF, "#0.00000") + kLine +
                            "TRLHP  Coef C : " + Num(VehSimTestTRLHPCPF, "#0.00000") + kLine +
                            "GTRLHP Coef A : " + Num(VehSimTestGTRLHPAPF, "#0.00000") + kLine +
                            "GTRLHP Coef B : " + Num(VehSimTestGTRLHPBPF, "#0.00000") + kLine +
                            "GTRLHP Coef C : " + Num(VehSimTestGTRLHPCPF, "#0.00000");
  if (!ctx_.polling.Connected()) return Finish(block, gQRTXErrNoLinkToDevice);
  SuspendDyneReadings();
  // The road-load curve goes to the DSR terms, the GTRL curve to the GTRL terms.
  QRTXErrorConstants result =
      Writes({[&] { return Send(cmd::WriteVariable, var::DSR_VEHWEIGHT, VehSimTestVehicleWeight); },
              [&] { return Send(cmd::WriteVariable, var::DSR_A, VehSimTestTRLHPAPF); },
              [&] { return Send(cmd::WriteVariable, var::DSR_B, VehSimTestTRLHPBPF); },
              [&] { return Send(cmd::WriteVariable, var::DSR_C, VehSimTestTRLHPCPF); },
              [&] { return Send(cmd::WriteVariable, var::GTRL_A, VehSimTestGTRLHPAPF); },
              [&] { return Send(cmd::WriteVariable, var::GTRL_B, VehSimTestGTRLHPBPF); },
              [&] { return Send(cmd::WriteVariable, var::GTRL_C, VehSimTestGTRLHPCPF); }});
  ResumeDyneReadings();
  if (result == gQRTXErrNoError) {
    TestParameters& p = ctx_.params;
    p.VehSimTestAugBreakingEnabled = VehSimTestAugBrakingEnabled;
    p.VehSimTestVehicleWeight = VehSimTestVehicleWeight;
    p.VehSimTestTRLHPAt50 = VehSimTestTRLHPAt50;
    p.VehSimTestGTRLHPAt50 = VehSimTestGTRLHPAt50;
    p.VehSimTestTRLHPAPF = VehSimTestTRLHPAPF;
    p.VehSimTestTRLHPBPF = VehSimTestTRLHPBPF;
    p.VehSimTestTRLHPCPF = VehSimTestTRLHPCPF;
    p.VehSimTestGTRLHPAPF = VehSimTestGTRLHPAPF;
    p.VehSimTestGTRLHPBPF = VehSimTestGTRLHPBPF;
    p.VehSimTestGTRLHPCPF = VehSimTestGTRLHPCPF;
  }
  return Finish(block, result);
}

QRTXErrorConstants clsKeloInterface::SetCoastdownTestParameters(
    float NewHiWinHiSpeed, float NewHiWinLoSpeed, float NewHiWinLoadHP, float NewLoWinHiSpeed,
    float NewLoWinLoSpeed, float NewLoWinLoadHP) {
  const std::string block = std::string("SetCoastdownTestParameters...") + kLine +
                            "Hi Window: " + Num(NewHiWinHiSpeed, "#0.0") + " - " +
                            Num(NewHiWinLoSpeed, "#0.0") + " MPH  " + Num(NewHiWinLoadHP) + " HP" +
                            kLine + "Lo Window: " + Num(NewLoWinHiSpeed, "#0.0") + " - " +
                            Num(NewLoWinLoSpeed, "#0.0") + " MPH  " + Num(NewLoWinLoadHP) + " HP";
  bool valid = NewHiWinHiSpeed <= 60.0f && NewLoWinHiSpeed <= 60.0f && NewHiWinLoSpeed >= 5.0f &&
               NewLoWinLoSpeed >= 5.0f && NewHiWinHiSpeed - NewHiWinLoSpeed >= 4.0f &&
               NewLoWinHiSpeed - NewLoWinLoSpeed >= 4.0f && NewHiWinLoadHP > 0.0f &&
               NewHiWinLoadHP <= 100.0f &&
               ((NewLoWinLoadHP > 0.0f && NewLoWinLoadHP <= 100.0f) || NewLoWinLoadHP == -55.0f);
  if (!valid) return Finish(block, gQRTXErrInvalidParameter);
  TestParameters& p = ctx_.params;
  p.CoastdownHi = {NewHiWinHiSpeed, (NewHiWinHiSpeed + NewHiWinLoSpeed) / 2.0f, NewHiWinLoSpeed,
                   NewHiWinLoadHP};
  p.CoastdownLo = {NewLoWinHiSpeed, (NewLoWinHiSpeed + NewLoWinLoSpeed) / 2.0f, NewLoWinLoSpeed,
                   NewLoWinLoadHP};
  return Finish(block, gQRTXErrNoError);
}

}  // namespace tavkelo
