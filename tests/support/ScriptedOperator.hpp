#pragma once
// A scripted technician for the calibration wizards against the simulator: does what the open
// form asks (connects the calibration device, places and removes weights), then presses Continue
// when it is shown.

#include <functional>
#include <string>

#include "sim/KeloController.hpp"
#include "wizards/WizardForms.hpp"

namespace tavkelo::test {

class ScriptedOperator {
 public:
  ScriptedOperator(KeloController& sim, WizardForms& forms) : sim_(sim), forms_(forms) {}
  void Act();
  // Runs once for each new first instruction line, before anything is done.
  std::function<void(WizardForm&)> onNewPrompt;

 private:
  KeloController& sim_;
  WizardForms& forms_;
  ScaleSide side_ = ScaleSide::Left;
  std::string lastPrompt_;
};

}  // namespace tavkelo::test
