#include "sequences/TargetTest.hpp"

#include <exception>

#include "link/KeloContext.hpp"
#include "platform/VbError.hpp"

namespace tavkelo {

namespace {
// Constant-target modes (0 is manual: no regulator).
constexpr int32_t kModeTorque = 1;
constexpr int32_t kModeSpeed = 2;
constexpr int32_t kModePower = 3;
}  // namespace

std::string TargetTest::NameOf(int16_t curTest, int32_t mode) {
  switch (curTest) {
    case test::ConstantTarget:
      if (mode == kModeTorque) return "Constant Load";
      if (mode == kModeSpeed) return "Constant Speed";
      if (mode == kModePower) return "Constant Power";
      return "Constant";
    case test::Asm:
      return "ASM";
    case test::VehicleSimulation:
      return "Vehicle Simulation";
    default:
      return "";
  }
}

void TargetTest::NewRun() {
  ended_ = false;
  testName_ = NameOf(ctx_.test.CurTest, ctx_.params.ConstantTargetTestMode);
}

void TargetTest::PerformTargetTest() {
  RunStep("PerformTargetTest", [this] { Step(); });
}

void TargetTest::Step() {
  SharedTestState& t = ctx_.test;
  t.TestCommandPending = false;

  if (t.TestAbortRequest) {
    if (!ended_) {
      ended_ = true;
      t.TestStage = 999;
    }
  } else if (ctx_.store.DeviceError()) {
    t.TestAbortRequest = true;
  }

  const int32_t mode = ctx_.params.ConstantTargetTestMode;
  switch (t.TestStage) {
    case 0:
      testName_ = NameOf(t.CurTest, mode);
      TestLog("**** Starting " + testName_ + " Test ****");
      if ((t.CurTest == test::ConstantTarget && mode == kModeSpeed) || t.CurTest == test::Asm ||
          t.CurTest == test::VehicleSimulation) {
        SendTestCommand(cmd::BeltCompensationOn);
      }
      t.TestStage = 1;
      break;
    case 1:
      t.TestStage = 2;  // one idle step for the command's reply
      break;
    case 2:
      if (t.CurTest == test::ConstantTarget) {
        if (mode == kModeTorque) SendTestCommand(cmd::TorqueRegulatorOn);
        if (mode == kModeSpeed) SendTestCommand(cmd::SpeedRegulatorOn);
        if (mode == kModePower) SendTestCommand(cmd::AsmRegulatorOn);
      } else if (t.CurTest == test::Asm) {
        SendTestCommand(cmd::AsmRegulatorOn);
      } else if (t.CurTest == test::VehicleSimulation) {
        SendTestCommand(cmd::DriveRegulatorOn);
      }
      t.TestStage = 999;
      break;
    default:  // 999: runs until stopped
      if (ended_) {
        TestLog("**** " + testName_ + " Test Completed ****");
        t.LastTestCompletionStatus = ltcs::Completed;
        t.CurTest = test::None;
      }
      break;
  }
}

}  // namespace tavkelo
