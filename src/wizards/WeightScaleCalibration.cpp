#include "wizards/WeightScaleCalibration.hpp"

#include <cmath>
#include <exception>

#include "link/DyneVocabulary.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

float WeightScaleCalibration::NewAmplificationScale(float display, float currentScale) {
  return static_cast<float>(kNominalLb / static_cast<double>(display) *
                            static_cast<double>(currentScale));
}

void WeightScaleCalibration::PerformWeightScaleCalibration() {
  RunStep("PerformWeightScaleCalibration", [this] { Step(); });
}

void WeightScaleCalibration::Smooth(CalibrationRecord::ScaleRecord& scale, float rawWeight) {
  // First order, three quarters of the weight on the old value. Worked out in double so that a
  // steady reading stays exactly where it is.
  scale.ScaleDisplay = static_cast<float>((static_cast<double>(rawWeight) - scale.ScaleOffset +
                                           3.0 * static_cast<double>(scale.ScaleDisplay)) /
                                          4.0);
}

WeightScaleCalibration::Side WeightScaleCalibration::LeftSide() {
  return Side{record_.Left, ctx_.store.LeftWeight, Form().lblLeftWSVal, 2, 3};
}

WeightScaleCalibration::Side WeightScaleCalibration::RightSide() {
  return Side{record_.Right, ctx_.store.RightWeight, Form().lblRightWSVal, 4, 5};
}

void WeightScaleCalibration::Step() {
  SharedTestState& t = ctx_.test;
  t.TestCommandPending = false;
  if (t.WizardFormShown) {
    Smooth(record_.Left, ctx_.store.LeftWeight);
    Smooth(record_.Right, ctx_.store.RightWeight);
    Form().lblLeftWSVal.SetCaption(VbFormat(record_.Left.ScaleDisplay, "#0"));
    Form().lblRightWSVal.SetCaption(VbFormat(record_.Right.ScaleDisplay, "#0"));
  }
  CheckAbortRequest();
  if (t.TestStage >= 0 && t.TestStage < kClosingStage) {
    RunStage(t.TestStage);
  } else if (t.TestStage == kClosingStage) {
    CloseCalibration();
  } else if (t.TestStage == kFinishStage) {
    forms_.UnloadWeightScaleForm();
    FinishCalibration("**** Weight Scale Calibration Aborted ****",
                      "**** Weight Scale Calibration Completed ****");
  }
}

void WeightScaleCalibration::ConnectStage(const Side& side, ReadyPrompt prompt) {
  const bool ready = side.scale.ScaleDisplay >= kDeviceOnLb;
  if (!ReadyGatedPrompt(Form(), prompt, ready, side.liveValue)) return;
  Form().StepLamp(side.compensateLamp).SetBackColor(wizcolor::Red);
  Form().ShowProcessing();
  MarkStage();
  // The display must stay near zero for the whole steady time after this mark.
  record_.InBandSinceMs = ctx_.Tick();
  side.scale.ScaleOffsetAverage = 0.0f;
  ++ctx_.test.TestStage;
}

void WeightScaleCalibration::OffsetStage(const Side& side, const char* logLabel) {
  CalibrationRecord& r = record_;
  CalibrationRecord::ScaleRecord& s = side.scale;
  r.NowMs = ctx_.Tick();
  if (TickDiff(r.NowMs, r.StageMarkMs) < kOffsetHoldMs) {
    s.ScaleOffsetAverage = 0.0f;
  } else {
    s.ScaleOffsetAverage = static_cast<float>((4.0 * s.ScaleOffsetAverage + side.rawWeight) / 5.0);
  }
  // The offset follows the average while it is being found, so the display sinks to zero as the
  // device's own weight is taken out; the value at acceptance is the one kept.
  s.ScaleOffset = s.ScaleOffsetAverage;
  if (std::fabs(static_cast<double>(s.ScaleDisplay)) <= kOffsetBandLb) {
    r.InBandNowMs = ctx_.Tick();
    if (TickDiff(r.InBandNowMs, r.InBandSinceMs) <= kOffsetSteadyMs) return;
  } else {
    r.InBandSinceMs = ctx_.Tick();
    return;
  }
  Form().StepLamp(side.compensateLamp).SetBackColor(wizcolor::Green);
  CalLog(std::string(logLabel) + VbFormat(s.ScaleOffset, "#0"));
  ResetPrompt();
  ++ctx_.test.TestStage;
}

void WeightScaleCalibration::WeightsStage(const Side& side, float currentScale,
                                          uint8_t scaleVariable, const char* logLabel) {
  CalibrationRecord& r = record_;
  if (!r.WeightsSettling) {
    const float display = side.scale.ScaleDisplay;
    const bool ready = display >= kWeightsLowLb && display <= kWeightsHighLb;
    if (!ReadyGatedPrompt(Form(), &WizardForm::ShowPlace5WeightsPrompt, ready, side.liveValue))
      return;
    Form().StepLamp(side.calibrateLamp).SetBackColor(wizcolor::Red);
    Form().ShowProcessing();
    MarkStage();
    r.WeightsSettling = true;
    return;
  }
  if (!StageElapsed(kWeightsSettleMs)) return;
  r.WeightsSettling = false;
  const float newScale = NewAmplificationScale(side.scale.ScaleDisplay, currentScale);
  CalLog(std::string(logLabel) + VbFormat(newScale, "#0"));
  SendCalCommand(cmd::WriteVariable, scaleVariable, newScale);
  ++ctx_.test.TestStage;
}

