#pragma once
// Owns the calibration wizards of one process (the two calibrations, their shared work record and
// their forms) and hands the poller's step to the one that runs: CurCalibration 1 the load cell,
// 2 the weight scales. A calibration is started and asked to stop here only. It is also where a
// viewer finds the open form and presses its buttons.

#include <cstdint>
#include <optional>

#include "link/RunControl.hpp"
#include "link/RunObserver.hpp"
#include "wizards/CalibrationRecord.hpp"
#include "wizards/LoadCellCalibration.hpp"
#include "wizards/WeightScaleCalibration.hpp"
#include "wizards/WizardForms.hpp"

namespace tavkelo {

class KeloContext;

class CalibrationSequencer final : public CalibrationControl {
 public:
  // Installs itself as ctx.calibrations, with ctx.runCalibrationStep; the destructor removes
  // them again.
  explicit CalibrationSequencer(KeloContext& ctx);
  ~CalibrationSequencer();
  CalibrationSequencer(const CalibrationSequencer&) = delete;
  CalibrationSequencer& operator=(const CalibrationSequencer&) = delete;

  // Starts calibration `kind` (1 load cell, 2 weight scales) at its stage 0, its form not yet
  // shown, and turns the readings on, since the poller steps the calibration.
  bool Start(int32_t kind) override;
  // The stop request: with the form shown the calibration closes through stages 900 and 901;
  // before that it drops the request (a caller that waits for the end asks again).
  bool RequestStop() override;

  // One step of the calibration `curCalibration` (the poller's call).
  void RunCalibrationStep(int32_t curCalibration);

  LoadCellCalibration& LoadCell() { return loadCell_; }
  WeightScaleCalibration& WeightScales() { return weightScales_; }
  CalibrationRecord& Record() { return record_; }
  // Loop thread only.
  WizardForms& Forms() { return forms_; }

  // From any thread (run on the loop): a copy of the open form, and a button press on it. The
  // press is refused (false) when no form is open or the button is hidden.
  std::optional<WizardForm::Snapshot> OpenFormSnapshot();
  bool PressButton(WizardButton button);
  // From any thread: changes whenever a form opens, closes or changes.
  uint64_t FormsRevision() const { return forms_.Revision(); }

 private:
  KeloContext& ctx_;
  CalibrationRecord record_;
  WizardForms forms_;
  LoadCellCalibration loadCell_;
  WeightScaleCalibration weightScales_;
  // The factors a calibration changes, as the run observer gets them before and after.
  RunValues Factors(const char* when) const;
  // The observer told of the running calibration's start (nullptr: none).
  RunObserver* observed_ = nullptr;
  RunValues before_;
};

}  // namespace tavkelo
