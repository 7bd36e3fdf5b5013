#pragma once
// The load-cell calibration: a stage machine, stepped by the poller while CurCalibration is 1,
// that guides the technician through the controller's zero-point and amplification calibrations
// with known weights on the calibration arm, on the form frmLCCal. Each step does at most one
// stage's work and sends at most one device command.

#include <cstdint>

#include "wizards/CalibrationSequence.hpp"

namespace tavkelo {

class LoadCellCalibration : public CalibrationSequence {
 public:
  LoadCellCalibration(KeloContext& ctx, CalibrationRecord& record, WizardForms& forms)
      : CalibrationSequence(ctx, record, forms) {}

  // One step (the poller's call).
  void PerformLoadCellCalibration();

  // The settling limits of the offset stages: stage 10 allows the limit itself, 15 and 18 stop
  // one millisecond short of it.
  static constexpr int32_t kSettleLimitMs = 150000;
  static constexpr int32_t kInBandMs = 5000;
  static constexpr double kZeroBand = 0.05;
  static constexpr double kExpectedBand = 25.0;
  // ft-lb of torque for CalWeight (tenths of a newton) on rolls with the given roll factor.
  static float ExpectedTorqueFor(float calWeight, float torqueSpeedFactor);

 private:
  void Step();
  void RunStage(int16_t stage);
  // Offset settling: true when the torque has stayed in the zero band for more than 5 s, or when
  // the stage's time ran out (then the abort request is set).
  bool OffsetSettled(bool limitInclusive);
  bool TorqueNearExpected() const;
  frmLCCal& Form() { return forms_.LoadCellForm(); }
};

}  // namespace tavkelo
