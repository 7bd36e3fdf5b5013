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

struct LoadCellCase {
  const char* name;
  bool liftsUpAtStart;
  std::vector<std::string> commands;
};

class SimLoadCell : public ::testing::TestWithParam<LoadCellCase> {};

TEST_P(SimLoadCell, RunsToTheEndAndLeavesTheCellCalibrated) {
  const LoadCellCase& c = GetParam();
  KeloSimOptions options;
  options.physics.liftsUpAtStart = c.liftsUpAtStart;
  SimWizardRig rig(options);
  ASSERT_NE(rig.f.sim.Plant().GetLoadCell().Gain(), 1.0) << "the cell starts off calibration";
  rig.Start(gQRTXAIIPAU1Torque);

  ScriptedOperator op(rig.f.sim, rig.wizards.Forms());
  int helpChecks = 0;
  std::vector<int32_t> lampsAtTheEnd;
  bool abortHiddenAtTheEnd = false;
  op.onNewPrompt = [&](WizardForm& form) {
    // Help, pressed at every prompt, changes nothing the sequence keeps.
    const std::string before = StateText(*rig.f.ctx, rig.wizards.Record(), rig.wizards.Forms());
    EXPECT_TRUE(rig.wizards.PressButton(WizardButton::Help));
    EXPECT_EQ(StateText(*rig.f.ctx, rig.wizards.Record(), rig.wizards.Forms()), before) << form.lblInstLine1.Caption();
    ++helpChecks;
    if (form.lblInstLine1.Caption() == "Calibration complete.") {
      for (int n = 1; n <= 6; ++n) lampsAtTheEnd.push_back(form.StepLamp(n).BackColor());
      abortHiddenAtTheEnd = !form.cmdAbort.Visible() && !rig.wizards.PressButton(WizardButton::Abort);
    }
  };
  ASSERT_TRUE(rig.RunToEnd(600, &op)) << "stage " << rig.f.ctx->test.TestStage;

  EXPECT_EQ(rig.Commands(), c.commands);
  const SharedTestState& t = rig.f.ctx->test;
  EXPECT_EQ(t.LastTestCompletionStatus, 3);
  EXPECT_EQ(t.LcwsStatus, 3);
  EXPECT_EQ(rig.OpenForm(), nullptr);
  EXPECT_TRUE(rig.f.LogContains("**** Starting Load Cell Calibration ****"));
  EXPECT_TRUE(rig.f.LogContains("**** Load Cell Calibration Completed ****"));
  EXPECT_EQ(lampsAtTheEnd, std::vector<int32_t>(6, 65280));
  EXPECT_TRUE(abortHiddenAtTheEnd);
  EXPECT_GE(helpChecks, 10);
  EXPECT_GE(rig.f.host->notices.Since(0).size(), static_cast<size_t>(helpChecks));
  // Three weights make CAL_WEIGHT in the simulator: a calibrated cell has a gain of 1, its zero
  // at the bare cell, and the controller's offset adjustment is back to normal.
  const LoadCell& cell = rig.f.sim.Plant().GetLoadCell();
  EXPECT_NEAR(cell.Gain(), 1.0, 1e-3);
  EXPECT_NEAR(cell.ReadingLbf(), 0.0, 0.05);
  EXPECT_EQ(cell.GetOffsetMode(), LoadCell::OffsetMode::Normal);
  EXPECT_NEAR(*rig.f.sim.VariableValue(36), 1600.0, 1e-6);
}

const std::vector<std::string> kLoadCellCommands = {"E088", "5", "F036=1600", "U", "L", "T", "U",
                                                    "M",    "T", "U",         "N", "T", "V", "V"};

std::vector<std::string> Without(std::vector<std::string> all, const std::string& name) {
  std::erase(all, name);
  return all;
}

INSTANTIATE_TEST_SUITE_P(Lifts, SimLoadCell,
                         ::testing::Values(LoadCellCase{"LiftsDown", false, kLoadCellCommands},
                                           LoadCellCase{"LiftsAlreadyUp", true, Without(kLoadCellCommands, "5")}),
                         [](const auto& info) { return std::string(info.param.name); });

struct ScaleCase {
  const char* name;
  double rightScale;  // variable 59
  double leftScale;   // variable 61
};

class SimWeightScales : public ::testing::TestWithParam<ScaleCase> {};

