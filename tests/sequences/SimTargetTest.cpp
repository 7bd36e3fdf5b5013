// The target-controlled tests against the controller simulator: each mode's belt compensation
// and regulator, the end through StopTest (always "completed"), and a stop before the regulator
// stage that leaves every regulator off.

#include <gtest/gtest.h>

#include "SimRig.hpp"

namespace tavkelo {
namespace {

struct TargetCase {
  const char* what;
  int16_t test;
  int32_t mode;
  const char* name;
  std::vector<std::string> commands;  // what the sequence sends
  MachineMode machine;                // what the controller then does
  bool belt;
};

class SimTarget : public ::testing::TestWithParam<TargetCase> {
 protected:
  SimTarget() { rig.Connect(); }
  test::SimRig rig;
};

TEST_P(SimTarget, SwitchesTheModesRegulatorOnAndEndsCompletedOnStop) {
  const TargetCase& c = GetParam();
  rig.f.ctx->params.ConstantTargetTestMode = c.mode;
  rig.Start(c.test);
  rig.f.loop.PumpFor(5000);
  EXPECT_EQ(rig.Commands(), c.commands);
  EXPECT_EQ(rig.sim.Plant().Mode(), c.machine);
  EXPECT_EQ(rig.sim.Plant().Switches().beltCompensation, c.belt);
  EXPECT_EQ(rig.f.ctx->test.CurTest, c.test) << "runs until stopped";
  EXPECT_EQ(rig.f.ctx->test.TestStage, 999);
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::InProgress);
  EXPECT_EQ(rig.f.LogCount(std::string("**** Starting ") + c.name + " Test ****"), 1);

  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(5.0));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  EXPECT_EQ(rig.f.LogCount(std::string("**** ") + c.name + " Test Completed ****"), 1);
  EXPECT_EQ(rig.sim.Plant().Mode(), MachineMode::Off);
  EXPECT_FALSE(rig.sim.Plant().Switches().beltCompensation);
  std::vector<std::string> all = c.commands;
  for (const char* s : {"0", "B", "b"}) all.push_back(s);  // StopTest's three
  EXPECT_EQ(rig.Commands(), all);
}

INSTANTIATE_TEST_SUITE_P(
    Modes, SimTarget,
    ::testing::Values(
        TargetCase{
            "ConstantManual", test::ConstantTarget, 0, "Constant", {}, MachineMode::Off, false},
        TargetCase{"ConstantTorque",
                   test::ConstantTarget,
                   1,
                   "Constant Load",
                   {"2"},
                   MachineMode::Torque,
                   false},
        TargetCase{"ConstantSpeed",
                   test::ConstantTarget,
                   2,
                   "Constant Speed",
                   {"a", "1"},
                   MachineMode::Speed,
                   true},
        TargetCase{"ConstantPower",
                   test::ConstantTarget,
                   3,
                   "Constant Power",
                   {"4"},
                   MachineMode::Asm,
                   false},
        TargetCase{"Asm", test::Asm, 0, "ASM", {"a", "4"}, MachineMode::Asm, true},
        TargetCase{"VehicleSimulation",
                   test::VehicleSimulation,
                   0,
                   "Vehicle Simulation",
                   {"a", "3"},
                   MachineMode::Drive,
                   true}),
    [](const auto& info) { return std::string(info.param.what); });

bool IsRegulatorOn(const std::string& c) {
  return c == "1" || c == "2" || c == "3" || c == "4";
}

TEST(SimTargetStop, AStopBeforeStageZeroSwitchesNothingOn) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::Asm);
  rig.Stop();  // before the poller's first step
  ASSERT_TRUE(rig.RunToEnd(5.0));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
  for (const auto& c : rig.Commands()) EXPECT_FALSE(IsRegulatorOn(c)) << c;
  EXPECT_EQ(rig.sim.Plant().Mode(), MachineMode::Off);
  EXPECT_TRUE(rig.f.LogContains("**** ASM Test Completed ****"));
}

TEST(SimTargetStop, AStopDuringStageOneSwitchesNoRegulatorOn) {
  for (int16_t testIndex : {test::Asm, test::VehicleSimulation}) {
    SCOPED_TRACE(testIndex);
    test::SimRig rig;
    rig.Connect();
    rig.Start(testIndex);
    ASSERT_TRUE(rig.RunUntil([&] { return rig.f.ctx->test.TestStage == 1; }, 5.0, 1));
    rig.Stop();
    ASSERT_TRUE(rig.RunToEnd(5.0));
    EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed);
    const auto commands = rig.Commands();
    EXPECT_EQ(commands.front(), "a") << "stage 0 had run";
    for (const auto& c : commands) EXPECT_FALSE(IsRegulatorOn(c)) << c;
    EXPECT_EQ(rig.sim.Plant().Mode(), MachineMode::Off);
    EXPECT_FALSE(rig.sim.Plant().Switches().beltCompensation) << "StopTest switched it off again";
  }
}

TEST(SimTargetStop, ADeviceErrorEndsTheTestAsCompleted) {
  test::SimRig rig;
  rig.Connect();
  rig.Start(test::VehicleSimulation);
  rig.f.loop.PumpFor(3000);
  ASSERT_EQ(rig.sim.Plant().Mode(), MachineMode::Drive);
  rig.sim.Plant().RaiseFault(DyneFault::DeviceError7);
  ASSERT_TRUE(rig.RunToEnd(10.0));
  EXPECT_TRUE(rig.f.ctx->test.TestAbortRequest);
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, ltcs::Completed)
      << "never reported as aborted";
}

}  // namespace
}  // namespace tavkelo
