// Both calibrations one stage at a time, with the readings put in the store by the test: the
// expected torque, readiness bands, offset settling and its limits, the smoothed scale displays,
// a side's offset and the new amplification scale.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "WizardRig.hpp"

namespace tavkelo::test {
namespace {

TEST(LoadCellStages, ExpectedTorqueFromTheCalibrationWeight) {
  StageRig rig(1);
  rig.seq.RequestStop();  // before the form opened: dropped
  EXPECT_EQ(rig.Step(), "E088");
  EXPECT_FALSE(rig.t.TestAbortRequest);
  rig.store.CalWeight = 5000.0f;  // tenths of a newton: 500 N is 112.4045 lbf
  rig.store.TorqueSpeedFactor = 375.0f;
  rig.store.DyneTorque = -1.234f;
  rig.Step();
  EXPECT_NEAR(rig.record.ExpectedTorque, 112.4045, 0.001);
  EXPECT_EQ(rig.seq.Forms().LoadCellForm().lblNVVal.Caption(), "112.4")
      << "the bare number, no unit";
  EXPECT_EQ(rig.seq.Forms().LoadCellForm().lblLoadVal.Caption(), "-1.23 ft-lb");
  EXPECT_EQ(rig.t.TestStage, 2);
}

// The torque held at 0.06 ft-lb, just outside the zero band, for an exact time since the mark.
TEST(LoadCellStages, AnOffsetThatDoesNotSettleTimesOutIntoAnAbort) {
  struct Case {
    int16_t stage;
    int32_t elapsedMs;
    const char* command;  // "" while the stage still waits
  };
  const Case cases[] = {{10, 150000, ""},  {10, 150001, "U"}, {15, 149999, ""},
                        {15, 150000, "U"}, {18, 149999, ""},  {18, 150000, "V"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.stage) + " after " + std::to_string(c.elapsedMs));
    StageRig rig(1);
    rig.OpenAt(c.stage);
    rig.store.DyneTorque = 0.06f;
    rig.record.StageMarkMs = rig.Tick() - c.elapsedMs;
    EXPECT_EQ(rig.Step(), c.command);
    EXPECT_EQ(rig.t.TestAbortRequest, *c.command != '\0');
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
  }
}

TEST(WeightScaleStages, DisplaysAreSmoothedWithThreeQuartersOnTheOldValue) {
  StageRig rig(2);
  rig.OpenAt(3);
  rig.store.LeftWeight = 100.0f;
  rig.store.RightWeight = 40.0f;
  rig.record.Right.ScaleOffset = 8.0f;
  for (auto [left, right] : {std::pair{25.0, 8.0}, {43.75, 14.0}, {57.8125, 18.5}}) {
    rig.Step();
    EXPECT_DOUBLE_EQ(rig.record.Left.ScaleDisplay, left);
    EXPECT_DOUBLE_EQ(rig.record.Right.ScaleDisplay, right);
  }
  EXPECT_EQ(rig.seq.Forms().WeightScaleForm().lblLeftWSVal.Caption(), "58");
  EXPECT_EQ(rig.seq.Forms().WeightScaleForm().lblRightWSVal.Caption(), "19");
}

// Continue is offered, with the reading on blue (else red), only within the ready band, and the
// load cell's step takes it. Load cell (expected torque 112.4 ft-lb): devices connected 20 to 70;
// weights within 25 of the expected torque; removed 25 or less. Weight scales: connected from
// 50 lb; weights from half to one and a half times the nominal 440.8 lb.
TEST(Stages, ContinueIsOfferedAndTakenOnlyWithinTheReadyBand) {
  constexpr int32_t kLc = calibration::LoadCell, kWs = calibration::WeightScales;
  struct Case {
    int32_t calibration;
    int16_t stage;
    float reading;
    const char* command;  // the load cell's on Continue, "" when not ready; "-": a ready scale
  };
  const Case cases[] = {
      {kLc, 9, 19.99f, ""},   {kLc, 9, 20.0f, "T"},   {kLc, 9, 70.0f, "T"},   {kLc, 9, 70.01f, ""},
      {kLc, 12, 87.3f, ""},   {kLc, 12, 87.4f, "M"},  {kLc, 12, 137.4f, "M"}, {kLc, 12, 137.5f, ""},
      {kLc, 16, 112.4f, "N"}, {kLc, 14, 25.0f, "T"},  {kLc, 14, 26.0f, ""},   {kWs, 6, 49.9f, ""},
      {kWs, 6, 50.0f, "-"},   {kWs, 10, 49.9f, ""},   {kWs, 10, 57.0f, "-"},  {kWs, 8, 220.3f, ""},
      {kWs, 8, 220.4f, "-"},  {kWs, 12, 661.2f, "-"}, {kWs, 12, 661.3f, ""}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.calibration) + " stage " + std::to_string(c.stage) + " at " +
                 std::to_string(c.reading));
    StageRig rig(c.calibration);
    rig.OpenAt(c.stage);
    const bool ready = *c.command != '\0';
    if (c.calibration == kLc) {
      rig.record.ExpectedTorque = 112.4f;
      rig.store.DyneTorque = c.reading;
      rig.Step();
      EXPECT_EQ(rig.seq.Forms().LoadCellForm().lblLoadVal.BackColor(), ready ? 16711680 : 255);
      EXPECT_EQ(rig.Press(WizardButton::Continue), ready) << "Continue is shown only when ready";
      rig.t.WizardContinuePressed = true;
      EXPECT_EQ(rig.Step(), c.command);
      EXPECT_EQ(rig.t.TestStage, ready ? c.stage + 1 : c.stage);
    } else {
      const bool left = c.stage <= 8;
      (left ? rig.record.Left : rig.record.Right).ScaleDisplay = c.reading;
      (left ? rig.store.LeftWeight : rig.store.RightWeight) = c.reading;
      rig.Step();
      frmWSCal& form = rig.seq.Forms().WeightScaleForm();
      EXPECT_EQ(form.cmdContinue.Visible(), ready);
      EXPECT_EQ((left ? form.lblLeftWSVal : form.lblRightWSVal).BackColor(),
                ready ? 16711680 : 255);
    }
  }
}

