#include "wizards/CalibrationSequencer.hpp"

#include "link/KeloContext.hpp"

namespace tavkelo {

CalibrationSequencer::CalibrationSequencer(KeloContext& ctx)
    : ctx_(ctx),
      forms_(ctx.test, ctx.host.notices),
      loadCell_(ctx, record_, forms_),
      weightScales_(ctx, record_, forms_) {
  ctx_.calibrations = this;
  ctx_.runCalibrationStep = [this](int32_t curCalibration) { RunCalibrationStep(curCalibration); };
}

CalibrationSequencer::~CalibrationSequencer() {
  if (ctx_.calibrations == this) ctx_.calibrations = nullptr;
  ctx_.runCalibrationStep = nullptr;
}

bool CalibrationSequencer::Start(int32_t kind) {
  if (kind != calibration::LoadCell && kind != calibration::WeightScales) return false;
  ctx_.polling.SetReadingsActive(true);
  SharedTestState& t = ctx_.test;
  t.TestAbortRequest = false;
  t.TestCommandPending = false;
  t.TestStage = 0;
  t.WizardFormShown = false;
  t.LastTestCompletionStatus = ltcs::InProgress;
  t.LcwsStatus = seqstatus::Running;
  t.CurCalibration = kind;
  return true;
}

bool CalibrationSequencer::RequestStop() {
  if (ctx_.test.CurCalibration == calibration::None) return false;
  ctx_.test.TestAbortRequest = true;
  return true;
}

void CalibrationSequencer::RunCalibrationStep(int32_t curCalibration) {
  switch (curCalibration) {
    case calibration::LoadCell:
      loadCell_.PerformLoadCellCalibration();
      break;
    case calibration::WeightScales:
      weightScales_.PerformWeightScaleCalibration();
      break;
    default:
      break;
  }
}

std::optional<WizardForm::Snapshot> CalibrationSequencer::OpenFormSnapshot() {
  return ctx_.loop.Invoke([this] { return forms_.SnapshotOpenForm(); });
}

bool CalibrationSequencer::PressButton(WizardButton button) {
  return ctx_.loop.Invoke([this, button] { return forms_.Press(button); });
}

}  // namespace tavkelo
