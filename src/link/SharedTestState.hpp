#pragma once
// The state that the poller, the test sequences, the calibration wizards and the interface share:
// which test or calibration runs, its stage, the abort and command-pending flags, the marks and
// counters of the running pass, and the closing sub-sequence's step and status.

#include <cstdint>

namespace tavkelo {

// Test indexes.
namespace test {
inline constexpr int16_t None = 0;
inline constexpr int16_t Warmup = 1;
inline constexpr int16_t Parasitics = 2;
inline constexpr int16_t Coastdown = 3;
inline constexpr int16_t ConstantTarget = 4;
inline constexpr int16_t Asm = 5;
inline constexpr int16_t VehicleSimulation = 6;
}  // namespace test

// Calibration kinds (CurCalibration).
namespace calibration {
inline constexpr int32_t None = 0;
inline constexpr int32_t LoadCell = 1;
inline constexpr int32_t WeightScales = 2;
}  // namespace calibration

// The names a test and a calibration kind go by in the history, the metrics and the telemetry.
inline const char* TestKindName(int16_t index) {
  switch (index) {
    case test::Warmup:
      return "warmup";
    case test::Parasitics:
      return "parasitics";
    case test::Coastdown:
      return "coastdown";
    case test::ConstantTarget:
      return "constant_target";
    case test::Asm:
      return "asm";
    case test::VehicleSimulation:
      return "vehicle_simulation";
    default:
      return "other";
  }
}
inline const char* CalibrationKindName(int32_t kind) {
  return kind == calibration::LoadCell ? "load_cell" : "weight_scales";
}

// Completion status of the last test or calibration.
namespace ltcs {
inline constexpr int16_t NotRun = 0;
inline constexpr int16_t InProgress = 1;
inline constexpr int16_t Aborted = 2;
inline constexpr int16_t Completed = 3;
}  // namespace ltcs

// Command status of a sub-sequence: 1 running, 3 finished.
namespace seqstatus {
inline constexpr int16_t Running = 1;
inline constexpr int16_t Finished = 3;
}  // namespace seqstatus

struct SharedTestState {
  int16_t CurTest = test::None;
  int16_t StartedTestIndex = 0;
  int16_t LastTestCompletionStatus = ltcs::NotRun;
  int16_t TestStage = 0;
  int16_t TestStageLogged = 0;
  bool TestAbortRequest = false;
  bool TestCommandPending = false;
  int16_t TestPass = 0;
  int32_t TestMark1Ms = 0;
  int32_t TestMark2Ms = 0;
  double PassTorqueSum = 0.0;
  int32_t PassTorqueSamples = 0;

  // PutDyneToSleep ("PDTS_CS" in the status block): its step, its status and its busy flag.
  int16_t SleepStep = 0;
  int16_t SleepStatus = seqstatus::Finished;
  bool SleepBusy = false;
  // The calibration wizards' command status ("LCWS_CS"): 1 while a calibration runs.
  int16_t LcwsStatus = seqstatus::Finished;

  // The calibration now running: 0 none, 1 load cell, 2 weight scales.
  int32_t CurCalibration = calibration::None;
  bool WizardFormShown = false;
  bool WizardContinuePressed = false;

  // Idle values that start-up installs: the speed-sample counter of the peak logic starts at 999
  // ("no peak yet"), the index of the last peak sample at -1, and the start and end dates of the
  // last test run at the present.
  int32_t PeakSampleCounter = 999;
  int32_t PeakSampleIndex = -1;
  double TestStartDate = 0.0;
  double TestEndDate = 0.0;
};

}  // namespace tavkelo
