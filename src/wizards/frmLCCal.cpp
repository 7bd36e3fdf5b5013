#include "wizards/frmLCCal.hpp"

namespace tavkelo {

namespace {
const WizardForm::Design kDesign{
    "frmLCCal",
    "Kelo Dynamometer Load Cell Calibration",
    "144.6 ft-lb",
    "Rough/Exact calibration nominal value:",
    {"Offset adjustment", "Compensate calibration device", "Rough calibration", "Offset adjustment",
     "Exact calibration", "Offset adjustment"},
};
}  // namespace

frmLCCal::frmLCCal(SharedTestState& test, Notices& notices, std::atomic<uint64_t>* revision)
    : WizardForm(kDesign, test, notices, revision),
      lblLoadVal(*this, "lblLoadVal", WizardControlKind::Label, "0.00 ft-lb") {
  AddControl(lblLoadVal);
}

}  // namespace tavkelo
