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
  observed_ = ctx_.runObserver;
  before_ = Factors("Before");
  if (observed_ != nullptr)
    observed_->RunStarted(CalibrationKindName(kind),
                          {{"calibrationWeightLb", ctx_.store.CalWeight}});
  return true;
}

RunValues CalibrationSequencer::Factors(const char* when) const {
  const ReadingsStore& s = ctx_.store;
  const std::string w = when;
  return {{"leftScaleFactor" + w, s.AmplificationScale1},
          {"rightScaleFactor" + w, s.AmplificationScale2},
          {"torqueSpeedFactor" + w, s.TorqueSpeedFactor}};
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
  if (observed_ == nullptr || observed_ != ctx_.runObserver) return;
  observed_->RunSample(ctx_.test.TestStage);
  if (ctx_.test.CurCalibration != calibration::None) return;
  const bool completed = ctx_.test.LastTestCompletionStatus == ltcs::Completed;
  RunValues results = before_;
  for (auto& v : Factors("After")) results.push_back(std::move(v));
  if (curCalibration == calibration::LoadCell)
    results.emplace_back("expectedTorque", record_.ExpectedTorque);
  observed_->RunFinished(completed,
                         completed ? "" : "stopped at stage " + std::to_string(ctx_.test.TestStage),
                         results);
  observed_ = nullptr;
}

std::optional<WizardForm::Snapshot> CalibrationSequencer::OpenFormSnapshot() {
  return ctx_.loop.Invoke([this] { return forms_.SnapshotOpenForm(); });
}

bool CalibrationSequencer::PressButton(WizardButton button) {
  return ctx_.loop.Invoke([this, button] { return forms_.Press(button); });
}

}  // namespace tavkelo
