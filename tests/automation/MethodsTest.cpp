#include <gtest/gtest.h>

#include <functional>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

class Methods : public ::testing::Test {
 protected:
  Methods() : k(f.NewInterface()) {}
  void Connect() {
    ASSERT_TRUE(k->Connect());
    f.loop.PumpFor(1500);
  }
  test::InterfaceFixture f;
  std::unique_ptr<clsKeloInterface> k;
};

TEST_F(Methods, RaiseLiftsUpToHalfAMilePerHour) {
  Connect();
  k->AutoUpdateEnabled(false);  // hold the store's speed where the test puts it
  f.loop.PumpFor(1500);
  f.ctx->store.DyneSpeed = 0.51f;
  size_t before = f.RequestCount();
  EXPECT_EQ(k->RaiseLifts(true, false), gQRTXErrCantRaiseLiftNow);
  EXPECT_EQ(f.RequestCount(), before) << "nothing sent";
  EXPECT_TRUE(f.LogContains("clsKeloInterface: RaiseLifts - Dev: Cant Raise Lift Now"));
  f.ctx->store.DyneSpeed = 0.5f;
  EXPECT_EQ(k->RaiseLifts(true, false), gQRTXErrNoError);
  EXPECT_EQ(f.RequestNames(before), std::vector<std::string>{"5"});
  EXPECT_TRUE(f.LogContains("clsKeloInterface: RaiseLifts...\r\n"));
  EXPECT_TRUE(f.LogContains("clsKeloInterface: RaiseLifts - No Error"));
  EXPECT_TRUE(k->LiftEnable());
  EXPECT_EQ(k->RaiseLifts(false, true), gQRTXErrInvalidParameter) << "a four-wheel-drive lift alone";
  EXPECT_EQ(k->LowerLifts(false, true), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->LowerLifts(true, false), gQRTXErrNoError);
  EXPECT_FALSE(k->LiftEnable());
}

TEST_F(Methods, CommandsWithoutALinkReturnNoLink) {
  using Call = std::function<QRTXErrorConstants()>;
  const std::pair<const char*, Call> calls[] = {
      {"RaiseLifts", [&] { return k->RaiseLifts(true, false); }},
      {"LowerLifts", [&] { return k->LowerLifts(true, false); }},
      {"ResetTestDistance", [&] { return k->ResetTestDistance(); }},
      {"SaveCalibrationToFLASH", [&] { return k->SaveCalibrationToFLASH(); }},
      {"SetSystemParameter", [&] { return k->SetSystemParameter(gQRTXSPITWDEquivalentWeight, 2000); }},
      {"GetSystemParameter", [&] { return k->GetSystemParameter(1); }},
      {"GetSlaveVersion", [&] { return k->GetSlaveVersion(); }},
      {"StartTest", [&] { return k->StartTest(gQRTXTIWarmup); }},
      {"StopTest", [&] { return k->StopTest(); }},
      {"SpanAnalogInput", [&] { return k->SpanAnalogInput(gQRTXAIIPAU1Torque); }},
      {"SetConstantLoadTestParameters", [&] { return k->SetConstantLoadTestParameters(100, 0); }},
  };
  for (const auto& [name, call] : calls) EXPECT_EQ(call(), gQRTXErrNoLinkToDevice) << name;
  EXPECT_EQ(f.RequestCount(), 0u);
  EXPECT_EQ(f.ctx->test.CurCalibration, 0);
}

struct WarmupCase {
  float seconds;
  QRTXErrorConstants result;
  float stored;
};

TEST_F(Methods, WarmupTimeIsRoundedClampedAndChecked) {
  const WarmupCase cases[] = {{300.0f, gQRTXErrNoError, 300.0f},   {9.4f, gQRTXErrInvalidParameter, 300.0f},
                              {10.0f, gQRTXErrNoError, 10.0f},     {12.5f, gQRTXErrNoError, 12.0f},
                              {13.5f, gQRTXErrNoError, 14.0f},     {250000.0f, gQRTXErrNoError, 99999.0f},
                              {-5.0f, gQRTXErrInvalidParameter, 99999.0f}};
  f.ctx->params.WarmupTimeSeconds = 300;
  for (const auto& c : cases) {
    EXPECT_EQ(k->SetWarmupTestParameters(c.seconds), c.result) << c.seconds;
    EXPECT_EQ(k->WarmupTestTimeSeconds(), c.stored) << c.seconds;
  }
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SetWarmupTestParameters[99999 seconds] - No Error"));
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SetWarmupTestParameters[9 seconds] - Dev: Invalid Parameter"));
}

