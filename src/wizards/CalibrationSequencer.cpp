#include "wizards/CalibrationSequencer.hpp"

#include "link/KeloContext.hpp"

namespace tavkelo {

CalibrationSequencer::CalibrationSequencer(KeloContext& ctx)
    : ctx_(ctx),
      forms_(ctx.test, ctx.host.notices),
      loadCell_(ctx, record_, forms_),
      weightScales_(ctx, record_, forms_) {
  ctx_.runCalibrationStep = [this](int32_t curCalibration) { RunCalibrationStep(curCalibration); };
}

CalibrationSequencer::~CalibrationSequencer() { ctx_.runCalibrationStep = nullptr; }

void CalibrationSequencer::RunCalibrationStep(int32_t curCalibration) {
  switch (curCalibration) {
    case 1:
      loadCell_.PerformLoadCellCalibration();
      break;
    case 2:
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
