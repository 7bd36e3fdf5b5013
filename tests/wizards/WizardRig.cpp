#include "WizardRig.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

namespace tavkelo::test {

StageRig::StageRig(int32_t calibration)
    : f(8), seq(*f.ctx), t(f.ctx->test), store(f.ctx->store), record(seq.Record()) {
  f.host->notices.SetEchoToStderr(false);
  EXPECT_TRUE(seq.Start(calibration));
}

std::string StageRig::Step() {
  seq.RunCalibrationStep(t.CurCalibration);
  if (!t.TestCommandPending) return "";
  // No port is open, but the request stays recorded in the transfer state and slot 0.
  t.TestCommandPending = false;
  const char command = static_cast<char>(f.ctx->exchange.Command());
  const RequestSlot& slot = store.slots[0];
  std::string name(1, command);
  if (command == 'E' || command == 'F') {
    char number[8];
    std::snprintf(number, sizeof number, "%03d", slot.variable);
    name += number;
  }
  if (command == 'F') lastValue = slot.clientValue;
  sent.push_back(name);
  return name;
}

bool StageRig::StepUntil(const std::function<bool()>& pred, int maxSteps, uint32_t ms) {
  for (int i = 0; i < maxSteps && !pred(); ++i) {
    AdvanceMs(ms);
    Step();
  }
  return pred();
}

void StageRig::OpenAt(int16_t stage) {
  (t.CurCalibration == calibration::LoadCell ? static_cast<WizardForm&>(seq.Forms().LoadCellForm())
                                             : seq.Forms().WeightScaleForm())
      .Show();
  t.WizardFormShown = true;
  t.TestStage = stage;
}

SimWizardRig::SimWizardRig(KeloSimOptions options)
    : f(std::move(options), 8), wizards(f.calibrations), k(f.NewInterface()) {
  f.host->notices.SetEchoToStderr(false);
}

SimWizardRig::~SimWizardRig() {
  // The interface's release then asks it to stop and waits for its closing stages.
  const SharedTestState& t = f.ctx->test;
  if (t.CurCalibration != calibration::None)
    ADD_FAILURE() << "the calibration still ran at stage " << t.TestStage;
}

void SimWizardRig::Start(QRTXAnalogInputIndeces input) {
  EXPECT_TRUE(k->Connect());
  f.loop.PumpFor(1500);
  EXPECT_EQ(k->SpanAnalogInput(input), gQRTXErrNoError);
  start_ = f.RequestCount();
}

bool SimWizardRig::RunUntil(const std::function<bool()>& pred, double limitS,
                            ScriptedOperator* op) {
  const int64_t endUs = f.loop.NowUs() + static_cast<int64_t>(limitS * 1e6);
  while (!pred()) {
    if (f.loop.NowUs() >= endUs) return false;
    f.loop.PumpFor(100);
    if (op != nullptr) op->Act();
  }
  return true;
}

std::vector<std::string> SimWizardRig::Commands() const {
  static const std::vector<std::string> polled = {"C",    "D",    "E000", "E210", "E216",
                                                  "E217", "E222", "E224", "E225", "E244"};
  std::vector<std::string> out;
  for (const std::string& n : f.RequestNames(start_)) {
    if (std::find(polled.begin(), polled.end(), n) == polled.end()) out.push_back(n);
  }
  return out;
}

double SimWizardRig::FirstTimeMs(const std::string& name, double afterMs) const {
  const std::vector<std::string> names = f.RequestNames(start_);
  for (size_t i = 0; i < names.size(); ++i) {
    const double at = static_cast<double>(f.sim.Requests()[start_ + i].atUs) / 1000.0;
    if (names[i] == name && at > afterMs) return at;
  }
  return -1.0;
}

}  // namespace tavkelo::test
