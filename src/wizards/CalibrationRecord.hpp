#pragma once
// The calibration work record, one per process and shared by the two calibrations: the window
// that was in front when a wizard opened, the torque the load-cell weights should produce, the
// millisecond marks of the waiting stages, the two prompt flags that keep a ready-gated prompt
// from being drawn again on every poll, and the weight-scale figures of each side.

#include <cstdint>

namespace tavkelo {

struct CalibrationRecord {
  // The window (and its thread) in front when the wizard opened, and the wizard's own thread.
  // A server has no windows: they stay 0, and opening the form on the dashboard takes the place of
  // bringing it to the front.
  int64_t SavedForegroundWindow = 0;
  int32_t SavedForegroundThread = 0;
  int32_t WizardThread = 0;

  // ft-lb that the three load-cell calibration weights should show.
  float ExpectedTorque = 0.0f;
  // Tick counts: when the present waiting stage began, the latest check, when the reading last
  // left its band (kept from one stage to the next on purpose), the latest in-band check.
  int32_t StageMarkMs = 0;
  int32_t NowMs = 0;
  int32_t InBandSinceMs = 0;
  int32_t InBandNowMs = 0;
  // Which form of the present ready-gated prompt is on the form.
  bool PromptNotReadyShown = false;
  bool PromptReadyShown = false;

  // Weight scales, per side (lb).
  struct ScaleRecord {
    float ScaleDisplay = 0.0f;        // smoothed weight shown on the form
    float ScaleOffset = 0.0f;         // zero offset found with the empty calibration device
    float ScaleOffsetAverage = 0.0f;  // running average while the offset is found
  };
  ScaleRecord Left;
  ScaleRecord Right;
  // A weight-scale "place 5 weights" stage has had its Continue and waits for the weights to
  // settle.
  bool WeightsSettling = false;
};

}  // namespace tavkelo
