#pragma once
// The weight-scale calibration form: the shared wizard layout plus the live left and right scale
// weights under their captions.

#include "wizards/WizardForm.hpp"

namespace tavkelo {

class frmWSCal : public WizardForm {
 public:
  frmWSCal(SharedTestState& test, Notices& notices, std::atomic<uint64_t>* revision = nullptr);

  WizardControl lbl01;
  WizardControl lbl02;
  WizardControl lbl03;
  // The smoothed scale weights; the back colour of the side being worked on says whether it is in
  // the range the prompt asks for.
  WizardControl lblLeftWSVal;
  WizardControl lblRightWSVal;
};

}  // namespace tavkelo