TEST_F(Methods, ParasiticsSpeedsAreCheckedAndOnlyStored) {
  struct Case {
    float top, bottom;
    QRTXErrorConstants result;
  };
  const Case cases[] = {{30, 10, gQRTXErrNoError}, {30, 12, gQRTXErrInvalidParameter},
                        {61, 10, gQRTXErrInvalidParameter}, {15, 10, gQRTXErrNoError},
                        {60, 10, gQRTXErrNoError}, {14.9f, 10, gQRTXErrInvalidParameter}};
  for (const auto& c : cases) EXPECT_EQ(k->SetParasiticsTestParameters(c.top, c.bottom), c.result) << c.top;
  EXPECT_EQ(k->ParasiticsTestTopSpeedMPH(), 60.0f);
  EXPECT_EQ(k->ParasiticsTestBottomSpeedMPH(), 10.0f);
}

struct CoastdownCase {
  float hiHi, hiLo, hiHp, loHi, loLo, loHp;
  QRTXErrorConstants result;
};

class CoastdownParameters : public Methods, public ::testing::WithParamInterface<CoastdownCase> {};

TEST_P(CoastdownParameters, AreValidated) {
  const auto& c = GetParam();
  EXPECT_EQ(k->SetCoastdownTestParameters(c.hiHi, c.hiLo, c.hiHp, c.loHi, c.loLo, c.loHp), c.result);
  if (c.result == gQRTXErrNoError) {
    EXPECT_EQ(k->CDTestHiWinTopSpeed(), c.hiHi);
    EXPECT_EQ(k->CDTestLoWinTargetLoadHP(), c.loHp);
    EXPECT_EQ(f.ctx->params.CoastdownHi.MidSpeed, (c.hiHi + c.hiLo) / 2.0f);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Table, CoastdownParameters,
    ::testing::Values(CoastdownCase{30, 20, 8, 20, 10, 12, gQRTXErrNoError},
                      CoastdownCase{30, 20, 8, 20, 10, -55, gQRTXErrNoError},
                      CoastdownCase{30, 20, -55, 20, 10, 12, gQRTXErrInvalidParameter},
                      CoastdownCase{61, 20, 8, 20, 10, 12, gQRTXErrInvalidParameter},
                      CoastdownCase{30, 20, 8, 20, 4.9f, 12, gQRTXErrInvalidParameter},
                      CoastdownCase{30, 26.5f, 8, 20, 10, 12, gQRTXErrInvalidParameter},
                      CoastdownCase{30, 26, 8, 20, 10, 12, gQRTXErrNoError},
                      CoastdownCase{30, 20, 0, 20, 10, 12, gQRTXErrInvalidParameter},
                      CoastdownCase{30, 20, 100, 20, 10, 100, gQRTXErrNoError},
                      CoastdownCase{30, 20, 8, 20, 10, 100.5f, gQRTXErrInvalidParameter},
                      CoastdownCase{30, 20, 8, 20, 10, -54, gQRTXErrInvalidParameter}));

TEST_F(Methods, StartTestIsRefusedWhileTheMotorRunsAndSaysWhy) {
  Connect();
  f.sim.Plant().MotorOn();
  f.loop.PumpFor(2500);
  ASSERT_TRUE(k->WarmupMotorEnable());
  EXPECT_EQ(k->StartTest(gQRTXTIWarmup), gQRTXErrCantStartTestNow);
  EXPECT_EQ(k->CurTest(), gQRTXTINoTest);
  EXPECT_TRUE(f.LogContains("clsKeloInterface: StartTest(Warm-Up) - Dev: Cant Start Test Now"));
  EXPECT_TRUE(f.LogContains("\r\n     Status     : 0100000000000001\r\n     CurrentTest: No Test\r\n"
                            "     LTCS       : 0\r\n     PDTS_CS    : 3\r\n     LCWS_CS    : 3\r\n"
                            "     Motor      : On\r\n     LiftTarget : Lower\r\n     DyneError  : False"));
}

TEST_F(Methods, StartTestSetsTheSharedTestState) {
  Connect();
  k->AutoUpdateEnabled(false);
  f.ctx->test.TestAbortRequest = true;
  EXPECT_EQ(k->StartTest(gQRTXTIConstantTarget), gQRTXErrNoError);
  EXPECT_EQ(k->CurTest(), gQRTXTIConstantTarget);
  EXPECT_EQ(f.ctx->test.StartedTestIndex, 4);
  EXPECT_EQ(k->LastTestCompletionStatus(), gQRTXLTCSIInProgess);
  EXPECT_FALSE(f.ctx->test.TestAbortRequest);
  EXPECT_TRUE(k->AutoUpdateEnabled());
  EXPECT_EQ(k->StartTest(gQRTXTIWarmup), gQRTXErrCantStartTestNow) << "one test at a time";
}

TEST_F(Methods, StopTestSwitchesOffWhatATargetTestSwitchedOn) {
  Connect();
  ASSERT_EQ(k->StartTest(gQRTXTIASM), gQRTXErrNoError);
  size_t before = f.RequestCount();
  EXPECT_EQ(k->StopTest(), gQRTXErrNoError);
  EXPECT_TRUE(f.ctx->test.TestAbortRequest);
  std::vector<std::string> names;
  for (const auto& n : f.RequestNames(before)) {
    if (n != "C" && n != "D" && n.rfind("E", 0) != 0) names.push_back(n);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"0", "B", "b"}));
  EXPECT_TRUE(f.LogContains("clsKeloInterface: StopTest(ASM)..."));
}

