#pragma once
// The parasitic-loss test: the motor spins the rolls up past 32 mph and holds them there for four
// seconds, then the rolls coast freely through five fixed speed windows (30-26 mph down to
// 10-6 mph) in one coast. The time of each window, the base inertia and the window's speeds give
// the power lost in it; as loss torques at the windows' nominal speeds they are fitted with a
// second-degree polynomial, from which the device values of the parasitic-loss calibration
// (variables 51, 52, 53, 98, 99) are derived. A stage machine stepped by the poller while CurTest
// is 2.

#include <array>
#include <cstdint>

#include "sequences/SequenceBase.hpp"

namespace tavkelo {

class DyneSleepSequence;

struct ParasiticsWindow {
  float Top = 0.0f;      // mph
  float Nominal = 0.0f;  // mph
  float Bottom = 0.0f;   // mph
};

// What the test measured and computed, per window (index 0 = 10-6 mph .. 4 = 30-26 mph).
struct ParasiticsResult {
  std::array<float, 5> StopwatchSeconds{};  // the device's STOPWATCH1 time
  std::array<float, 5> CoastMs{};           // the server's own time, bottom minus top crossing
  std::array<double, 5> AverageTorque{};    // mean torque in the window (kept, not used further)
  std::array<double, 5> NominalSpeed{};     // the fit's x values
  std::array<double, 5> LossTorque{};       // ft-lb, the fit's y values
  std::array<float, 5> LossHP{};            // "PLHP"
  std::array<double, 5> Weight{};           // the fit's weights, 1.0 each
};

// The outcome of the fit: raw coefficients and the quantised device values with their companions.
struct ParasiticsOutputs {
  std::array<double, 3> Coefficients{};  // c0, c1, c2 of the loss torque T(v) = c0 + c1 v + c2 v²
  // Quantised torque coefficients K (ft-lb), A (ft-lb/mph), B (ft-lb/mph²).
  float CoefK = 0.0f, CoefA = 0.0f, CoefB = 0.0f;
  // The three terms as HP at 50 mph, quantised.
  float KTermHP = 0.0f, ATermHP = 0.0f, BTermHP = 0.0f;
  // Device values of variables 51, 52, 53, 98 and 99 (whole numbers of HP x 74.57).
  float Var51 = 0.0f, Var52 = 0.0f, Var53 = 0.0f, Var98 = 0.0f, Var99 = 0.0f;
  // Losses at 15 and 25 mph in HP, quantised.
  float Loss15MphHP = 0.0f, Loss25MphHP = 0.0f;
};

class ParasiticsTest : public SequenceBase {
 public:
  ParasiticsTest(KeloContext& ctx, DyneSleepSequence& sleep) : SequenceBase(ctx), sleep_(sleep) {}

  // One step of the stage machine.
  void PerformParasitics();
  // The fixed windows that stage 0 loads.
  static constexpr std::array<ParasiticsWindow, 5> kWindows{{
      {10.0f, 8.0f, 6.0f},
      {15.0f, 13.0f, 11.0f},
      {20.0f, 18.0f, 16.0f},
      {25.0f, 23.0f, 21.0f},
      {30.0f, 28.0f, 26.0f},
  }};
  // The run-up speed above the top window, and how long it is held there (ms).
  static constexpr float kRunUpMarginMph = 2.0f;
  static constexpr int32_t kRunUpHoldMs = 4000;
  // The server's own window time replaces the stopwatch only when it is longer by more than this.
  static constexpr double kServerTimeMarginS = 4.0;
  // Device values are whole numbers of HP x 74.57.
  static constexpr float kDeviceUnitsPerHp = 74.57f;

  // The stage that a stop request jumps to.
  static constexpr int16_t kAbortStage = 14;

  // The test's aborted flag: set once when it takes the stop request, cleared by stage 0.
  bool TestAborted = false;
  std::array<ParasiticsWindow, 5> ParasiticsWindows = kWindows;
  ParasiticsResult ParasiticsResults;
  ParasiticsOutputs Outputs;

 private:
  void Step();
  void ComputeResults();
  void Finish();

  DyneSleepSequence& sleep_;
};

}  // namespace tavkelo
