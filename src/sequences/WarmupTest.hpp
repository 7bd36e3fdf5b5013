#pragma once
// The warm-up test: runs the dyne's motor for the set time, counted from the moment the rolls
// first turn at 0.5 mph or more, then brings the dyne to rest with PutDyneToSleep. A stage
// machine stepped by the poller while CurTest is 1.

#include <cstdint>

#include "sequences/SequenceBase.hpp"

namespace tavkelo {

class DyneSleepSequence;

class WarmupTest : public SequenceBase {
 public:
  WarmupTest(KeloContext& ctx, DyneSleepSequence& sleep) : SequenceBase(ctx), sleep_(sleep) {}

  // One step of the stage machine.
  void PerformWarmup();
  bool Aborted() const { return aborted_; }

  // How long the rolls may stand after "Motor On" before the test shows itself aborted (ms).
  static constexpr int32_t kNoRotationMs = 240000;

 private:
  void Step();

  DyneSleepSequence& sleep_;
  // The warm-up's own aborted flag and millisecond marks.
  bool aborted_ = false;
  int32_t mark1Ms_ = 0;
  int32_t mark2Ms_ = 0;
};

}  // namespace tavkelo
