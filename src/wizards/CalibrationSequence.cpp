#include "wizards/CalibrationSequence.hpp"

#include "link/DyneVocabulary.hpp"
#include "link/KeloContext.hpp"

namespace tavkelo {

void CalibrationSequence::SendCalCommand(uint8_t code, uint8_t variable, float value) {
  ctx_.test.TestCommandPending = true;
  ctx_.polling.SendDyneCommand(code, variable, value);
}

void CalibrationSequence::CalLog(const std::string& text) const {
  if (ctx_.log.DynTst()) ctx_.log.WriteLog(text);
}

void CalibrationSequence::CheckAbortRequest() {
  SharedTestState& t = ctx_.test;
  if (t.WizardFormShown) {
    if (t.TestAbortRequest) {
      t.TestStage =
          t.TestStage < kClosingStage ? kClosingStage : static_cast<int16_t>(t.TestStage + 1);
    }
  } else {
    t.TestAbortRequest = false;
  }
}

bool CalibrationSequence::ReadyGatedPrompt(WizardForm& form, ReadyPrompt prompt, bool ready,
                                           WizardControl& liveValue) {
  CalibrationRecord& r = record_;
  if (!ready) {
    if (!r.PromptNotReadyShown) {
      (form.*prompt)(false);
      liveValue.SetBackColor(wizcolor::Red);
      r.PromptNotReadyShown = true;
      r.PromptReadyShown = false;
    }
    return false;
  }
  if (!r.PromptReadyShown) {
    (form.*prompt)(true);
    liveValue.SetBackColor(wizcolor::Blue);
    r.PromptReadyShown = true;
    r.PromptNotReadyShown = false;
  }
  return ctx_.test.WizardContinuePressed;
}

void CalibrationSequence::ResetPrompt() {
  record_.PromptNotReadyShown = false;
  record_.PromptReadyShown = false;
  ctx_.test.WizardContinuePressed = false;
}

void CalibrationSequence::MarkStage() {
  record_.StageMarkMs = ctx_.Tick();
}

bool CalibrationSequence::StageElapsed(int32_t ms) const {
  return TickDiff(ctx_.Tick(), record_.StageMarkMs) >= ms;
}

bool CalibrationSequence::LiftsUp() const {
  return ctx_.store.StatusBitsCopy[status::LiftsUp];
}

bool CalibrationSequence::LiftsDown() const {
  return ctx_.store.StatusBitsCopy[status::LiftsDown];
}

void CalibrationSequence::RememberForegroundWindow() {
  record_.SavedForegroundWindow = 0;
  record_.SavedForegroundThread = 0;
  record_.WizardThread = 0;
}

void CalibrationSequence::CloseCalibration() {
  SendCalCommand(cmd::AutoOffsetAdjustNormal);
  if (!ctx_.test.TestAbortRequest) ctx_.test.TestStage = kFinishStage;
}

void CalibrationSequence::FinishCalibration(const std::string& abortedLine,
                                            const std::string& completedLine) {
  SharedTestState& t = ctx_.test;
  if (t.TestAbortRequest) {
    CalLog(abortedLine);
    t.LastTestCompletionStatus = ltcs::Aborted;
  } else {
    CalLog(completedLine);
    t.LastTestCompletionStatus = ltcs::Completed;
  }
  t.CurCalibration = calibration::None;
  t.LcwsStatus = seqstatus::Finished;
}

void CalibrationSequence::RunStep(const char* routine, const std::function<void()>& step) const {
  try {
    step();
  } catch (const std::exception& e) {
    ctx_.log.LogException(e, std::string(routine) + "[" + std::to_string(ctx_.test.TestStage) + "]",
                          0);
  }
}

}  // namespace tavkelo
