// The target-controlled tests against the controller simulator: each mode's belt compensation
// and regulator, the end on the stop request (always "completed"), and a stop before the
// regulator stage that leaves every regulator off.

#include <gtest/gtest.h>

#include "SequenceRig.hpp"

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

using MM = MachineMode;
const TargetCase kTargets[] = {
    {"ConstantManual", test::ConstantTarget, 0, "Constant", {}, MM::Off, false},
    {"ConstantTorque", test::ConstantTarget, 1, "Constant Load", {"2"}, MM::Torque, false},
    {"ConstantSpeed", test::ConstantTarget, 2, "Constant Speed", {"a", "1"}, MM::Speed, true},
    {"ConstantPower", test::ConstantTarget, 3, "Constant Power", {"4"}, MM::Asm, false},
    {"Asm", test::Asm, 0, "ASM", {"a", "4"}, MM::Asm, true},
    {"VehSim", test::VehicleSimulation, 0, "Vehicle Simulation", {"a", "3"}, MM::Drive, true},
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
  EXPECT_EQ(rig.T().CurTest, c.test) << "runs until stopped";
  EXPECT_EQ(rig.f.LogCount(std::string("**** Starting ") + c.name + " Test ****"), 1);

  rig.Stop();
  ASSERT_TRUE(rig.RunToEnd(5.0));
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
  EXPECT_EQ(rig.f.LogCount(std::string("**** ") + c.name + " Test Completed ****"), 1);
  EXPECT_EQ(rig.Commands(), c.commands) << "switching the regulation off is StopTest's";
}

INSTANTIATE_TEST_SUITE_P(Modes, SimTarget, ::testing::ValuesIn(kTargets),
                         [](const auto& info) { return std::string(info.param.what); });

TEST(SimTargetStop, AStopInStageZeroOrOneSwitchesNoRegulatorOn) {
  for (auto [testIndex, stage] :
       {std::pair<int16_t, int>{test::Asm, 0}, {test::Asm, 1}, {test::VehicleSimulation, 1}}) {
    SCOPED_TRACE(testIndex * 10 + stage);
    test::SimRig rig;
    rig.Connect();
    rig.Start(testIndex);
    // Stage 0 stops before the poller's first step.
    if (stage == 1) {
      ASSERT_TRUE(rig.RunUntil([&] { return rig.T().TestStage == 1; }, 5.0, 1));
    }
    rig.Stop();
    ASSERT_TRUE(rig.RunToEnd(5.0));
    EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed);
    const auto commands = rig.Commands();
    if (stage == 1) {
      EXPECT_EQ(commands.at(0), "a") << "stage 0 had run";
    }
    for (const auto& c : commands) EXPECT_FALSE(c == "1" || c == "2" || c == "3" || c == "4") << c;
    EXPECT_EQ(rig.sim.Plant().Mode(), MachineMode::Off);
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
  EXPECT_TRUE(rig.T().TestAbortRequest);
  EXPECT_EQ(rig.T().LastTestCompletionStatus, ltcs::Completed) << "never reported as aborted";
}

}  // namespace
}  // namespace tavkelo