// The first 3000 ms never move the average; then the offset is taken once the display stayed
// within 10 lb for more than 5 s.
TEST(WeightScaleStages, TheOffsetStageWaits3000MsThenTakesASettledOffset) {
  StageRig rig(2);
  rig.OpenAt(7);
  rig.record.StageMarkMs = rig.Tick();
  rig.record.Left.ScaleOffsetAverage = 33.0f;  // whatever it was before
  rig.store.LeftWeight = 58.0f;
  for (int32_t at : {0, 1000, 2999}) {
    rig.AdvanceMs(at - (rig.Tick() - rig.record.StageMarkMs));
    rig.Step();
    EXPECT_EQ(rig.record.Left.ScaleOffsetAverage, 0.0f) << at;
  }
  rig.AdvanceMs(1);
  rig.Step();
  EXPECT_FLOAT_EQ(rig.record.Left.ScaleOffsetAverage, 58.0f / 5.0f) << "at 3000 ms";
  int32_t firstInBand = -1;
  ASSERT_TRUE(rig.StepUntil(
      [&] {
        if (firstInBand < 0 && std::fabs(rig.record.Left.ScaleDisplay) <= 10.0f)
          firstInBand = rig.Tick();
        return rig.t.TestStage == 8;
      },
      500, 100));
  EXPECT_EQ(rig.Tick() - firstInBand, 5000)
      << "the step after more than 5 s since the last one outside";
  EXPECT_NEAR(rig.record.Left.ScaleOffset, 58.0, 0.01);
  EXPECT_TRUE(rig.f.LogContains("Left Offset: 58"));
  EXPECT_TRUE(rig.sent.empty());
}

// After Continue and 5 s of settling: new scale = 440.8 / display x scale.
TEST(WeightScaleStages, TheNewAmplificationScaleMakesTheDisplayReadTheNominalLoad) {
  struct Case {
    int16_t stage;
    float display, scale;
    const char* command;
    float newScale;
    const char* logLine;
  };
  const Case cases[] = {{8, 220.4f, 1000.0f, "F061", 2000.0f, "New left side amp scale: 2000"},
                        {12, 661.2f, 1200.0f, "F059", 800.0f, "New right side amp scale: 800"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.logLine);
    StageRig rig(2);
    rig.OpenAt(c.stage);
    const bool left = c.stage == 8;
    (left ? rig.record.Left : rig.record.Right).ScaleDisplay = c.display;
    (left ? rig.store.LeftWeight : rig.store.RightWeight) = c.display;
    (left ? rig.store.AmplificationScale2 : rig.store.AmplificationScale1) = c.scale;
    rig.Step();
    ASSERT_TRUE(rig.Press(WizardButton::Continue));
    rig.Step();
    rig.AdvanceMs(4999);
    EXPECT_EQ(rig.Step(), "");
    rig.AdvanceMs(1);
    EXPECT_EQ(rig.Step(), c.command);
    EXPECT_NEAR(rig.lastValue, c.newScale, 0.01);
    EXPECT_TRUE(rig.f.LogContains(c.logLine));
  }
}

}  // namespace
}  // namespace tavkelo::test
