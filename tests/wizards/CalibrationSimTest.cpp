// Both calibrations end to end: the engine with an interface object and the controller
// simulator on the virtual-time loop, started through SpanAnalogInput and operated by a scripted
// technician who does what the form asks.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "WizardRig.hpp"

namespace tavkelo::test {
namespace {

class SimLoadCell : public ::testing::TestWithParam<bool> {};  // the lifts already up at the start?

TEST_P(SimLoadCell, RunsToTheEndAndLeavesTheCellCalibrated) {
  KeloSimOptions options;
  options.physics.liftsUpAtStart = GetParam();
  SimWizardRig rig(options);
  ASSERT_NE(rig.f.sim.Plant().GetLoadCell().Gain(), 1.0) << "the cell starts off calibration";
  rig.Start(gQRTXAIIPAU1Torque);

  ScriptedOperator op(rig.f.sim, rig.wizards.Forms());
  bool abortHiddenAtTheEnd = false;
  op.onNewPrompt = [&](WizardForm& form) {
    if (form.lblInstLine1.Caption() == "Calibration complete.") {
      abortHiddenAtTheEnd =
          !form.cmdAbort.Visible() && !rig.wizards.PressButton(WizardButton::Abort);
    }
  };
  ASSERT_TRUE(rig.RunToEnd(600, &op)) << "stage " << rig.f.ctx->test.TestStage;

  std::vector<std::string> expected = {"E088", "5", "F036=1600", "U", "L", "T", "U",
                                       "M",    "T", "U",         "N", "T", "V", "V"};
  if (GetParam()) std::erase(expected, "5");  // no "Raise Lifts"
  EXPECT_EQ(rig.Commands(), expected);
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, 3);
  EXPECT_EQ(rig.OpenForm(), nullptr);
  EXPECT_TRUE(rig.f.LogContains("**** Load Cell Calibration Completed ****"));
  EXPECT_TRUE(abortHiddenAtTheEnd);
  // Three weights make CAL_WEIGHT in the simulator: a calibrated cell has a gain of 1, its zero
  // at the bare cell, and the controller's offset adjustment is back to normal.
  const LoadCell& cell = rig.f.sim.Plant().GetLoadCell();
  EXPECT_NEAR(cell.Gain(), 1.0, 1e-3);
  EXPECT_NEAR(cell.ReadingLbf(), 0.0, 0.05);
  EXPECT_EQ(cell.GetOffsetMode(), LoadCell::OffsetMode::Normal);
}

INSTANTIATE_TEST_SUITE_P(Lifts, SimLoadCell, ::testing::Bool(), [](const auto& info) {
  return info.param ? "LiftsAlreadyUp" : "LiftsDown";
});

TEST(SimWeightScales, BothSidesEndWithTheTrueScale) {
  SimWizardRig rig;  // right scale (variable 59) 970, left (61) 1030
  const double trueScale = KeloSimOptions{}.physics.scales.trueScale;
  rig.Start(gQRTXAIILeftScale);
  ScriptedOperator op(rig.f.sim, rig.wizards.Forms());
  ASSERT_TRUE(rig.RunToEnd(600, &op)) << "stage " << rig.f.ctx->test.TestStage;

  std::vector<std::string> names;
  for (const std::string& n : rig.Commands()) names.push_back(n.substr(0, n.find('=')));
  EXPECT_EQ(names,
            (std::vector<std::string>{"E059", "E061", "5", "F061", "F059", "6", "V", "5", "V"}));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, 3);
  EXPECT_EQ(rig.OpenForm(), nullptr);

  // The simulator shows raw x scale / true scale in whole pounds. The empty device weighs 57 lb
  // and the five weights 440.8 lb, so a side displays round((57 + 440.8) x scale / true) -
  // round(57 x scale / true) for the weights, and its new scale is 440.8 / that x scale.
  auto expectedScale = [&](double scale) {
    return 440.8 / (std::round(497.8 * scale / trueScale) - std::round(57.0 * scale / trueScale)) *
           scale;
  };
  EXPECT_NEAR(rig.f.sim.Setup().Get(61), expectedScale(1030.0), 0.01);
  EXPECT_NEAR(rig.f.sim.Setup().Get(59), expectedScale(970.0), 0.01);
  rig.f.sim.Plant().SetScaleLoad(ScaleSide::Left, 800.0);
  EXPECT_NEAR(*rig.f.sim.VariableValue(217), 800.0, 2.0) << "a wheel now weighs true";
  EXPECT_TRUE(
      rig.f.LogContains("**** Starting Weight Scale Calibration ****\r\n"
                        "            Current left  side amp scale: 1030\r\n"
                        "            Current right side amp scale: 970\r\n"));
  EXPECT_TRUE(rig.f.LogContains("**** Weight Scale Calibration Completed ****"));
}

class SimAbort : public ::testing::TestWithParam<bool> {};  // the load cell, else the weight scales

// Abort (pressed twice) at the first prompt, before its Continue.
TEST_P(SimAbort, AbortBeforeContinueClosesAsAborted) {
  SimWizardRig rig;
  rig.Start(GetParam() ? gQRTXAIIPAU1Torque : gQRTXAIIRightScale);
  ASSERT_TRUE(rig.RunUntil(
      [&] {
        WizardForm* form = rig.OpenForm();
        return form != nullptr && form->cmdContinue.Visible() &&
               form->lblInstLine1.Caption() == "      *** CAUTION ***";
      },
      30, nullptr));
  EXPECT_TRUE(rig.wizards.PressButton(WizardButton::Abort));
  EXPECT_TRUE(rig.wizards.PressButton(WizardButton::Abort));
  ASSERT_TRUE(rig.RunToEnd(30, nullptr));
  // Stage 900 sends "Auto Offset Adjust Normal" (V).
  EXPECT_EQ(rig.Commands(), (GetParam() ? std::vector<std::string>{"E088", "V"}
                                        : std::vector<std::string>{"E059", "E061", "V"}));
  EXPECT_EQ(rig.k->LastTestCompletionStatus(), gQRTXLTCSIAborted);
  EXPECT_EQ(rig.OpenForm(), nullptr);
  EXPECT_TRUE(rig.f.LogContains(GetParam() ? "**** Load Cell Calibration Aborted ****"
                                           : "**** Weight Scale Calibration Aborted ****"));
}

INSTANTIATE_TEST_SUITE_P(BothCalibrations, SimAbort, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "LoadCell" : "WeightScales"; });

TEST(SimLoadCellTimeOut, AnOffsetThatNeverSettlesAbortsAfter150Seconds) {
  KeloSimOptions options;
  options.physics.loadCell.autoOffsetTimeS =
      1e9;  // the automatic offset adjustment never gets there
  SimWizardRig rig(options);
  rig.Start(gQRTXAIIPAU1Torque);
  ScriptedOperator op(rig.f.sim, rig.wizards.Forms());
  ASSERT_TRUE(rig.RunToEnd(600, &op));
  EXPECT_EQ(rig.Commands(),
            (std::vector<std::string>{"E088", "5", "F036=1600", "U", "L", "T", "U", "V"}));
  const double on = rig.FirstTimeMs("T");
  const double off = rig.FirstTimeMs("U", on);
  EXPECT_GE(off - on, 150000.0);
  EXPECT_LT(off - on, 151000.0);
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, 2);
  EXPECT_EQ(rig.f.LogCount("Load cell offset not settled within 150 s: calibration aborted"), 1);
  EXPECT_EQ(rig.f.sim.Plant().GetLoadCell().GetOffsetMode(), LoadCell::OffsetMode::Normal);
}

}  // namespace
}  // namespace tavkelo::test