void WeightScaleCalibration::RunStage(int16_t stage) {
  SharedTestState& t = ctx_.test;
  CalibrationRecord& r = record_;
  const ReadingsStore& store = ctx_.store;
  auto next = [&t](int16_t s) { t.TestStage = s; };
  switch (stage) {
    case 0:
      // A new run starts from clean figures on both sides.
      r.Left = {};
      r.Right = {};
      r.WeightsSettling = false;
      SendCalCommand(cmd::GetVariable, var::AMPLIFICATION_SCALE1);
      next(1);
      break;
    case 1:
      SendCalCommand(cmd::GetVariable, var::AMPLIFICATION_SCALE2);
      next(2);
      break;
    case 2: {
      CalLog(
          "**** Starting Weight Scale Calibration ****\r\n"
          "            Current left  side amp scale: " +
          VbFormat(store.AmplificationScale2, "#0") + "\r\n" +
          "            Current right side amp scale: " + VbFormat(store.AmplificationScale1, "#0"));
      RememberForegroundWindow();
      forms_.UnloadWeightScaleForm();
      frmWSCal& form = Form();
      form.Show();
      t.WizardFormShown = true;
      form.ClearInstructions();
      form.lblNVVal.SetCaption(VbFormat(kNominalLb, "#0") + "lbs");
      form.ShowLiftRaiseCaution();
      t.WizardContinuePressed = false;
      next(3);
      break;
    }
    case 3:
      if (!t.WizardContinuePressed) return;
      Form().lblSL1.SetBackColor(wizcolor::Red);
      Form().ShowProcessing();
      if (!LiftsUp() && LiftsDown()) SendCalCommand(cmd::RaiseLifts);
      next(4);
      break;
    case 4:
      if (!(LiftsUp() && !LiftsDown())) return;
      MarkStage();
      next(5);
      break;
    case 5:
      if (!StageElapsed(5000)) return;
      Form().lblSL1.SetBackColor(wizcolor::Green);
      CalLog("**** Begin Left Side Weight Scale Calibration ****");
      ResetPrompt();
      next(6);
      break;
    case 6:
      ConnectStage(LeftSide(), &WizardForm::ShowConnectLeftScalePrompt);
      break;
    case 7:
      OffsetStage(LeftSide(), "Left Offset: ");
      break;
    case 8:
      WeightsStage(LeftSide(), store.AmplificationScale2, var::AMPLIFICATION_SCALE2,
                   "New left side amp scale: ");
      break;
    case 9:
      // The left scale's write has been answered: its calibration is done.
      Form().lblSL3.SetBackColor(wizcolor::Green);
      CalLog("**** Begin Right Side Weight Scale Calibration ****");
      ResetPrompt();
      next(10);
      break;
    case 10:
      ConnectStage(RightSide(), &WizardForm::ShowConnectRightScalePrompt);
      break;
    case 11:
      OffsetStage(RightSide(), "Right Offset: ");
      break;
    case 12:
      WeightsStage(RightSide(), store.AmplificationScale1, var::AMPLIFICATION_SCALE1,
                   "New right side amp scale: ");
      break;
    case 13:
      Form().lblSL5.SetBackColor(wizcolor::Green);
      r.Right.ScaleOffset = 0.0f;
      next(14);
      break;
    case 14:
      Form().ShowRemoveAllPrompt(true);
      t.WizardContinuePressed = false;
      next(15);
      break;
    case 15:
      if (!t.WizardContinuePressed) return;
      r.Left.ScaleOffset = 0.0f;
      r.Right.ScaleOffset = 0.0f;
      Form().ShowLiftLowerCaution();
      t.WizardContinuePressed = false;
      next(16);
      break;
    case 16:
      if (!t.WizardContinuePressed) return;
      Form().lblSL6.SetBackColor(wizcolor::Red);
      Form().ShowProcessing();
      SendCalCommand(cmd::LowerLifts);
      next(17);
      break;
    case 17:
      if (!(!LiftsUp() && LiftsDown())) return;
      MarkStage();
      next(18);
      break;
    case 18:
      if (!StageElapsed(5000)) return;
      Form().lblSL6.SetBackColor(wizcolor::Green);
      SendCalCommand(cmd::AutoOffsetAdjustNormal);
      Form().ShowCalibrationCompletePrompt();
      t.WizardContinuePressed = false;
      next(19);
      break;
    case 19:
      if (!t.WizardContinuePressed) return;
      // Raising the lift again after the closing prompt is deliberate.
      SendCalCommand(cmd::RaiseLifts);
      next(kClosingStage);
      break;
    default:
      break;
  }
}

}  // namespace tavkelo
