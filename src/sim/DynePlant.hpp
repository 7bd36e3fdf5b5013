#pragma once
// The dyne as a machine: rolls with their inertia and parasitic loss, the motor/absorber and its
// regulators, stop watches, distance, lifts, load cell, wheel scales, temperatures, restraints and
// fault conditions. Everything here is in the controller's own terms; the protocol lives in
// KeloController. Time advances only through AdvanceTo, in fixed integration steps.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "sim/KeloSimOptions.hpp"
#include "sim/LiftActuator.hpp"
#include "sim/LoadCell.hpp"
#include "sim/RollDynamics.hpp"
#include "sim/SetupMemory.hpp"
#include "sim/SpeedController.hpp"
#include "sim/StopWatch.hpp"
#include "sim/ThermalModel.hpp"
#include "sim/WheelScales.hpp"

namespace tavkelo {

// What the motor/absorber is doing. The motor and the absorber are one machine.
enum class MachineMode { Off, Motor, Speed, Torque, Drive, Asm, VariableLoad };
// "off", "motor", "speed regulator", ... as the operator reads it.
const char* MachineModeName(MachineMode mode);

// Fault conditions an operator (or a test) can raise; each shows as one status bit (6, 7, 8, 12
// and 13 in this order).
enum class DyneFault { DeviceError6, DeviceError7, MotorFault, DeviceError12, OverTemperature };
int StatusBitOf(DyneFault fault);

// Switches the controller keeps without further effect on the physics.
struct DyneSwitches {
  bool augmentedBraking = false;
  bool beltCompensation = false;
  bool igbtTest = false;
  bool twelveVolt = false;
};

class DynePlant {
 public:
  DynePlant(const SimPhysicsOptions& options, const SetupMemory& setup);

  // ---- time ------------------------------------------------------------------------------------
  void Start(int64_t nowUs);
  // Integrates up to nowUs in steps of at most the configured step.
  void AdvanceTo(int64_t nowUs);
  double NowS() const { return static_cast<double>(nowUs_) / 1e6; }
  // What a restart of the controller forgets: modes, targets, switches, stop watches, distance,
  // the offset mode. The rolls, lifts, loads, faults and calibrations stay as they are.
  void ResetVolatile();

  // ---- commands (false: refused) ---------------------------------------------------------------
  bool MotorOn();
  void MotorOff();
  bool RegulatorOn(MachineMode mode);
  void RegulatorOff();
  MachineMode Mode() const { return mode_; }
  bool RaiseLifts();
  void LowerLifts() { lifts_.Lower(); }
  void ResetDistance() { rolls_.ResetDistance(); }
  void ArmStopWatch(int which) { watches_[Index(which)].Arm(); }
  void DisarmStopWatch(int which) { watches_[Index(which)].Disarm(NowS()); }
  LoadCell& GetLoadCell() { return loadCell_; }
  DyneSwitches& Switches() { return switches_; }

  // ---- variables (controller units) ------------------------------------------------------------
  double Target(uint8_t variable) const;
  void SetTarget(uint8_t variable, double value);
  // A measured value, or nothing for a number that is not a measurement. Reading the torque takes
  // one sample of the load cell's amplifier.
  std::optional<double> Live(uint8_t variable);

  // ---- operator surface ------------------------------------------------------------------------
  void ConnectCalibrationDevice(bool connected) { loadCell_.ConnectDevice(connected); }
  void PlaceCalibrationWeights(int count) { loadCell_.PlaceWeights(count); }
  void ConnectScaleDevice(ScaleSide side, bool connected) {
    scales_.ConnectDevice(side, connected);
  }
  void PlaceScaleWeights(ScaleSide side, int count) { scales_.PlaceWeights(side, count); }
  void SetScaleLoad(ScaleSide side, double lb) { scales_.SetLoadLb(side, lb); }
  void SetRestraintsIn(bool in) { restraintsIn_ = in; }
  // A motor fault or an over-temperature stops the machine and refuses motor and regulators
  // until cleared.
  void RaiseFault(DyneFault fault);
  void ClearFault(DyneFault fault);
  bool HasFault(DyneFault fault) const;
  // A vehicle on the rolls pushing with a force (lbf at the roll surface), or a driver holding a
  // speed with at most maxForceLbf; StopVehicle takes the foot off.
  void DriveVehicleWithForce(double lbf);
  void DriveVehicleAtSpeed(double mph, double maxForceLbf = 1000.0);
  void StopVehicle();

  // ---- inspection ------------------------------------------------------------------------------
  double SpeedMph() const;
  double AccelerationMps2() const;
  // The machine's reaction force at the roll surface, positive while it brakes.
  double MachineForceLbf() const { return machineLbf_; }
  double MachinePowerHp() const;
  double VehicleForceLbf() const { return vehicleLbf_; }
  double DistanceMiles() const;
  uint16_t StatusWord() const;
  double StopWatchSeconds(int which) const { return watches_[Index(which)].Seconds(NowS()); }
  const LossCurve& Loss() const { return options_.loss; }
  double BaseWeightLb() const;
  const LiftActuator& Lifts() const { return lifts_; }
  const LoadCell& GetLoadCell() const { return loadCell_; }
  const WheelScales& Scales() const { return scales_; }
  double DisplayedWeightLb(ScaleSide side) const;
  const ThermalModel& Temperatures() const { return thermal_; }
  bool RestraintsIn() const { return restraintsIn_; }
  // Called after every integration step with its end time (s) and speed (mph).
  void SetStepObserver(std::function<void(double tS, double mph)> observer) {
    observer_ = std::move(observer);
  }

 private:
  enum class DriverMode { None, Force, Speed };
  static size_t Index(int which) { return which == 2 ? 1 : 0; }

  void Step(int64_t dtUs);
  bool MachineBlocked() const;
  // Acceleration of the rolls (ft/s²) at a speed, for the present mode.
  double AccelFtS2(double speedFtS) const;
  // The vehicle's push and the machine's braking force at a speed (lbf).
  double VehicleForce(double speedFtS) const;
  double MachineBrakeForce(double speedFtS) const;
  // Road load the vehicle simulation puts on the vehicle, less its own tyre losses (lbf).
  double SimulatedRoadLoad(double mph) const;
  double EstimatedLossForce(double mph) const;
  double VehicleMassSlugs() const;
  void ConfigureLoops();

  SimPhysicsOptions options_;
  const SetupMemory& setup_;
  int64_t nowUs_ = 0;
  bool started_ = false;

  MachineMode mode_ = MachineMode::Off;
  RollDynamics rolls_;
  SpeedController motorLoop_;
  SpeedController speedLoop_;
  SpeedController driverLoop_;
  DriverMode driverMode_ = DriverMode::None;
  double driverValue_ = 0.0;
  double driverMaxLbf_ = 0.0;
  double machineLbf_ = 0.0;
  double vehicleLbf_ = 0.0;

  std::map<uint8_t, double> targets_;
  DyneSwitches switches_;
  std::array<StopWatch, 2> watches_{};
  LiftActuator lifts_;
  LoadCell loadCell_;
  WheelScales scales_;
  ThermalModel thermal_;
  bool restraintsIn_ = false;
  uint16_t faultBits_ = 0;
  std::function<void(double, double)> observer_;
};

}  // namespace tavkelo
