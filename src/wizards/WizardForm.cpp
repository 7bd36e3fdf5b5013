#include "wizards/WizardForm.hpp"

#include <stdexcept>

#include "host/Notices.hpp"
#include "link/SharedTestState.hpp"

namespace tavkelo {

namespace {
constexpr WizardControlKind kButton = WizardControlKind::Button;
constexpr WizardControlKind kLabel = WizardControlKind::Label;
}  // namespace

WizardForm::WizardForm(const Design& design, SharedTestState& test, Notices& notices,
                       std::atomic<uint64_t>* revision)
    : cmdHelp(*this, "cmdHelp", kButton, "&Help"),
      cmdAbort(*this, "cmdAbort", kButton, "&Abort"),
      cmdContinue(*this, "cmdContinue", kButton, "&Continue"),
      lblInstLine9(*this, "lblInstLine9", kLabel, "Line9"),
      lblInstLine8(*this, "lblInstLine8", kLabel, "Line8"),
      lblInstLine7(*this, "lblInstLine7", kLabel, "Line7"),
      lblInstLine6(*this, "lblInstLine6", kLabel, "Line6"),
      lblInstLine5(*this, "lblInstLine5", kLabel, "Line5"),
      lblInstLine4(*this, "lblInstLine4", kLabel, "Line4"),
      lblInstLine3(*this, "lblInstLine3", kLabel, "Line3"),
      lblInstLine2(*this, "lblInstLine2", kLabel, "Line2"),
      lblInstLine1(*this, "lblInstLine1", kLabel, "Line1"),
      lblInstFrame(*this, "lblInstFrame", kLabel, ""),
      lblNVVal(*this, "lblNVVal", kLabel, design.nominalValue),
      lblNV(*this, "lblNV", kLabel, design.nominalCaption),
      lblST6(*this, "lblST6", kLabel, design.stepNames[5]),
      lblSL6(*this, "lblSL6", kLabel, ""),
      lblST5(*this, "lblST5", kLabel, design.stepNames[4]),
      lblSL5(*this, "lblSL5", kLabel, ""),
      lblST4(*this, "lblST4", kLabel, design.stepNames[3]),
      lblSL4(*this, "lblSL4", kLabel, ""),
      lblST3(*this, "lblST3", kLabel, design.stepNames[2]),
      lblSL3(*this, "lblSL3", kLabel, ""),
      lblST2(*this, "lblST2", kLabel, design.stepNames[1]),
      lblSL2(*this, "lblSL2", kLabel, ""),
      lblST1(*this, "lblST1", kLabel, design.stepNames[0]),
      lblSL1(*this, "lblSL1", kLabel, ""),
      name_(design.name),
      caption_(design.caption),
      test_(test),
      notices_(notices),
      revision_(revision) {
  controls_ = {&cmdHelp,      &cmdAbort,     &cmdContinue,  &lblInstLine9, &lblInstLine8,
               &lblInstLine7, &lblInstLine6, &lblInstLine5, &lblInstLine4, &lblInstLine3,
               &lblInstLine2, &lblInstLine1, &lblInstFrame, &lblNVVal,     &lblNV,
               &lblST6,       &lblSL6,       &lblST5,       &lblSL5,       &lblST4,
               &lblSL4,       &lblST3,       &lblSL3,       &lblST2,       &lblSL2,
               &lblST1,       &lblSL1};
  // Continue appears only when a prompt waits for it.
  cmdContinue.SetVisible(false);
}

WizardControl* WizardForm::Control(const std::string& name) const {
  for (WizardControl* c : controls_) {
    if (c->Name() == name) return c;
  }
  return nullptr;
}

WizardForm::Snapshot WizardForm::TakeSnapshot() const {
  Snapshot s;
  s.Name = name_;
  s.Caption = caption_;
  s.FontName = kFontName;
  s.Visible = visible_;
  s.Shown = shown_;
  s.ChangeCount = changeCount_.load();
  s.Controls.reserve(controls_.size());
  for (const WizardControl* c : controls_) s.Controls.push_back(c->State());
  return s;
}

void WizardForm::Touch() {
  ++changeCount_;
  if (revision_ != nullptr) ++*revision_;
}

void WizardForm::Show() {
  if (!loaded_) {
    loaded_ = true;
    Form_Load();
  }
  if (!visible_) {
    visible_ = true;
    Touch();
  }
}

void WizardForm::Form_Load() {
  if (shown_) return;
  shown_ = true;
  Touch();
}

void WizardForm::cmdContinue_Click() {
  test_.WizardContinuePressed = true;
}

void WizardForm::cmdAbort_Click() {
  test_.TestAbortRequest = true;
}

void WizardForm::cmdHelp_Click() {
  notices_.MessageBox(kHelpText, 0);
}

WizardControl& WizardForm::InstLine(int n) {
  switch (n) {
    case 1:
      return lblInstLine1;
    case 2:
      return lblInstLine2;
    case 3:
      return lblInstLine3;
    case 4:
      return lblInstLine4;
    case 5:
      return lblInstLine5;
    case 6:
      return lblInstLine6;
    case 7:
      return lblInstLine7;
    case 8:
      return lblInstLine8;
    case 9:
      return lblInstLine9;
    default:
      throw std::out_of_range("InstLine " + std::to_string(n));
  }
}

WizardControl& WizardForm::StepName(int n) {
  switch (n) {
    case 1:
      return lblST1;
    case 2:
      return lblST2;
    case 3:
      return lblST3;
    case 4:
      return lblST4;
    case 5:
      return lblST5;
    case 6:
      return lblST6;
    default:
      throw std::out_of_range("StepName " + std::to_string(n));
  }
}

WizardControl& WizardForm::StepLamp(int n) {
  switch (n) {
    case 1:
      return lblSL1;
    case 2:
      return lblSL2;
    case 3:
      return lblSL3;
    case 4:
      return lblSL4;
    case 5:
      return lblSL5;
    case 6:
      return lblSL6;
    default:
      throw std::out_of_range("StepLamp " + std::to_string(n));
  }
}

void WizardForm::SetLines(std::initializer_list<std::pair<int, const char*>> lines) {
  for (const auto& [n, text] : lines) InstLine(n).SetCaption(text);
}

void WizardForm::ClearInstructions() {
  for (int n = 1; n <= 9; ++n) InstLine(n).SetCaption("");
}

void WizardForm::ShowContinuePrompt(bool show) {
  if (show) {
    SetLines({{8, "Select 'Continue' when"}, {9, " ready."}});
  } else {
    SetLines({{8, ""}, {9, ""}});
  }
  cmdContinue.SetVisible(show);
}

// The two cautions do not clear first: they follow ClearInstructions or a prompt of at most two
// lines.
void WizardForm::ShowLiftRaiseCaution() {
  SetLines({{1, "      *** CAUTION ***"}, {2, "  Dyne lift will be raised."}});
  ShowContinuePrompt(true);
}

void WizardForm::ShowLiftLowerCaution() {
  SetLines({{1, "      *** CAUTION ***"}, {2, "  Dyne lift will be lowered."}});
  ShowContinuePrompt(true);
}

void WizardForm::ShowProcessing() {
  ClearInstructions();
  SetLines({{1, "Processing..."}});
  ShowContinuePrompt(false);
  SetLines({{9, "Please wait..."}});
}

void WizardForm::ShowClearDynePrompt() {
  ClearInstructions();
  SetLines({{1, "Clear dyne of vehicle and"}, {2, " all calibration devices."}});
  ShowContinuePrompt(true);
}

void WizardForm::ShowConnectDevicesPrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Connect calibration"},
            {2, " devices including"},
            {3, " weight tray."},
            {5, "DO NOT place weights."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowPlace3WeightsPrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Place 3 calibration"}, {2, " weights on the"}, {3, " calibration device."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowPlace5WeightsPrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Place 5 calibration"}, {2, " weights on the"}, {3, " calibration device."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowRemoveWeightsPrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Remove the calibration"}, {2, " weights from the"}, {3, " calibration device."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowRemoveAllPrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Remove the calibration"}, {2, " weights and devices."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowConnectLeftScalePrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Connect calibration"},
            {2, " devices including"},
            {3, " weight tray to the"},
            {4, " left weight scale."},
            {6, "DO NOT place weights."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowConnectRightScalePrompt(bool ready) {
  ClearInstructions();
  SetLines({{1, "Connect calibration"},
            {2, " devices including"},
            {3, " weight tray to the"},
            {4, " right weight scale."},
            {6, "DO NOT place weights."}});
  ShowContinuePrompt(ready);
}

void WizardForm::ShowCalibrationCompletePrompt() {
  ClearInstructions();
  SetLines({{1, "Calibration complete."},
            {3, "Remove AC power from"},
            {4, "the dyne then"},
            {5, "restore AC power to the"},
            {6, "dyne before continuing."}});
  ShowContinuePrompt(true);
  cmdAbort.SetVisible(false);
}

}  // namespace tavkelo
