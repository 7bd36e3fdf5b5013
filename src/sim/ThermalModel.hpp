#pragma once
// Bearing and force-transducer temperatures (°F): each relaxes towards a target that rises with
// the work being done, the bearing quickly while the rolls turn and more when the motor drives
// them, the transducer slowly with the machine's power.

namespace tavkelo {

class ThermalModel {
 public:
  struct Config {
    double ambientF = 70.0;
    double bearingTimeS = 900.0;
    double bearingRisePerMphF = 0.6;  // at steady speed
    double bearingMotorRiseF = 10.0;  // extra while the motor drives
    double forceTimeS = 1800.0;
    double forceRisePerHpF = 0.5;
  };

  explicit ThermalModel(const Config& config);
  void Advance(double dtS, double speedMph, bool motorOn, double machinePowerHp);
  double BearingF() const { return bearingF_; }
  double ForceTransducerF() const { return forceF_; }

 private:
  Config config_;
  double bearingF_;
  double forceF_;
};

}  // namespace tavkelo
