#include "wizards/WizardForms.hpp"

#include <cctype>
#include <string>

namespace tavkelo {

std::optional<WizardButton> WizardButtonFromName(std::string_view name) {
  std::string lower;
  for (char c : name) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (lower == "continue" || lower == "cmdcontinue") return WizardButton::Continue;
  if (lower == "abort" || lower == "cmdabort") return WizardButton::Abort;
  if (lower == "help" || lower == "cmdhelp") return WizardButton::Help;
  return std::nullopt;
}

frmLCCal& WizardForms::LoadCellForm() {
  if (!loadCell_) {
    loadCell_ = std::make_unique<frmLCCal>(test_, notices_, &revision_);
    ++revision_;
  }
  return *loadCell_;
}

frmWSCal& WizardForms::WeightScaleForm() {
  if (!weightScale_) {
    weightScale_ = std::make_unique<frmWSCal>(test_, notices_, &revision_);
    ++revision_;
  }
  return *weightScale_;
}

void WizardForms::UnloadLoadCellForm() {
  if (!loadCell_) return;
  loadCell_.reset();
  ++revision_;
}

void WizardForms::UnloadWeightScaleForm() {
  if (!weightScale_) return;
  weightScale_.reset();
  ++revision_;
}

WizardForm* WizardForms::OpenForm() {
  if (loadCell_) return loadCell_.get();
  return weightScale_.get();
}

const WizardForm* WizardForms::OpenForm() const {
  if (loadCell_) return loadCell_.get();
  return weightScale_.get();
}

std::optional<WizardForm::Snapshot> WizardForms::SnapshotOpenForm() const {
  const WizardForm* form = OpenForm();
  if (form == nullptr) return std::nullopt;
  return form->TakeSnapshot();
}

bool WizardForms::Press(WizardButton button) {
  WizardForm* form = OpenForm();
  if (form == nullptr || !form->Visible()) return false;
  switch (button) {
    case WizardButton::Continue:
      if (!form->cmdContinue.Visible()) return false;
      form->cmdContinue_Click();
      return true;
    case WizardButton::Abort:
      if (!form->cmdAbort.Visible()) return false;
      form->cmdAbort_Click();
      return true;
    case WizardButton::Help:
      if (!form->cmdHelp.Visible()) return false;
      form->cmdHelp_Click();
      return true;
  }
  return false;
}

}  // namespace tavkelo
