#pragma once
// The parameters of each test kind as the client last set them (read back as properties), with
// the defaults that the first connect installs.

#include <cstdint>

namespace tavkelo {

struct CoastdownWindow {
  float HiSpeed = 0.0f;
  float MidSpeed = 0.0f;
  float LoSpeed = 0.0f;
  float LoadHP = 0.0f;
};

struct TestParameters {
  int32_t WarmupTimeSeconds = 0;  // 0 until the first connect installs the defaults
  float ParasiticsTopSpeedMPH = 0.0f;
  float ParasiticsBottomSpeedMPH = 0.0f;
  CoastdownWindow CoastdownHi;  // window 1
  CoastdownWindow CoastdownLo;  // window 2

  uint8_t ASMTestMode = 0;
  float ASM5015TRLHP = 0.0f, ASM5015GTRLHP = 0.0f, ASM2525TRLHP = 0.0f, ASM2525GTRLHP = 0.0f;
  float AsmGtrlTorque = 0.0f;  // subtracted from PAUTorque during an ASM test

  int32_t ConstantTargetTestMode = 0;
  float ConstantTargetTestSpeedTarget = 0.0f;
  float ConstantTargetTestTorqueTarget = 0.0f;
  float ConstantTargetTestPowerTarget = 0.0f;

  float VehSimTestVehicleWeight = 0.0f;
  float VehSimTestTRLHPAt50 = 0.0f, VehSimTestGTRLHPAt50 = 0.0f;
  float VehSimTestTRLHPAPF = 0.0f, VehSimTestTRLHPBPF = 0.0f, VehSimTestTRLHPCPF = 0.0f;
  float VehSimTestGTRLHPAPF = 0.0f, VehSimTestGTRLHPBPF = 0.0f, VehSimTestGTRLHPCPF = 0.0f;
  bool VehSimTestAugBreakingEnabled = false;

  // The test defaults of the first connect.
  void InstallDefaults() {
    WarmupTimeSeconds = 300;
    ParasiticsTopSpeedMPH = 30.0f;
    ParasiticsBottomSpeedMPH = 10.0f;
    CoastdownHi = {30.0f, 50.0f / 2.0f, 20.0f, 8.0f};
    CoastdownLo = {20.0f, 30.0f / 2.0f, 10.0f, 12.0f};
  }
};

}  // namespace tavkelo
