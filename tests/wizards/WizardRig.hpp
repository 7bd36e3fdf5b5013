#pragma once
// Shared pieces of the calibration tests: a stage-level rig (process state and calibrations, no
// controller: each step is called directly and the command it put on the line is read back), a
// whole engine with the simulator and an interface object (the scripted technician is in
// support/ScriptedOperator.hpp).

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "automation/clsKeloInterface.hpp"
#include "support/InterfaceFixture.hpp"
#include "support/ScriptedOperator.hpp"
#include "wizards/CalibrationSequencer.hpp"

namespace tavkelo::test {

class StageRig {
 public:
  // Calibration `calibration` started, its first step not yet made.
  explicit StageRig(int32_t calibration);
  // One step as the poller makes it; the command sent ("E088", "F061", "T"), "" for none.
  std::string Step();
  bool StepUntil(const std::function<bool()>& pred, int maxSteps, uint32_t ms);
  // The calibration at `stage` with its form open, as the stages before it leave it.
  void OpenAt(int16_t stage);
  void AdvanceMs(int64_t ms) { f.loop.Advance(ms * 1000); }
  int32_t Tick() const { return f.ctx->Tick(); }
  bool Press(WizardButton button) { return seq.Forms().Press(button); }

  LinkFixture f;
  CalibrationSequencer seq;
  SharedTestState& t;
  ReadingsStore& store;
  CalibrationRecord& record;
  std::vector<std::string> sent;
  float lastValue = 0.0f;  // value of the last "Write Variable"
};

class SimWizardRig {
 public:
  explicit SimWizardRig(KeloSimOptions options = {});
  // A calibration still running at the end is a failure.
  ~SimWizardRig();
  // Connect, then SpanAnalogInput with `input`; requests are counted from there.
  void Start(QRTXAnalogInputIndeces input);
  // Runs in 100 ms slices, the operator (if any) acting after each, until pred holds; false after
  // limitS.
  bool RunUntil(const std::function<bool()>& pred, double limitS, ScriptedOperator* op);
  bool RunToEnd(double limitS, ScriptedOperator* op) {
    return RunUntil([this] { return f.ctx->test.CurCalibration == calibration::None; }, limitS, op);
  }
  // The requests since Start without the poller's own, and when the first of a name came (ms).
  std::vector<std::string> Commands() const;
  double FirstTimeMs(const std::string& name, double afterMs = -1.0) const;
  WizardForm* OpenForm() { return wizards.Forms().OpenForm(); }

  InterfaceFixture f;
  CalibrationSequencer& wizards;
  std::unique_ptr<clsKeloInterface> k;

 private:
  size_t start_ = 0;
};

}  // namespace tavkelo::test
