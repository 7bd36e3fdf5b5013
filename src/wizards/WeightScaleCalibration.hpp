#pragma once
// The weight-scale calibration: a stage machine, stepped by the poller while CurCalibration is 2,
// that guides the technician through both wheel-weight scales on the form frmWSCal. For each side
// it finds the offset of the empty calibration device, has five calibration weights put on and
// writes the side's new amplification scale to the controller. It is built like the load-cell
// calibration: the same preamble, abort path, ready-gated prompts, step lamps and finish.

#include <cstdint>
#include <string>

#include "wizards/CalibrationSequence.hpp"

namespace tavkelo {

class WeightScaleCalibration : public CalibrationSequence {
 public:
  WeightScaleCalibration(KeloContext& ctx, CalibrationRecord& record, WizardForms& forms)
      : CalibrationSequence(ctx, record, forms) {}

  // One step (the poller's call).
  void PerformWeightScaleCalibration();

  // Nominal load of the five calibration weights, lb.
  static constexpr double kNominalLb = 440.8;
  // The connect prompts are ready once the empty device and tray weigh on the scale.
  static constexpr double kDeviceOnLb = 50.0;
  // The "place 5 weights" prompts are ready from half to one and a half times the nominal load
  // (compared as the displays are kept, in single precision).
  static constexpr float kWeightsLowLb = 220.4f;
  static constexpr float kWeightsHighLb = 661.2f;
  // Offset finding: the average is held at 0 this long after the mark, and the offset is taken
  // once the display has stayed within kOffsetBandLb for more than kOffsetSteadyMs.
  static constexpr int32_t kOffsetHoldMs = 3000;
  static constexpr double kOffsetBandLb = 10.0;
  static constexpr int32_t kOffsetSteadyMs = 5000;
  static constexpr int32_t kWeightsSettleMs = 5000;

  // The amplification scale that makes `display` read the nominal load.
  static float NewAmplificationScale(float display, float currentScale);

 private:
  struct Side {
    CalibrationRecord::ScaleRecord& scale;
    float rawWeight;
    WizardControl& liveValue;
    int compensateLamp;  // lamp of "Compensate cal. device" on this side
    int calibrateLamp;   // lamp of "Calibrate" on this side
  };
  Side LeftSide();
  Side RightSide();

  void Step();
  void RunStage(int16_t stage);
  void ConnectStage(const Side& side, ReadyPrompt prompt);
  void OffsetStage(const Side& side, const char* logLabel);
  void WeightsStage(const Side& side, float currentScale, uint8_t scaleVariable,
                    const char* logLabel);
  static void Smooth(CalibrationRecord::ScaleRecord& scale, float rawWeight);
  frmWSCal& Form() { return forms_.WeightScaleForm(); }
};

}  // namespace tavkelo
