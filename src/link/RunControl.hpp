#pragma once
// How a test or a calibration is started and asked to stop. The test sequencer and the calibration
// sequencer each implement one and install it in KeloContext; the interface (StartTest, StopTest,
// SpanAnalogInput, DisConnect) goes through them, and nothing else writes the shared test state to
// start or stop a run.

#include <cstdint>

namespace tavkelo {

class TestControl {
 public:
  // Starts test `index` with the readings running; false, and nothing changes, when a test may
  // not start now.
  virtual bool Start(int16_t index) = 0;
  // Asks the running test to stop; false when none runs.
  virtual bool RequestStop() = 0;

 protected:
  ~TestControl() = default;
};

class CalibrationControl {
 public:
  // Starts calibration `kind` (1 load cell, 2 weight scales) with the readings running; false,
  // and nothing changes, for another kind.
  virtual bool Start(int32_t kind) = 0;
  // Asks the running calibration to stop; false when none runs.
  virtual bool RequestStop() = 0;

 protected:
  ~CalibrationControl() = default;
};

}  // namespace tavkelo
