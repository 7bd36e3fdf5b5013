#pragma once
// PutDyneToSleep: the closing sub-sequence of the warm-up, parasitic-loss and coastdown tests.
// It switches the regulator and the motor off, waits for the motor to stop, brakes the rolls to
// rest with the torque regulator (only for tests 1 to 3), gives the torque target back to the
// client's value and switches the remaining functions off. The calling test starts it with
// SleepStep 0 and SleepStatus 1 and steps it until SleepStatus reads 3.

#include "sequences/SequenceBase.hpp"

namespace tavkelo {

class DyneSleepSequence : public SequenceBase {
 public:
  explicit DyneSleepSequence(KeloContext& ctx) : SequenceBase(ctx) {}

  // One step; does nothing once finished or with a step outside 0 to 12.
  void PutDyneToSleep();

  // The braking torque target (ft-lb) of steps 3 and 4.
  static constexpr float kBrakeTorqueFtLb = 90.0f;
};

}  // namespace tavkelo
