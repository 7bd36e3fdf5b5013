#pragma once
// What a recorder of runs sees: the test sequencer and the calibration sequencer tell the context's
// observer when a run starts (its kind and the parameters in force), after each of its steps (one
// poll sample) and when it ends (completed or aborted, with the results). The observer runs on the
// loop inside the poller's step, so it must only take note and never wait.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tavkelo {

// Named numbers: the parameters in force at a start, the results at the end.
using RunValues = std::vector<std::pair<std::string, double>>;

class RunObserver {
 public:
  // `kind`: warmup, parasitics, coastdown, constant_target, asm, vehicle_simulation, load_cell or
  // weight_scales.
  virtual void RunStarted(const std::string& kind, const RunValues& parameters) = 0;
  // After each step of the running test or calibration; `stage` is its stage now.
  virtual void RunSample(int16_t stage) = 0;
  // The run ended; `reason` says why an aborted run stopped ("" when completed).
  virtual void RunFinished(bool completed, const std::string& reason, const RunValues& results) = 0;

 protected:
  ~RunObserver() = default;
};

}  // namespace tavkelo
