#pragma once
// The vehicle lifts between the rolls: they travel up or down in a set time and report "up" or
// "down" only at the end of their travel (neither while they move). A reversal mid-way goes back
// from where they are.

namespace tavkelo {

class LiftActuator {
 public:
  LiftActuator(double travelS, bool up);

  void Raise() { direction_ = +1; }
  void Lower() { direction_ = -1; }
  void Advance(double dtS);

  bool IsUp() const { return direction_ >= 0 && position_ >= 1.0; }
  bool IsDown() const { return direction_ <= 0 && position_ <= 0.0; }
  bool IsMoving() const { return !IsUp() && !IsDown(); }
  // 0 down .. 1 up.
  double Position() const { return position_; }

 private:
  double travelS_;
  double position_;
  int direction_;
};

}  // namespace tavkelo