TEST_F(Methods, StopTestWithNoTestSwitchesEverythingOff) {
  Connect();
  size_t before = f.RequestCount();
  EXPECT_EQ(k->StopTest(), gQRTXErrNoError);
  std::vector<std::string> names;
  for (const auto& n : f.RequestNames(before)) {
    if (n != "C" && n != "D" && n.rfind("E", 0) != 0) names.push_back(n);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"0", "B", "b", "K"}));
  EXPECT_FALSE(f.ctx->test.TestAbortRequest);
}

TEST_F(Methods, SpanAnalogInputStartsTheCalibrationsAndRefusesOtherInputs) {
  Connect();
  EXPECT_EQ(k->SpanAnalogInput(gQRTXAIIFrameTemp), gQRTXErrInvalidParameter);
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SpanAnalogInput(Not Implemented)"));
  EXPECT_EQ(f.ctx->test.CurCalibration, 0);
  EXPECT_EQ(k->SpanAnalogInput(gQRTXAIIRightScale), gQRTXErrNoError);
  EXPECT_EQ(f.ctx->test.CurCalibration, 2);
  EXPECT_EQ(f.ctx->test.LastTestCompletionStatus, 1);
  EXPECT_FALSE(f.ctx->test.WizardFormShown);
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SpanAnalogInput - No Error"));
}

TEST_F(Methods, SetterWritesReachTheController) {
  Connect();
  EXPECT_EQ(k->SetConstantLoadTestParameters(1000.5f, 0), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetConstantSpeedTestParameters(100.5f, 0), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetConstantPowerTestParameters(100.5f, 0), gQRTXErrInvalidParameter);
  size_t before = f.RequestCount();
  EXPECT_EQ(k->SetConstantPowerTestParameters(12.0f, 1.0f), gQRTXErrNoError);
  std::vector<std::string> writes;
  for (const auto& n : f.RequestNames(before)) {
    if (n[0] == 'F') writes.push_back(n);
  }
  EXPECT_EQ(writes, (std::vector<std::string>{"F228=12.0", "F229=0.0", "F230=15.0"}));
  EXPECT_EQ(k->ConstantTargetTestPowerTarget(), 12.0f);
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SetConstantPowerTestParameters...\r\n"
                            "                  Power HP: 12.00 - No Error"));
  EXPECT_EQ(k->SetConstantSpeedTestParameters(40.0f, 1.0f), gQRTXErrNoError);
  EXPECT_NEAR(*f.sim.VariableValue(200), 40.0, 1e-6);
  EXPECT_EQ(k->SetASMTestParameters(gQRTXASMTMI2525, 10, 2, 12, 3), gQRTXErrNoError);
  EXPECT_EQ(k->ASMTestMode(), 1);
  EXPECT_NEAR(*f.sim.VariableValue(230), 25.0, 1e-6);
  EXPECT_NEAR(f.ctx->params.AsmGtrlTorque, f.ctx->store.TorqueSpeedFactor * 3.0f / 25.0f, 1e-3);
  EXPECT_EQ(k->SetASMTestParameters(static_cast<QRTXASMTestModeIndeces>(2), 1, 1, 1, 1), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetConstantTargetTestingMode(gQRTXCTTMISpeed), gQRTXErrNoError);
  EXPECT_EQ(k->ConstantTargetTestMode(), gQRTXCTTMISpeed);
  EXPECT_EQ(k->SetConstantTargetTestingMode(static_cast<QRTXCTTModeIndeces>(4)), gQRTXErrInvalidParameter);
}

