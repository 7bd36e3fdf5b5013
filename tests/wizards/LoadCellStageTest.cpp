// The load-cell calibration one stage at a time, with the readings put in the store by the test:
// readiness bands, the expected torque, offset settling and its limits, the abort path, Help.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "WizardRig.hpp"

namespace tavkelo::test {
namespace {

TEST(LoadCellStages, ExpectedTorqueFromTheCalibrationWeight) {
  struct Case {
    float calWeight, rollFactor;  // tenths of a newton; roll factor
    double torque;                // ft-lb: 500 N is 112.4045 lbf, 100 N is 22.4809 lbf
    const char* shown;
  };
  for (const Case& c : {Case{5000.0f, 375.0f, 112.4045, "112.4"}, Case{1000.0f, 750.0f, 44.9618, "45.0"}}) {
    StageRig rig(1);
    rig.t.TestAbortRequest = true;  // left over from before the form opened: dropped
    EXPECT_EQ(rig.Step(), "E088");
    EXPECT_FALSE(rig.t.TestAbortRequest);
    EXPECT_TRUE(rig.t.WizardFormShown);
    rig.store.CalWeight = c.calWeight;
    rig.store.TorqueSpeedFactor = c.rollFactor;
    rig.store.DyneTorque = -1.234f;
    rig.Step();
    frmLCCal& form = rig.seq.Forms().LoadCellForm();
    EXPECT_NEAR(rig.record.ExpectedTorque, c.torque, 0.001);
    EXPECT_EQ(form.lblNVVal.Caption(), c.shown) << "the bare number, no unit";
    EXPECT_EQ(form.lblLoadVal.Caption(), "-1.23 ft-lb");
    EXPECT_EQ(rig.t.TestStage, 2);
  }
}

TEST(LoadCellStages, ConnectDevicesIsReadyFrom20To70FootPounds) {
  for (auto [torque, ready] : {std::pair{19.99f, false}, {20.0f, true}, {70.0f, true}, {70.01f, false}}) {
    SCOPED_TRACE(torque);
    StageRig rig(1);
    rig.OpenAt(9);
    rig.store.DyneTorque = torque;
    rig.Step();
    frmLCCal& form = rig.seq.Forms().LoadCellForm();
    EXPECT_EQ(form.lblInstLine1.Caption(), "Connect calibration");
    EXPECT_EQ(form.lblLoadVal.BackColor(), ready ? 16711680 : 255);
    EXPECT_EQ(rig.Press(WizardButton::Continue), ready) << "Continue is shown only when ready";
    rig.t.WizardContinuePressed = true;
    EXPECT_EQ(rig.Step(), ready ? "T" : "");
    EXPECT_EQ(rig.t.TestStage, ready ? 10 : 9);
    EXPECT_EQ(form.lblSL2.BackColor(), ready ? 255 : wizcolor::ButtonFace);
  }
}

TEST(LoadCellStages, PlaceWeightsIsReadyWithin25OfTheExpectedTorque) {
  struct Case {
    int16_t stage;
    float torque;
    const char* command;
  };
  const Case cases[] = {{12, 87.4f, "M"}, {12, 87.3f, ""}, {12, 137.4f, "M"}, {12, 137.5f, ""}, {16, 112.4f, "N"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.torque);
    StageRig rig(1);
    rig.OpenAt(c.stage);
    rig.record.ExpectedTorque = 112.4f;
    rig.store.DyneTorque = c.torque;
    rig.Step();
    rig.Press(WizardButton::Continue);
    EXPECT_EQ(rig.Step(), c.command);
  }
}

TEST(LoadCellStages, AReadyGatedPromptIsDrawnOnlyWhenReadinessChanges) {
  StageRig rig(1);
  rig.OpenAt(14);  // remove weights: ready at 25 ft-lb or less
  frmLCCal& form = rig.seq.Forms().LoadCellForm();
  rig.store.DyneTorque = 60.0f;
  rig.Step();
  form.lblInstLine7.SetCaption("scribble");
  rig.Step();
  EXPECT_EQ(form.lblInstLine7.Caption(), "scribble") << "not drawn again while nothing changes";
  rig.store.DyneTorque = 24.0f;
  rig.Step();
  EXPECT_EQ(form.lblInstLine7.Caption(), "");
  EXPECT_TRUE(form.cmdContinue.Visible());
  rig.store.DyneTorque = 26.0f;
  rig.Step();
  EXPECT_FALSE(form.cmdContinue.Visible());
  EXPECT_EQ(rig.t.TestStage, 14);
}

// The torque held at 0.06 ft-lb, just outside the zero band, for an exact time since the mark.
TEST(LoadCellStages, SettlingLimitsOfTheThreeOffsetStages) {
  struct Case {
    int16_t stage;
    int32_t elapsedMs;
    const char* command;  // "" while the stage still waits
  };
  const Case cases[] = {{10, 150000, ""}, {10, 150001, "U"}, {15, 149999, ""},
                        {15, 150000, "U"}, {18, 149999, ""}, {18, 150000, "V"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.stage) + " after " + std::to_string(c.elapsedMs));
    StageRig rig(1);
    rig.OpenAt(c.stage);
    rig.store.DyneTorque = 0.06f;
    rig.record.StageMarkMs = rig.Tick() - c.elapsedMs;
    EXPECT_EQ(rig.Step(), c.command);
    const bool timedOut = *c.command != '\0';
    EXPECT_EQ(rig.t.TestAbortRequest, timedOut);
    EXPECT_EQ(rig.t.TestStage, timedOut ? c.stage + 1 : c.stage);
    if (timedOut) {
      // The time-out closes through 900 and 901 as an abort.
      EXPECT_EQ(rig.Step(), "V");
      rig.Step();
      EXPECT_EQ(rig.t.LastTestCompletionStatus, 2);
      EXPECT_EQ(rig.t.CurCalibration, 0);
      EXPECT_TRUE(rig.f.LogContains("**** Load Cell Calibration Aborted ****"));
    }
  }
}

// More than 5 s in the band; the mark of the last time the torque left it is not taken afresh
// when a settling stage begins.
TEST(LoadCellStages, AStaleInBandMarkCountsUntilTheTorqueLeavesTheBand) {
  for (auto [sinceAgoMs, command] : {std::pair{60000, "U"}, {5001, "U"}, {5000, ""}}) {
    SCOPED_TRACE(sinceAgoMs);
    StageRig rig(1);
    rig.OpenAt(14);
    rig.store.DyneTorque = 0.0f;
    rig.record.InBandSinceMs = rig.Tick() - sinceAgoMs;
    rig.Step();
    ASSERT_TRUE(rig.Press(WizardButton::Continue));
    ASSERT_EQ(rig.Step(), "T");
    EXPECT_EQ(rig.Step(), command) << "first step of stage 15";
    rig.store.DyneTorque = 0.051f;
    if (*command == '\0') {
      rig.Step();
      rig.store.DyneTorque = -0.049f;
      EXPECT_FALSE(rig.StepUntil([&] { return rig.t.TestStage == 16; }, 50, 100)) << "no more than 5 s";
      EXPECT_TRUE(rig.StepUntil([&] { return rig.t.TestStage == 16; }, 1, 100));
    }
  }
}

// Abort pressed once, twice before the next step, or again once the stage went to 900.
TEST(LoadCellStages, PressingAbortTwiceIsPressingItOnce) {
  auto run = [](int pressesBefore, bool pressAgainAt900) {
    StageRig rig(1);
    rig.OpenAt(4);
    rig.store.StatusBitsCopy[0] = true;
    rig.record.StageMarkMs = rig.Tick() - 5000;
    rig.Step();  // the clear-dyne prompt
    for (int i = 0; i < pressesBefore; ++i) EXPECT_TRUE(rig.Press(WizardButton::Abort));
    std::vector<int16_t> stages;
    while (rig.t.CurCalibration != 0 && stages.size() < 4) {
      rig.Step();
      stages.push_back(rig.t.TestStage);
      if (pressAgainAt900 && rig.t.TestStage == 900) rig.Press(WizardButton::Abort);
    }
    return std::tuple{rig.sent, stages, rig.t.LastTestCompletionStatus};
  };
  const auto once = run(1, false);
  EXPECT_EQ(once, (std::tuple{std::vector<std::string>{"V"}, std::vector<int16_t>{900, 901}, int16_t{2}}));
  EXPECT_EQ(run(2, false), once);
  EXPECT_EQ(run(1, true), once);
}

TEST(LoadCellStages, HelpNeverChangesTheSequence) {
  for (int16_t stage : {2, 9, 19}) {
    SCOPED_TRACE(stage);
    StageRig rig(1);
    rig.OpenAt(stage);
    rig.store.DyneTorque = 30.0f;
    rig.Step();
    const std::string before = StateText(*rig.f.ctx, rig.record, rig.seq.Forms());
    EXPECT_TRUE(rig.Press(WizardButton::Help));
    EXPECT_EQ(StateText(*rig.f.ctx, rig.record, rig.seq.Forms()), before);
    EXPECT_EQ(rig.Step(), "");
    EXPECT_EQ(rig.t.TestStage, stage) << "Help is no Continue";
  }
}

}  // namespace
}  // namespace tavkelo::test
