#pragma once
// A coast stop watch: once armed it starts when the speed falls through its start speed and stops
// when it falls through its stop speed. Crossings are placed inside an integration step by linear
// interpolation between the step's end speeds, so the time does not depend on the step size.

namespace tavkelo {

class StopWatch {
 public:
  enum class State { Idle, Armed, Running, Stopped };

  // Clears the time and waits for the start crossing.
  void Arm();
  // Stops counting (keeping the time so far) or drops an arming that never started.
  void Disarm(double nowS);
  void Reset() { *this = StopWatch{}; }

  // One step of the rolls from (t0S, v0Mph) to (t1S, v1Mph).
  void Observe(double t0S, double v0Mph, double t1S, double v1Mph, double startMph, double stopMph);

  State GetState() const { return state_; }
  // Seconds measured: running time so far, or the final time once stopped.
  double Seconds(double nowS) const;

 private:
  State state_ = State::Idle;
  double startS_ = 0.0;
  double elapsedS_ = 0.0;
};

}  // namespace tavkelo
