#include "wizards/LoadCellCalibration.hpp"

#include <exception>

#include "link/DyneVocabulary.hpp"
#include "link/KeloContext.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"

namespace tavkelo {

namespace {
constexpr double kNewtonPerLbf = 4.4482197761535645;
// The error number of a settling stage out of time: the calibration's own, no runtime error is
// pending.
constexpr int32_t kSettlingTimedOut = 1001;
}  // namespace

float LoadCellCalibration::ExpectedTorqueFor(float calWeight, float torqueSpeedFactor) {
  // Tenths of a newton to pounds-force, then to ft-lb as the torque readings are converted.
  return static_cast<float>(static_cast<double>(calWeight) / 10.0 / kNewtonPerLbf *
                            static_cast<double>(torqueSpeedFactor) / 375.0);
}

void LoadCellCalibration::PerformLoadCellCalibration() {
  RunStep("PerformLoadCellCalibration", [this] { Step(); });
}

void LoadCellCalibration::Step() {
  SharedTestState& t = ctx_.test;
  t.TestCommandPending = false;
  if (t.WizardFormShown)
    Form().lblLoadVal.SetCaption(VbFormat(ctx_.store.DyneTorque, "#0.00") + " ft-lb");
  CheckAbortRequest();
  if (t.TestStage >= 0 && t.TestStage < kClosingStage) {
    RunStage(t.TestStage);
  } else if (t.TestStage == kClosingStage) {
    CloseCalibration();
  } else if (t.TestStage == kFinishStage) {
    forms_.UnloadLoadCellForm();
    FinishCalibration("**** Load Cell Calibration Aborted ****",
                      "**** Load Cell Calibration Completed ****");
  }
}

bool LoadCellCalibration::OffsetSettled(bool limitInclusive) {
  CalibrationRecord& r = record_;
  r.NowMs = ctx_.Tick();
  const int32_t elapsed = TickDiff(r.NowMs, r.StageMarkMs);
  const bool inTime = limitInclusive ? elapsed <= kSettleLimitMs : elapsed < kSettleLimitMs;
  if (!inTime) {
    // Out of time: the stage closes as on success, and the calibration as aborted. An error line
    // says why, since nobody asked it to stop.
    if (!ctx_.test.TestAbortRequest)
      ctx_.log.LogError(kSettlingTimedOut,
                        "Load cell offset not settled within " +
                            std::to_string(kSettleLimitMs / 1000) + " s: calibration aborted",
                        "PerformLoadCellCalibration", 0);
    ctx_.test.TestAbortRequest = true;
    return true;
  }
  const double torque = ctx_.store.DyneTorque;
  if (torque >= -kZeroBand && torque <= kZeroBand) {
    // InBandSinceMs is not taken afresh when a settling stage begins: a mark left by an earlier
    // stage counts until the torque first leaves the band.
    r.InBandNowMs = ctx_.Tick();
    return TickDiff(r.InBandNowMs, r.InBandSinceMs) > kInBandMs;
  }
  r.InBandSinceMs = ctx_.Tick();
  return false;
}

bool LoadCellCalibration::TorqueNearExpected() const {
  const double torque = ctx_.store.DyneTorque;
  const double expected = record_.ExpectedTorque;
  return expected - kExpectedBand <= torque && torque <= expected + kExpectedBand;
}

void LoadCellCalibration::RunStage(int16_t stage) {
  SharedTestState& t = ctx_.test;
  CalibrationRecord& r = record_;
  const double torque = ctx_.store.DyneTorque;
  auto next = [&t](int16_t s) { t.TestStage = s; };
  switch (stage) {
    case 0: {
      RememberForegroundWindow();
      CalLog("**** Starting Load Cell Calibration ****");
      // A fresh form each run, opened in front of the operator.
      forms_.UnloadLoadCellForm();
      frmLCCal& form = Form();
      form.Show();
      t.WizardFormShown = true;
      form.ClearInstructions();
      SendCalCommand(cmd::GetVariable, var::CAL_WEIGHT);
      next(1);
      break;
    }
    case 1: {
      r.ExpectedTorque = ExpectedTorqueFor(ctx_.store.CalWeight, ctx_.store.TorqueSpeedFactor);
      // The design-time caption carries " ft-lb"; the run-time one is the bare number.
      Form().lblNVVal.SetCaption(VbFormat(r.ExpectedTorque, "#0.0"));
      Form().ShowLiftRaiseCaution();
      t.WizardContinuePressed = false;
      next(2);
      break;
    }
    case 2:
      if (!t.WizardContinuePressed) return;
      Form().ShowProcessing();
      if (!LiftsUp() && LiftsDown()) SendCalCommand(cmd::RaiseLifts);
      next(3);
      break;
    case 3:
      if (!(LiftsUp() && !LiftsDown())) return;
      MarkStage();
      next(4);
      break;
    case 4:
      if (!StageElapsed(5000)) return;
      Form().ShowClearDynePrompt();
      t.WizardContinuePressed = false;
      next(5);
      break;
    case 5:
      if (!t.WizardContinuePressed) return;
      Form().lblSL1.SetBackColor(wizcolor::Red);
      Form().ShowProcessing();
      SendCalCommand(cmd::WriteVariable, var::TORQUE_CAL_FACTOR, 1600.0f);
      next(6);
      break;
    case 6:
      SendCalCommand(cmd::AutoOffsetAdjustOff);
      next(7);
      break;
    case 7:
      SendCalCommand(cmd::CalibrateZeroPoint);
      next(8);
      break;
    case 8:
      Form().lblSL1.SetBackColor(wizcolor::Green);
      ResetPrompt();
      next(9);
      break;
    case 9:
      if (!ReadyGatedPrompt(Form(), &WizardForm::ShowConnectDevicesPrompt,
                            torque >= 20.0 && torque <= 70.0, Form().lblLoadVal)) {
        return;
      }
      Form().lblSL2.SetBackColor(wizcolor::Red);
      Form().ShowProcessing();
      SendCalCommand(cmd::AutoOffsetAdjustOn);
      MarkStage();
      next(10);
      break;
    case 10:
      if (!OffsetSettled(true)) return;
      SendCalCommand(cmd::AutoOffsetAdjustOff);
      next(11);
      break;
    case 11:
      Form().lblSL2.SetBackColor(wizcolor::Green);
      ResetPrompt();
      next(12);
      break;
    case 12:
      if (!ReadyGatedPrompt(Form(), &WizardForm::ShowPlace3WeightsPrompt, TorqueNearExpected(),
                            Form().lblLoadVal)) {
        return;
      }
      Form().lblSL3.SetBackColor(wizcolor::Red);
      Form().ShowProcessing();
      SendCalCommand(cmd::CalibrateAmplification);
      next(13);
      break;
    case 13:
      Form().lblSL3.SetBackColor(wizcolor::Green);
      ResetPrompt();
      next(14);
      break;
    case 14:
      if (!ReadyGatedPrompt(Form(), &WizardForm::ShowRemoveWeightsPrompt, torque <= 25.0,
                            Form().lblLoadVal))
        return;
      Form().ShowProcessing();
      Form().lblSL4.SetBackColor(wizcolor::Red);
      SendCalCommand(cmd::AutoOffsetAdjustOn);
      MarkStage();
      next(15);
      break;
    case 15:
      if (!OffsetSettled(false)) return;
      Form().lblSL4.SetBackColor(wizcolor::Green);
      SendCalCommand(cmd::AutoOffsetAdjustOff);
      ResetPrompt();
      next(16);
      break;
    case 16:
      if (!ReadyGatedPrompt(Form(), &WizardForm::ShowPlace3WeightsPrompt, TorqueNearExpected(),
                            Form().lblLoadVal)) {
        return;
      }
      Form().ShowProcessing();
      Form().lblSL5.SetBackColor(wizcolor::Red);
      SendCalCommand(cmd::StopZeroAmpCalibration);
      Form().lblSL5.SetBackColor(wizcolor::Green);
      ResetPrompt();
      next(17);
      break;
    case 17:
      if (!ReadyGatedPrompt(Form(), &WizardForm::ShowRemoveAllPrompt, torque <= 75.0,
                            Form().lblLoadVal))
        return;
      Form().lblSL6.SetBackColor(wizcolor::Red);
      Form().ShowProcessing();
      SendCalCommand(cmd::AutoOffsetAdjustOn);
      MarkStage();
      next(18);
      break;
    case 18:
      if (!OffsetSettled(false)) return;
      SendCalCommand(cmd::AutoOffsetAdjustNormal);
      Form().lblSL6.SetBackColor(wizcolor::Green);
      Form().ShowCalibrationCompletePrompt();
      t.WizardContinuePressed = false;
      next(19);
      break;
    case 19:
      if (!t.WizardContinuePressed) return;
      next(kClosingStage);
      break;
    default:
      break;
  }
}

}  // namespace tavkelo
