// The interface's methods against the simulated controller: the lifts, commands without a link,
// the setters' validation, starting and stopping tests, and the placeholders' fixed results.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "automation/MemberBinding.hpp"
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
  EXPECT_TRUE(k->LiftEnable());
  EXPECT_EQ(k->RaiseLifts(false, true), gQRTXErrInvalidParameter)
      << "a four-wheel-drive lift alone";
  EXPECT_EQ(k->LowerLifts(false, true), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->LowerLifts(true, false), gQRTXErrNoError);
  EXPECT_FALSE(k->LiftEnable());
}

TEST_F(Methods, CommandsWithoutALinkReturnNoLinkAndSendNothing) {
  const std::pair<const char*, std::function<QRTXErrorConstants()>> calls[] = {
      {"RaiseLifts", [&] { return k->RaiseLifts(true, false); }},
      {"SetSystemParameter",
       [&] { return k->SetSystemParameter(gQRTXSPITWDEquivalentWeight, 2000); }},
      {"StartTest", [&] { return k->StartTest(gQRTXTIWarmup); }},
      {"StopTest", [&] { return k->StopTest(); }},
      {"SpanAnalogInput", [&] { return k->SpanAnalogInput(gQRTXAIIPAU1Torque); }},
  };
  for (const auto& [name, call] : calls) EXPECT_EQ(call(), gQRTXErrNoLinkToDevice) << name;
  EXPECT_EQ(f.RequestCount(), 0u);
  EXPECT_EQ(f.ctx->test.CurCalibration, calibration::None);
}

TEST_F(Methods, WarmupTimeIsRoundedClampedAndChecked) {
  struct Case {
    float seconds;
    QRTXErrorConstants result;
    float stored;
  };
  const Case cases[] = {{300.0f, gQRTXErrNoError, 300.0f},
                        {9.4f, gQRTXErrInvalidParameter, 300.0f},
                        {10.0f, gQRTXErrNoError, 10.0f},
                        {12.5f, gQRTXErrNoError, 12.0f},
                        {13.5f, gQRTXErrNoError, 14.0f},
                        {250000.0f, gQRTXErrNoError, 99999.0f},
                        {-5.0f, gQRTXErrInvalidParameter, 99999.0f}};
  for (const auto& c : cases) {
    EXPECT_EQ(k->SetWarmupTestParameters(c.seconds), c.result) << c.seconds;
    EXPECT_EQ(k->WarmupTestTimeSeconds(), c.stored) << c.seconds;
  }
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SetWarmupTestParameters[99999 seconds] - No Error"));
  EXPECT_TRUE(f.LogContains(
      "clsKeloInterface: SetWarmupTestParameters[9 seconds] - Dev: Invalid Parameter"));
}

TEST_F(Methods, ParasiticsSpeedsAreCheckedAndOnlyStored) {
  struct Case {
    float top, bottom;
    QRTXErrorConstants result;
  };
  const Case cases[] = {{30, 10, gQRTXErrNoError},          {30, 12, gQRTXErrInvalidParameter},
                        {61, 10, gQRTXErrInvalidParameter}, {15, 10, gQRTXErrNoError},
                        {60, 10, gQRTXErrNoError},          {14.9f, 10, gQRTXErrInvalidParameter}};
  for (const auto& c : cases)
    EXPECT_EQ(k->SetParasiticsTestParameters(c.top, c.bottom), c.result) << c.top;
  EXPECT_EQ(k->ParasiticsTestTopSpeedMPH(), 60.0f);
  EXPECT_EQ(k->ParasiticsTestBottomSpeedMPH(), 10.0f);
  EXPECT_EQ(f.RequestCount(), 0u);
}

