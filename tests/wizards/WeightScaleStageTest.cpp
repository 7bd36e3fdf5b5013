// The weight-scale calibration one stage at a time: the smoothed displays, the readiness of its
// prompts, finding a side's offset and the new amplification scale.

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "WizardRig.hpp"

namespace tavkelo::test {
namespace {

TEST(WeightScaleStages, DisplaysAreSmoothedWithThreeQuartersOnTheOldValue) {
  StageRig rig(2);
  rig.OpenAt(3);
  rig.store.LeftWeight = 100.0f;
  rig.store.RightWeight = 40.0f;
  rig.record.Right.ScaleOffset = 8.0f;
  const double left[] = {25.0, 43.75, 57.8125};
  const double right[] = {8.0, 14.0, 18.5};
  for (int i = 0; i < 3; ++i) {
    rig.Step();
    EXPECT_DOUBLE_EQ(rig.record.Left.ScaleDisplay, left[i]) << i;
    EXPECT_DOUBLE_EQ(rig.record.Right.ScaleDisplay, right[i]) << i;
  }
  EXPECT_EQ(rig.seq.Forms().WeightScaleForm().lblLeftWSVal.Caption(), "58");
  EXPECT_EQ(rig.seq.Forms().WeightScaleForm().lblRightWSVal.Caption(), "19");
}

// A steady display (raw weight equal to it, no offset) at the given stage: is Continue offered?
struct ReadyCase {
  int16_t stage;
  float display;
  bool ready;
};

TEST(WeightScaleStages, ConnectAtFiftyPoundsPlaceWeightsFromHalfToOneAndAHalfNominal) {
  const ReadyCase cases[] = {{6, 49.9f, false},   {6, 50.0f, true},    {10, 49.9f, false},  {10, 57.0f, true},
                             {8, 220.3f, false},  {8, 220.4f, true},   {12, 661.2f, true},  {12, 661.3f, false}};
  for (const ReadyCase& c : cases) {
    SCOPED_TRACE(std::to_string(c.stage) + " at " + std::to_string(c.display));
    StageRig rig(2);
    rig.OpenAt(c.stage);
    const bool left = c.stage <= 8;
    (left ? rig.record.Left : rig.record.Right).ScaleDisplay = c.display;
    (left ? rig.store.LeftWeight : rig.store.RightWeight) = c.display;
    rig.Step();
    frmWSCal& form = rig.seq.Forms().WeightScaleForm();
    EXPECT_EQ(form.cmdContinue.Visible(), c.ready);
    EXPECT_EQ((left ? form.lblLeftWSVal : form.lblRightWSVal).BackColor(), c.ready ? 16711680 : 255);
  }
}

TEST(WeightScaleStages, TheFirst3000MsOfAnOffsetStageNeverMoveTheAverage) {
  StageRig rig(2);
  rig.OpenAt(7);
  rig.record.StageMarkMs = rig.Tick();
  rig.record.Left.ScaleOffsetAverage = 33.0f;  // whatever it was before
  rig.store.LeftWeight = 58.0f;
  for (int32_t at : {0, 1000, 2999}) {
    rig.AdvanceMs(at - (rig.Tick() - rig.record.StageMarkMs));
    rig.Step();
    EXPECT_EQ(rig.record.Left.ScaleOffsetAverage, 0.0f) << at;
    EXPECT_EQ(rig.record.Left.ScaleOffset, 0.0f) << at;
  }
  rig.AdvanceMs(1);
  rig.Step();
  EXPECT_FLOAT_EQ(rig.record.Left.ScaleOffsetAverage, 58.0f / 5.0f) << "at 3000 ms";
  rig.Step();
  EXPECT_FLOAT_EQ(rig.record.Left.ScaleOffsetAverage, (4.0f * 11.6f + 58.0f) / 5.0f);
}

TEST(WeightScaleStages, TheOffsetIsTakenOnceTheDisplayStaysWithin10PoundsForMoreThan5Seconds) {
  StageRig rig(2);
  rig.OpenAt(6);
  rig.store.LeftWeight = 58.0f;
  rig.record.Left.ScaleDisplay = 58.0f;
  rig.Step();
  ASSERT_TRUE(rig.Press(WizardButton::Continue));
  rig.Step();
  ASSERT_EQ(rig.t.TestStage, 7);
  const int32_t mark = rig.Tick();
  int32_t firstInBand = -1;
  ASSERT_TRUE(rig.StepUntil(
      [&] {
        if (firstInBand < 0 && std::fabs(rig.record.Left.ScaleDisplay) <= 10.0f) firstInBand = rig.Tick();
        return rig.t.TestStage == 8;
      },
      500, 100));
  EXPECT_GE(firstInBand, mark + 3000);
  EXPECT_EQ(rig.Tick() - firstInBand, 5000) << "the step after more than 5 s since the last one outside";
  EXPECT_NEAR(rig.record.Left.ScaleOffset, 58.0, 0.01);
  EXPECT_EQ(rig.seq.Forms().WeightScaleForm().lblSL2.BackColor(), 65280);
  EXPECT_TRUE(rig.f.LogContains("Left Offset: 58"));
  EXPECT_TRUE(rig.sent.empty());
}

// After Continue and 5 s of settling: new scale = 440.8 / display x scale.
TEST(WeightScaleStages, NewAmplificationScaleMakesTheDisplayReadTheNominalLoad) {
  struct Case {
    int16_t stage;
    float display, scale;
    const char* command;
    float newScale;
    const char* logLine;
  };
  const Case cases[] = {{8, 220.4f, 1000.0f, "F061", 2000.0f, "New left side amp scale: 2000"},
                        {8, 661.2f, 1200.0f, "F061", 800.0f, "New left side amp scale: 800"},
                        {12, 440.8f, 970.0f, "F059", 970.0f, "New right side amp scale: 970"}};
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
    EXPECT_EQ(rig.Step(), "");
    EXPECT_EQ(rig.seq.Forms().WeightScaleForm().StepLamp(left ? 3 : 5).BackColor(), 255);
    rig.AdvanceMs(4999);
    EXPECT_EQ(rig.Step(), "");
    rig.AdvanceMs(1);
    EXPECT_EQ(rig.Step(), c.command);
    EXPECT_NEAR(rig.lastValue, c.newScale, 0.01);
    EXPECT_TRUE(rig.f.LogContains(c.logLine));
    EXPECT_EQ(rig.t.TestStage, c.stage + 1);
  }
}

}  // namespace
}  // namespace tavkelo::test
