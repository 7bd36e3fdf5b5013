#include "wizards/frmWSCal.hpp"

namespace tavkelo {

namespace {
const WizardForm::Design kDesign{
    "frmWSCal",
    "Kelo Dynamometer Left and Right Weight Scale Calibration",
    "441 lbs",
    "Calibration nominal value:",
    {"Lift up", "Compensate cal. device (Left)", "Calibrate (Left)",
     "Compensate cal. device (Right)", "Calibrate (Right)", "Lift down"},
};
constexpr WizardControlKind kLabel = WizardControlKind::Label;
}  // namespace

frmWSCal::frmWSCal(SharedTestState& test, Notices& notices, std::atomic<uint64_t>* revision)
    : WizardForm(kDesign, test, notices, revision),
      lbl01(*this, "lbl01", kLabel, "Scale Weight (lbs)"),
      lbl02(*this, "lbl02", kLabel, "Left"),
      lbl03(*this, "lbl03", kLabel, "Right"),
      lblLeftWSVal(*this, "lblLeftWSVal", kLabel, "0"),
      lblRightWSVal(*this, "lblRightWSVal", kLabel, "0") {
  for (WizardControl* c : {&lbl01, &lbl02, &lbl03, &lblLeftWSVal, &lblRightWSVal}) AddControl(*c);
}

}  // namespace tavkelo