TEST_F(Methods, CoastdownWindowsAreValidatedWithMinus55AsTheLowWindowsSpecialLoad) {
  struct Case {
    float hiHi, hiLo, hiHp, loHi, loLo, loHp;
    QRTXErrorConstants result;
  };
  const Case cases[] = {{30, 20, 8, 20, 10, 12, gQRTXErrNoError},
                        {30, 20, 8, 20, 10, -55, gQRTXErrNoError},
                        {30, 20, -55, 20, 10, 12, gQRTXErrInvalidParameter},
                        {30, 20, 8, 20, 10, -54, gQRTXErrInvalidParameter},
                        {61, 20, 8, 20, 10, 12, gQRTXErrInvalidParameter},
                        {30, 20, 8, 20, 4.9f, 12, gQRTXErrInvalidParameter},
                        {30, 26.5f, 8, 20, 10, 12, gQRTXErrInvalidParameter},
                        {30, 26, 8, 20, 10, 12, gQRTXErrNoError},
                        {30, 20, 0, 20, 10, 12, gQRTXErrInvalidParameter},
                        {30, 20, 100, 20, 10, 100, gQRTXErrNoError},
                        {30, 20, 8, 20, 10, 100.5f, gQRTXErrInvalidParameter}};
  for (const auto& c : cases) {
    const std::string label =
        std::to_string(c.hiLo) + " " + std::to_string(c.hiHp) + " " + std::to_string(c.loHp);
    EXPECT_EQ(k->SetCoastdownTestParameters(c.hiHi, c.hiLo, c.hiHp, c.loHi, c.loLo, c.loHp),
              c.result)
        << label;
    if (c.result == gQRTXErrNoError) {
      EXPECT_EQ(k->CDTestHiWinBottomSpeed(), c.hiLo) << label;
      EXPECT_EQ(k->CDTestLoWinTargetLoadHP(), c.loHp) << label;
      EXPECT_EQ(f.ctx->params.CoastdownHi.MidSpeed, (c.hiHi + c.hiLo) / 2.0f) << label;
    }
  }
}

