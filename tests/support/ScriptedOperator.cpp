#include "support/ScriptedOperator.hpp"

namespace tavkelo::test {

void ScriptedOperator::Act() {
  WizardForm* form = forms_.OpenForm();
  if (form == nullptr || !form->Visible()) return;
  const std::string l1 = form->lblInstLine1.Caption(), l2 = form->lblInstLine2.Caption(),
                    l4 = form->lblInstLine4.Caption();
  if (l1 != lastPrompt_) {
    lastPrompt_ = l1;
    if (onNewPrompt) onNewPrompt(*form);
  }
  DynePlant& plant = sim_.Plant();
  if (l1 == "Connect calibration") {
    if (l4.empty()) {
      plant.ConnectCalibrationDevice(true);
    } else {
      // One scale calibration device: from the left scale to the right one.
      plant.PlaceScaleWeights(ScaleSide::Left, 0);
      plant.ConnectScaleDevice(ScaleSide::Left, false);
      side_ = l4 == " left weight scale." ? ScaleSide::Left : ScaleSide::Right;
      plant.ConnectScaleDevice(side_, true);
    }
  } else if (l1 == "Place 3 calibration") {
    plant.PlaceCalibrationWeights(3);
  } else if (l1 == "Place 5 calibration") {
    plant.PlaceScaleWeights(side_, 5);
  } else if (l1 == "Remove the calibration") {
    plant.PlaceCalibrationWeights(0);
    if (l2 == " weights and devices.") {
      plant.ConnectCalibrationDevice(false);
      plant.PlaceScaleWeights(side_, 0);
      plant.ConnectScaleDevice(side_, false);
    }
  }
  if (form->cmdContinue.Visible()) forms_.Press(WizardButton::Continue);
}

}  // namespace tavkelo::test