TEST_F(Methods, SystemParametersOnlyEquivalentWeightIsWritten) {
  Connect();
  size_t before = f.RequestCount();
  EXPECT_EQ(k->SetSystemParameter(gQRTXSPIRollDiameter, 9.0f), gQRTXErrNoError);
  EXPECT_EQ(k->SetSystemParameter(static_cast<QRTXSysParamIndeces>(19), 1.0f), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetSystemParameter(static_cast<QRTXSysParamIndeces>(0), 1.0f), gQRTXErrInvalidParameter);
  for (const auto& n : f.RequestNames(before)) EXPECT_NE(n[0], 'F') << "nothing written: " << n;
  EXPECT_EQ(k->SetSystemParameter(gQRTXSPITWDEquivalentWeight, 2204.62f), gQRTXErrNoError);
  EXPECT_NEAR(f.sim.Setup().Get(6), 1000.0, 0.5) << "the controller keeps kilograms";
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SetSystemParameter-EquivalentWeight..."));
}

TEST_F(Methods, ParasiticsAtSpeedEvaluatesTheStoredCurve) {
  f.ctx->store.ParasiticCoefK = 2.0f;
  f.ctx->store.ParasiticCoefA = 0.5f;
  f.ctx->store.ParasiticCoefB = 0.01f;
  float raw = 9, fwdRaw = 9, unseen = 9, fwdUnseen = 9;
  EXPECT_EQ(k->GetParasiticsAtSpeed(30.0f, raw, fwdRaw, unseen, fwdUnseen), gQRTXErrNoError);
  EXPECT_NEAR(unseen, 2.0f + 0.5f * 30.0f + 0.01f * 900.0f, 1e-4);
  EXPECT_EQ(raw, 0.0f);
  EXPECT_EQ(fwdRaw, 0.0f);
  EXPECT_EQ(fwdUnseen, 0.0f);
}

TEST_F(Methods, PlaceholdersReturnTheirFixedResults) {
  struct Case {
    const char* name;
    std::function<int32_t()> call;
    int32_t result;
    bool logs;
  };
  float a = 0, b = 0, c = 0;
  const Case cases[] = {
      {"GetAnalogInputCalibration", [&] { return k->GetAnalogInputCalibration(gQRTXAIIPAU1Torque, a, b, c); }, 1, true},
      {"ZeroAnalogInput", [&] { return k->ZeroAnalogInput(gQRTXAIILeftScale); }, 1, true},
      {"GetPIDConstants", [&] { return k->GetPIDConstants(gQRTXPITorquePID, a, b, c); }, 1, true},
      {"SetManualLoadTestParameters", [&] { return k->SetManualLoadTestParameters(1, 1); }, 1, true},
      {"SetVehSimTestHPIntWinParameters", [&] { return k->SetVehSimTestHPIntWinParameters(1, 0, 1, true); }, 1, true},
      {"PositiveVoltageSpanAnalogInput", [&] { return k->PositiveVoltageSpanAnalogInput(gQRTXAIIPAU1Torque); }, 0, true},
      {"SetPIDConstants", [&] { return k->SetPIDConstants(gQRTXPISpeedPID, 1, 2, 3); }, 0, true},
      {"ResetParasitics", [&] { return k->ResetParasitics(); }, 0, true},
      {"StopRestraints", [&] { return k->StopRestraints(); }, 0, true},
      {"StartUsingLiveData", [&] { return k->StartUsingLiveData() ? 1 : 0; }, 1, true},
      {"StartFakeDataPlayBack", [&] { return k->StartFakeDataPlayBack("x.dat") ? 1 : 0; }, 0, true},
      {"CenterRestraints", [&] { return k->CenterRestraints(); }, 0, false},
      {"GetWarmupTestParameters", [&] { return k->GetWarmupTestParameters(); }, 0, false},
  };
  for (const auto& cs : cases) {
    EXPECT_EQ(cs.call(), cs.result) << cs.name;
    EXPECT_EQ(f.LogContains(std::string("clsKeloInterface: ") + cs.name + "(Not Implemented)"), cs.logs) << cs.name;
  }
  EXPECT_EQ(f.RequestCount(), 0u) << "placeholders send nothing";
  EXPECT_FALSE(k->InitFromIniFile("x.ini", "S"));
  EXPECT_TRUE(f.LogContains("clsKeloInterface: InitFromIniFile(Not Implemented)"));
}

}  // namespace
}  // namespace tavkelo