TEST_F(Methods, StartTestIsRefusedWhileTheMotorRunsAndSaysWhy) {
  Connect();
  f.sim.Plant().MotorOn();
  f.loop.PumpFor(2500);
  ASSERT_TRUE(k->WarmupMotorEnable());
  EXPECT_EQ(k->StartTest(gQRTXTIWarmup), gQRTXErrCantStartTestNow);
  EXPECT_EQ(k->CurTest(), gQRTXTINoTest);
  EXPECT_TRUE(f.LogContains("clsKeloInterface: StartTest(Warm-Up) - Dev: Cant Start Test Now"));
  EXPECT_TRUE(
      f.LogContains("\r\n     Status     : 0100000000000001\r\n     CurrentTest: No Test\r\n"
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

TEST(StopTest, SwitchesOffWhatATargetTestSwitchedOnOrEverythingWithNoTest) {
  struct Case {
    QRTXTestIndeces running;
    std::vector<std::string> commands;
    bool abortRequest;
  };
  const Case cases[] = {{gQRTXTIConstantTarget, {"0", "B", "b"}, true},
                        {gQRTXTIASM, {"0", "B", "b"}, true},
                        {gQRTXTIVehSim, {"0", "B", "b"}, true},
                        {gQRTXTINoTest, {"0", "B", "b", "K"}, false}};
  for (const auto& c : cases) {
    test::InterfaceFixture f;
    auto k = f.NewInterface();
    ASSERT_TRUE(k->Connect());
    f.loop.PumpFor(1500);
    if (c.running != gQRTXTINoTest) {
      ASSERT_EQ(k->StartTest(c.running), gQRTXErrNoError);
      f.loop.PumpFor(3000);  // the test has switched its regulation on and runs
      ASSERT_EQ(k->CurTest(), c.running);
    }
    size_t before = f.RequestCount();
    EXPECT_EQ(k->StopTest(), gQRTXErrNoError);
    EXPECT_EQ(f.ctx->test.TestAbortRequest, c.abortRequest) << c.running;
    std::vector<std::string> commands;  // without the poller's reads
    for (const auto& n : f.RequestNames(before)) {
      if (n != "C" && n != "D" && n.rfind("E", 0) != 0) commands.push_back(n);
    }
    EXPECT_EQ(commands, c.commands) << c.running;
    if (c.running != gQRTXTINoTest) {
      // A target test stopped by the client ends as completed, never as aborted.
      EXPECT_TRUE(f.loop.PumpUntil([&] { return k->CurTest() == gQRTXTINoTest; }, 5000))
          << c.running;
      EXPECT_EQ(k->LastTestCompletionStatus(), gQRTXLTCSICompleted) << c.running;
      EXPECT_EQ(f.sim.Plant().Mode(), MachineMode::Off) << c.running;
      EXPECT_FALSE(f.sim.Plant().Switches().beltCompensation) << c.running;
    }
  }
}

TEST_F(Methods, SettersCheckTheirArgumentsAndWriteTheController) {
  Connect();
  EXPECT_EQ(k->SetConstantLoadTestParameters(1000.5f, 0), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetConstantSpeedTestParameters(100.5f, 0), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetConstantPowerTestParameters(100.5f, 0), gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetASMTestParameters(static_cast<QRTXASMTestModeIndeces>(2), 1, 1, 1, 1),
            gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetConstantTargetTestingMode(static_cast<QRTXCTTModeIndeces>(4)),
            gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SetSystemParameter(gQRTXSPIRollDiameter, 9.0f), gQRTXErrNoError)
      << "accepted, not written";
  EXPECT_EQ(k->SetSystemParameter(static_cast<QRTXSysParamIndeces>(19), 1.0f),
            gQRTXErrInvalidParameter);
  EXPECT_EQ(k->SpanAnalogInput(gQRTXAIIFrameTemp), gQRTXErrInvalidParameter)
      << "no calibration for this input";
  EXPECT_TRUE(f.LogContains("clsKeloInterface: SpanAnalogInput(Not Implemented)"));
  EXPECT_EQ(f.ctx->test.CurCalibration, calibration::None);
  EXPECT_EQ(k->SetConstantPowerTestParameters(12.0f, 1.0f), gQRTXErrNoError);
  std::vector<std::string> writes;
  for (const auto& n : f.RequestNames()) {
    if (n[0] == 'F' && n.rfind("F000=", 0) != 0 && n.rfind("F030=", 0) != 0) writes.push_back(n);
  }
  EXPECT_EQ(writes, (std::vector<std::string>{"F228=12.0", "F229=0.0", "F230=15.0"}))
      << "only the power target's";
  EXPECT_EQ(k->ConstantTargetTestPowerTarget(), 12.0f);
  EXPECT_TRUE(
      f.LogContains("clsKeloInterface: SetConstantPowerTestParameters...\r\n"
                    "                  Power HP: 12.00 - No Error"));
  EXPECT_EQ(k->SetConstantSpeedTestParameters(40.0f, 1.0f), gQRTXErrNoError);
  EXPECT_NEAR(*f.sim.VariableValue(200), 40.0, 1e-6);
  EXPECT_EQ(k->SetASMTestParameters(gQRTXASMTMI2525, 10, 2, 12, 3), gQRTXErrNoError);
  EXPECT_EQ(k->ASMTestMode(), 1);
  EXPECT_NEAR(*f.sim.VariableValue(230), 25.0, 1e-6);
  EXPECT_NEAR(f.ctx->params.AsmGtrlTorque, f.ctx->store.TorqueSpeedFactor * 3.0f / 25.0f, 1e-3);
  EXPECT_EQ(k->SetConstantTargetTestingMode(gQRTXCTTMISpeed), gQRTXErrNoError);
  EXPECT_EQ(k->ConstantTargetTestMode(), gQRTXCTTMISpeed);
  EXPECT_EQ(k->SetSystemParameter(gQRTXSPITWDEquivalentWeight, 2204.62f), gQRTXErrNoError);
  EXPECT_NEAR(f.sim.Setup().Get(6), 1000.0, 0.5) << "the controller keeps kilograms";
}

// Every placeholder property and method, called through the member binding with zero arguments
// (1 for the enumerations that start at 1, "x" for texts): its fixed result, its log line or
// none, and nothing on the wire.
AutoValue ZeroOf(AutoType type) {
  switch (type) {
    case AutoType::Boolean:
      return false;
    case AutoType::Byte:
      return uint8_t{0};
    case AutoType::Integer:
      return int16_t{0};
    case AutoType::Enum:
      return int32_t{1};
    case AutoType::Long:
      return int32_t{0};
    case AutoType::Single:
      return 0.0f;
    case AutoType::String:
      return std::string("x");
    case AutoType::Void:
      break;
  }
  return {};
}

TEST_F(Methods, EveryPlaceholderReturnsItsFixedResultAndSendsNothing) {
  struct Case {
    double result;
    bool logs;  // "<name>(Not Implemented)"
    std::vector<const char*> names;
  };
  const Case cases[] = {
      {1,
       true,
       {"GetAnalogInputCalibration", "SetAnalogInputCalibration", "ZeroAnalogInput",
        "GetPIDConstants", "GetManualLoadTestParameters", "SetManualLoadTestParameters",
        "GetVehSimTestHPIntWinErrors", "GetVehSimTestHPIntWinParameters",
        "SetVehSimTestHPIntWinParameters", "StartUsingLiveData", "UsingLiveData",
        "RetraintsEdged"}},
      {0,
       true,
       {"PositiveVoltageSpanAnalogInput", "NegativeVoltageSpanAnalogInput", "SetPIDConstants",
        "ResetPIDValues", "ResetParasitics", "ResetVehSimTestHPIntWinErrors", "ResetVehSimTestISE",
        "SetFWDBaseDistance", "SetFWDBaseState", "RetractFWDBaseToLimit", "StopFWDBase",
        "StopRestraints", "StartFakeDataPlayBack", "InitFromIniFile", "CalWeight",
        "TraceMessagesOn", "VehSimTestWindowStartTime", "LeftRestraintCentered"}},
      {0,
       false,
       {"CenterRestraints", "EdgeRestraints", "ExtendFWDBaseToLimit", "GetCoastdownTestParameters",
        "GetParasiticsCurves", "GetParasiticsTestParameters", "GetWarmupTestParameters",
        "IsFWDDyno", "FWDSpeedMPH"}},
  };
  Connect();
  k->AutoUpdateEnabled(false);
  f.loop.PumpFor(1500);
  const size_t before = f.RequestCount();
  auto number = [](const AutoValue& v) -> double {
    if (auto* b = std::get_if<bool>(&v)) return *b ? 1 : 0;
    if (auto* i = std::get_if<int32_t>(&v)) return *i;
    if (auto* i = std::get_if<int16_t>(&v)) return *i;
    if (auto* x = std::get_if<float>(&v)) return *x;
    return -999;  // any other result type is wrong here
  };
  for (const Case& c : cases) {
    for (const char* name : c.names) {
      const BoundMember* member = FindBoundMember(name, MemberKind::Method);
      if (!member) member = FindBoundMember(name, MemberKind::PropertyGet);
      ASSERT_NE(member, nullptr) << name;
      std::vector<AutoValue> args;
      for (const ParamInfo& p : member->params) args.push_back(ZeroOf(p.type.type));
      EXPECT_EQ(number(member->invoke(*k, args)), c.result) << name;
      EXPECT_EQ(f.LogContains(std::string("clsKeloInterface: ") + name + "(Not Implemented)\r\n"),
                c.logs)
          << name;
      EXPECT_FALSE(f.LogContains(std::string("clsKeloInterface: ") + name + "...")) << name;
    }
  }
  EXPECT_EQ(f.RequestCount(), before) << "placeholders send nothing";
}

}  // namespace
}  // namespace tavkelo
