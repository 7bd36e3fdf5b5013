#pragma once
// The load-cell calibration form: the shared wizard layout plus the live torque.

#include "wizards/WizardForm.hpp"

namespace tavkelo {

class frmLCCal : public WizardForm {
 public:
  frmLCCal(SharedTestState& test, Notices& notices, std::atomic<uint64_t>* revision = nullptr);

  // The live load-cell torque; its back colour says whether it is in the range the prompt asks for.
  WizardControl lblLoadVal;
};

}  // namespace tavkelo
