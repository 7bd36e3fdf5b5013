#pragma once
// The calibration forms of the process and the way a viewer finds them: which form is open, a
// plain copy of it to draw, and its three buttons to press. Referring to a form loads it, as with
// any form; the calibration shows it, and its finishing stage unloads it.
//
// All members run on the event loop's thread. A viewer on another thread goes through the loop
// (EventLoop::Invoke, or CalibrationSequencer's helpers, which do that); only Revision() may be
// read from anywhere, to see cheaply whether anything changed since the last look.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "wizards/WizardForm.hpp"
#include "wizards/frmLCCal.hpp"
#include "wizards/frmWSCal.hpp"

namespace tavkelo {

enum class WizardButton { Continue, Abort, Help };

// "continue", "abort", "help" (any case) or the control names "cmdContinue", "cmdAbort", "cmdHelp".
std::optional<WizardButton> WizardButtonFromName(std::string_view name);

class WizardForms {
 public:
  WizardForms(SharedTestState& test, Notices& notices) : test_(test), notices_(notices) {}
  WizardForms(const WizardForms&) = delete;
  WizardForms& operator=(const WizardForms&) = delete;

  frmLCCal& LoadCellForm();
  frmWSCal& WeightScaleForm();
  bool LoadCellFormLoaded() const { return loadCell_ != nullptr; }
  bool WeightScaleFormLoaded() const { return weightScale_ != nullptr; }
  void UnloadLoadCellForm();
  void UnloadWeightScaleForm();

  // The loaded form (at most one is loaded while a calibration runs), or nullptr.
  WizardForm* OpenForm();
  const WizardForm* OpenForm() const;
  std::optional<WizardForm::Snapshot> SnapshotOpenForm() const;
  // Presses a button of the open form as the operator would. Refused (false) when no form is
  // open and shown, or when the button is hidden.
  bool Press(WizardButton button);

  // Counts every load, unload and change of a loaded form.
  uint64_t Revision() const { return revision_.load(); }

 private:
  SharedTestState& test_;
  Notices& notices_;
  std::atomic<uint64_t> revision_{0};
  std::unique_ptr<frmLCCal> loadCell_;
  std::unique_ptr<frmWSCal> weightScale_;
};

}  // namespace tavkelo
