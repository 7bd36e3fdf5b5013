#pragma once
// What the two calibration sequences share: the process state they work on, the way they put a
// device command on the line (the poller then awaits its reply instead of sending its own next
// request), their progress lines, the abort check of the preamble, the ready-gated prompt, the
// waiting marks and the closing stages 900 and 901.

#include <cstdint>
#include <functional>
#include <string>

#include "wizards/CalibrationRecord.hpp"
#include "wizards/WizardForm.hpp"
#include "wizards/WizardForms.hpp"

namespace tavkelo {

class KeloContext;

class CalibrationSequence {
 public:
  CalibrationSequence(const CalibrationSequence&) = delete;
  CalibrationSequence& operator=(const CalibrationSequence&) = delete;

  static constexpr int16_t kClosingStage = 900;
  static constexpr int16_t kFinishStage = 901;

 protected:
  CalibrationSequence(KeloContext& ctx, CalibrationRecord& record, WizardForms& forms)
      : ctx_(ctx), record_(record), forms_(forms) {}
  ~CalibrationSequence() = default;

  using ReadyPrompt = void (WizardForm::*)(bool ready);

  // Marks the command pending, then sends it. Values of "Write Variable" are in client units.
  void SendCalCommand(uint8_t code, uint8_t variable = 0, float value = 0.0f);
  // One log entry, only while the "DynTst" family is on.
  void CalLog(const std::string& text) const;
  // The end of the preamble: with the form shown, an abort request moves the stage to 900 (or on
  // from there); without it, an abort left over from before is dropped.
  void CheckAbortRequest();
  // The ready-gated prompt: draws the prompt again only when readiness changes, colours the live
  // value red (outside) or blue (inside the range asked for), and says whether the stage may go on
  // (ready and Continue pressed).
  bool ReadyGatedPrompt(WizardForm& form, ReadyPrompt prompt, bool ready, WizardControl& liveValue);
  // Both prompt flags and WizardContinuePressed false, before the next confirmation.
  void ResetPrompt();
  void MarkStage();
  bool StageElapsed(int32_t ms) const;
  bool LiftsUp() const;
  bool LiftsDown() const;
  // No screen: there is no window to remember; the dashboard opening the form replaces it.
  void RememberForegroundWindow();
  // Stage 900: the offset adjustment back to normal; an aborted run waits here for the preamble.
  void CloseCalibration();
  // Stage 901, once the form is unloaded: records how the calibration ended and that none runs.
  // There is no window to bring back to the front: the viewer stops showing the unloaded form.
  void FinishCalibration(const std::string& abortedLine, const std::string& completedLine);
  // Reports a failure of a step, naming the routine and the stage it was at.
  // Runs one step; a failure is reported with the routine and the stage it was at.
  void RunStep(const char* routine, const std::function<void()>& step) const;

  KeloContext& ctx_;
  CalibrationRecord& record_;
  WizardForms& forms_;
};

}  // namespace tavkelo
