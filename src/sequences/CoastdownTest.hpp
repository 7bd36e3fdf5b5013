#pragma once
// The coastdown test: checks the dyne's load control in two speed windows. For each window the
// motor drives the rolls above it, the ASM regulator then absorbs the window's load power, and
// the time the rolls take from the window's high to its low speed is compared with the time in
// which that power absorbs the kinetic energy of the base inertia between the two speeds. The
// torque regulator then brakes the rolls to rest. The results go to ctx.results.Coastdown[1..2]
// and, when the test completes, to the INI file. A stage machine stepped by the poller while
// CurTest is 3.

#include <cstdint>
#include <memory>

#include "sequences/SequenceBase.hpp"

namespace tavkelo {

class DyneSleepSequence;
class clsAverage;
struct CoastdownWindow;

class CoastdownTest : public SequenceBase {
 public:
  CoastdownTest(KeloContext& ctx, DyneSleepSequence& sleep);
  ~CoastdownTest();

  // One step of the stage machine.
  void PerformCoastdown();
  bool Aborted() const { return aborted_; }
  uint8_t Window() const { return window_; }

  static constexpr int16_t kAbortStage = 21;
  static constexpr float kRunUpMarginMph = 2.0f;
  static constexpr int32_t kRunUpHoldMs = 4000;
  // The server's own time replaces the stopwatch only when it is longer by more than this.
  static constexpr double kServerTimeMarginS = 1.5;
  // Power samples count toward the actual HP within this distance of the middle speed.
  static constexpr double kPowerBandMph = 0.75;
  static constexpr int16_t kPowerAverageDepth = 15;
  static constexpr float kBrakeTorqueFtLb = 90.0f;

  // Fills in the result of window w (1 or 2) from the measured times, the average power and the
  // parameters (public, so that the result rules can be checked on their own).
  void ComputeWindowResult(uint8_t w);

 private:
  void Step();
  void Finish();
  const CoastdownWindow& Params(uint8_t w) const;

  DyneSleepSequence& sleep_;
  bool aborted_ = false;
  uint8_t window_ = 1;
  // Lives from stage 12 to the end of the window.
  std::unique_ptr<clsAverage> power_;
};

}  // namespace tavkelo
