#include "sim/StopWatch.hpp"

namespace tavkelo {

namespace {
// Time at which the speed falls through `mph` in the step, or a negative number when it does not.
double FallThrough(double t0S, double v0, double t1S, double v1, double mph) {
  if (!(v0 > mph && v1 <= mph)) return -1.0;
  return t0S + (v0 - mph) / (v0 - v1) * (t1S - t0S);
}
}  // namespace

void StopWatch::Arm() {
  state_ = State::Armed;
  startS_ = 0.0;
  elapsedS_ = 0.0;
}

void StopWatch::Disarm(double nowS) {
  if (state_ == State::Running) {
    elapsedS_ = nowS - startS_;
    state_ = State::Stopped;
  } else if (state_ == State::Armed) {
    state_ = State::Idle;
  }
}

void StopWatch::Observe(double t0S, double v0, double t1S, double v1, double startMph,
                        double stopMph) {
  if (state_ == State::Armed) {
    double at = FallThrough(t0S, v0, t1S, v1, startMph);
    if (at < 0.0) return;
    state_ = State::Running;
    startS_ = at;
  }
  if (state_ == State::Running) {
    double at = FallThrough(t0S, v0, t1S, v1, stopMph);
    if (at < 0.0 || at < startS_) return;
    elapsedS_ = at - startS_;
    state_ = State::Stopped;
  }
}

double StopWatch::Seconds(double nowS) const {
  switch (state_) {
    case State::Running:
      return nowS - startS_;
    case State::Stopped:
      return elapsedS_;
    default:
      return 0.0;
  }
}

}  // namespace tavkelo