TEST_P(SimWeightScales, BothSidesEndWithTheTrueScale) {
  const ScaleCase& c = GetParam();
  KeloSimOptions options;
  options.setup[59] = c.rightScale;
  options.setup[61] = c.leftScale;
  SimWizardRig rig(options);
  const double trueScale = options.physics.scales.trueScale;
  rig.Start(gQRTXAIILeftScale);
  ScriptedOperator op(rig.f.sim, rig.wizards.Forms());
  ASSERT_TRUE(rig.RunToEnd(600, &op)) << "stage " << rig.f.ctx->test.TestStage;

  // Requests in order; the two writes carry the new scales.
  std::vector<std::string> names;
  for (const std::string& n : rig.Commands()) names.push_back(n.substr(0, n.find('=')));
  EXPECT_EQ(names, (std::vector<std::string>{"E059", "E061", "5", "F061", "F059", "6", "V", "5", "V"}));
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, 3);
  EXPECT_EQ(rig.f.ctx->test.LcwsStatus, 3);
  EXPECT_EQ(rig.OpenForm(), nullptr);

  // The simulator shows raw x scale / true scale, and the controller reports scale weights in
  // whole pounds. The empty device weighs 57 lb and the five weights 440.8 lb, so each side's
  // display of the weights is round((57 + 440.8) x scale / true) - round(57 x scale / true), and
  // its new scale 440.8 / that x scale: the true scale within the reading's resolution.
  auto expectedScale = [&](double scale) {
    const double display = std::round((57.0 + 440.8) * scale / trueScale) - std::round(57.0 * scale / trueScale);
    return 440.8 / display * scale;
  };
  SetupMemory& setup = rig.f.sim.Setup();
  EXPECT_NEAR(setup.Get(61), expectedScale(c.leftScale), 0.01);
  EXPECT_NEAR(setup.Get(59), expectedScale(c.rightScale), 0.01);
  EXPECT_NEAR(setup.Get(61), trueScale, 2.5);
  EXPECT_NEAR(setup.Get(59), trueScale, 2.5);
  DynePlant& plant = rig.f.sim.Plant();
  plant.SetScaleLoad(ScaleSide::Left, 800.0);
  plant.SetScaleLoad(ScaleSide::Right, 650.0);
  EXPECT_NEAR(*rig.f.sim.VariableValue(217), 800.0, 2.0);
  EXPECT_NEAR(*rig.f.sim.VariableValue(216), 650.0, 2.0);

  auto whole = [](double v) { return std::to_string(static_cast<long>(std::round(v))); };
  EXPECT_TRUE(rig.f.LogContains("**** Starting Weight Scale Calibration ****\r\n"
                                "            Current left  side amp scale: " + whole(c.leftScale) + "\r\n" +
                                "            Current right side amp scale: " + whole(c.rightScale) + "\r\n"));
  // The offset is the empty device as each scale showed it before its calibration.
  EXPECT_TRUE(rig.f.LogContains("Left Offset: " + whole(57.0 * c.leftScale / trueScale)));
  EXPECT_TRUE(rig.f.LogContains("Right Offset: " + whole(57.0 * c.rightScale / trueScale)));
  EXPECT_TRUE(rig.f.LogContains("New left side amp scale: " + whole(expectedScale(c.leftScale))));
  EXPECT_TRUE(rig.f.LogContains("New right side amp scale: " + whole(expectedScale(c.rightScale))));
  EXPECT_TRUE(rig.f.LogContains("**** Begin Left Side Weight Scale Calibration ****"));
  EXPECT_TRUE(rig.f.LogContains("**** Begin Right Side Weight Scale Calibration ****"));
  EXPECT_TRUE(rig.f.LogContains("**** Weight Scale Calibration Completed ****"));
}

INSTANTIATE_TEST_SUITE_P(Scales, SimWeightScales,
                         ::testing::Values(ScaleCase{"Factory", 970.0, 1030.0}, ScaleCase{"FarOff", 900.0, 1100.0}),
                         [](const auto& info) { return std::string(info.param.name); });

struct AbortCase {
  const char* name;
  QRTXAnalogInputIndeces input;
  std::vector<std::string> commands;
  const char* logLine;
};

class SimAbort : public ::testing::TestWithParam<AbortCase> {};

// Abort at the first prompt, before its Continue.
TEST_P(SimAbort, AbortBeforeContinueClosesAsAborted) {
  const AbortCase& c = GetParam();
  SimWizardRig rig;
  rig.Start(c.input);
  ASSERT_TRUE(rig.RunUntil(
      [&] {
        WizardForm* form = rig.OpenForm();
        return form != nullptr && form->cmdContinue.Visible() && form->lblInstLine1.Caption() == "      *** CAUTION ***";
      },
      30, nullptr));
  EXPECT_TRUE(rig.wizards.PressButton(WizardButton::Abort));
  ASSERT_TRUE(rig.RunToEnd(30, nullptr));
  EXPECT_EQ(rig.Commands(), c.commands);
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, 2);
  EXPECT_EQ(rig.f.ctx->test.LcwsStatus, 3);
  EXPECT_EQ(rig.OpenForm(), nullptr);
  EXPECT_TRUE(rig.f.LogContains(c.logLine));
  EXPECT_EQ(rig.k->LastTestCompletionStatus(), gQRTXLTCSIAborted);
}

INSTANTIATE_TEST_SUITE_P(
    BothCalibrations, SimAbort,
    ::testing::Values(AbortCase{"LoadCell", gQRTXAIIPAU1Torque, {"E088", "V"}, "**** Load Cell Calibration Aborted ****"},
                      AbortCase{"WeightScales",
                                gQRTXAIIRightScale,
                                {"E059", "E061", "V"},
                                "**** Weight Scale Calibration Aborted ****"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(SimLoadCellTimeOut, AnOffsetThatNeverSettlesAbortsAfter150Seconds) {
  KeloSimOptions options;
  options.physics.loadCell.autoOffsetTimeS = 1e9;  // the automatic offset adjustment never gets there
  SimWizardRig rig(options);
  rig.Start(gQRTXAIIPAU1Torque);
  ScriptedOperator op(rig.f.sim, rig.wizards.Forms());
  ASSERT_TRUE(rig.RunToEnd(600, &op));
  EXPECT_EQ(rig.Commands(), (std::vector<std::string>{"E088", "5", "F036=1600", "U", "L", "T", "U", "V"}));
  const double on = rig.FirstTimeMs("T");
  const double off = rig.FirstTimeMs("U", on);
  EXPECT_GE(off - on, 150000.0);
  EXPECT_LT(off - on, 151000.0);
  EXPECT_EQ(rig.f.ctx->test.LastTestCompletionStatus, 2);
  EXPECT_TRUE(rig.f.LogContains("**** Load Cell Calibration Aborted ****"));
  EXPECT_EQ(rig.f.sim.Plant().GetLoadCell().GetOffsetMode(), LoadCell::OffsetMode::Normal);
}

}  // namespace
}  // namespace tavkelo::test
