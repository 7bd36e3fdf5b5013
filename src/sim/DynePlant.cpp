#include "sim/DynePlant.hpp"

#include <algorithm>
#include <cmath>

#include "link/DyneVocabulary.hpp"
#include "sim/SimUnits.hpp"

namespace tavkelo {

const char* MachineModeName(MachineMode mode) {
  switch (mode) {
    case MachineMode::Off:
      return "off";
    case MachineMode::Motor:
      return "motor";
    case MachineMode::Speed:
      return "speed regulator";
    case MachineMode::Torque:
      return "torque regulator";
    case MachineMode::Drive:
      return "drive regulator";
    case MachineMode::Asm:
      return "ASM regulator";
    case MachineMode::VariableLoad:
      return "variable load regulator";
  }
  return "?";
}

namespace {
// The load-cell configuration with the weight of one calibration weight settled: unless given,
// three of them make exactly the CAL_WEIGHT the controller starts with.
LoadCell::Config ResolveLoadCell(LoadCell::Config config, const SetupMemory& setup) {
  if (config.weightLbf <= 0.0)
    config.weightLbf = setup.Get(var::CAL_WEIGHT) / 10.0 / sim::kNewtonPerLbf / 3.0;
  return config;
}

const uint8_t kTargetVariables[] = {200, 201, 202, 203, 204, 205, 206, 207, 208,
                                    212, 213, 214, 228, 229, 230, 234, 235};
}  // namespace

int StatusBitOf(DyneFault fault) {
  switch (fault) {
    case DyneFault::DeviceError6:
      return status::DeviceErrorA;
    case DyneFault::DeviceError7:
      return status::DeviceErrorB;
    case DyneFault::MotorFault:
      return status::MotorFault;
    case DyneFault::DeviceError12:
      return status::DeviceErrorC;
    case DyneFault::OverTemperature:
      return status::OverTemperature;
  }
  return status::DeviceErrorA;
}

DynePlant::DynePlant(const SimPhysicsOptions& options, const SetupMemory& setup)
    : options_(options),
      setup_(setup),
      lifts_(options.liftTravelS, options.liftsUpAtStart),
      loadCell_(ResolveLoadCell(options.loadCell, setup)),
      scales_(options.scales),
      thermal_(options.thermal) {
  ResetVolatile();
}

void DynePlant::Start(int64_t nowUs) {
  nowUs_ = nowUs;
  started_ = true;
}

void DynePlant::ResetVolatile() {
  mode_ = MachineMode::Off;
  motorLoop_.Reset();
  speedLoop_.Reset();
  targets_.clear();
  for (uint8_t v : kTargetVariables) targets_[v] = 0.0;
  switches_ = DyneSwitches{};
  for (auto& watch : watches_) watch.Reset();
  rolls_.ResetDistance();
  loadCell_.SetOffsetMode(LoadCell::OffsetMode::Normal);
}

void DynePlant::AdvanceTo(int64_t nowUs) {
  if (!started_) Start(nowUs);
  const int64_t stepUs = std::max<int64_t>(options_.stepUs, 100);
  while (nowUs_ < nowUs) {
    const int64_t dt = std::min(stepUs, nowUs - nowUs_);
    Step(dt);
  }
}

// ---- commands
// ------------------------------------------------------------------------------------

bool DynePlant::MachineBlocked() const {
  return HasFault(DyneFault::MotorFault) || HasFault(DyneFault::OverTemperature);
}

bool DynePlant::MotorOn() {
  if (MachineBlocked()) return false;
  if (mode_ != MachineMode::Motor) motorLoop_.Reset();
  mode_ = MachineMode::Motor;  // switches any regulator off
  return true;
}

void DynePlant::MotorOff() {
  if (mode_ == MachineMode::Motor) mode_ = MachineMode::Off;
}

bool DynePlant::RegulatorOn(MachineMode mode) {
  if (MachineBlocked() || mode == MachineMode::Off || mode == MachineMode::Motor) return false;
  if (mode == MachineMode::Speed && mode_ != MachineMode::Speed) speedLoop_.Reset();
  mode_ = mode;  // switches the motor off
  return true;
}

void DynePlant::RegulatorOff() {
  if (mode_ != MachineMode::Motor) mode_ = MachineMode::Off;
}

bool DynePlant::RaiseLifts() {
  if (SpeedMph() > options_.liftRaiseLimitMph) return false;
  lifts_.Raise();
  return true;
}

// ---- variables -------------------------------------------------------------------------------

double DynePlant::Target(uint8_t variable) const {
  auto it = targets_.find(variable);
  return it == targets_.end() ? 0.0 : it->second;
}

void DynePlant::SetTarget(uint8_t variable, double value) {
  if (targets_.count(variable) != 0) targets_[variable] = value;
}

std::optional<double> DynePlant::Live(uint8_t v) {
  const LossCurve calibrated = setup_.CalibratedLoss();
  switch (v) {
    case var::SPEED:
      return SpeedMph();
    case var::ACCELERATION:
      return AccelerationMps2();
    case var::POWER:
      return MachinePowerHp();
    case var::RIGHTWEIGHT:
      return DisplayedWeightLb(ScaleSide::Right);
    case var::LEFTWEIGHT:
      return DisplayedWeightLb(ScaleSide::Left);
    case var::TOTALWEIGHT:
      return DisplayedWeightLb(ScaleSide::Left) + DisplayedWeightLb(ScaleSide::Right);
    case var::FORCETEMP:
      return thermal_.ForceTransducerF();
    case var::BEARINGTEMP:
      return thermal_.BearingF();
    // Three-phase 460 V at a power factor of 0.9.
    case var::LINECURRENT:
      return std::fabs(MachinePowerHp()) * 745.7 / (std::sqrt(3.0) * 460.0 * 0.9);
    case var::DISTANCE:
      return DistanceMiles();
    case var::STOPWATCH1:
      return StopWatchSeconds(1);
    case var::STOPWATCH2:
      return StopWatchSeconds(2);
    case var::TORQUE:
      return loadCell_.SampleLbf();
    case var::PARASITICS_A_COEFF:
      return setup_.Get(var::PARASITIC_LOSSES_A) / sim::kLossWordPerHp;
    case var::PARASITICS_B_COEFF:
      return setup_.Get(var::PARASITIC_LOSSES_B) / sim::kLossWordPerHp;
    case var::PARASITICS_C_COEFF:
      return setup_.Get(var::PARASITIC_LOSSES_C) / sim::kLossWordPerHp;
    case var::PARASITIC_5015_LOSSES:
      return std::round(calibrated.PowerHp(15.0) * sim::kLossWordPerHp);
    case var::PARASITIC_2525_LOSSES:
      return std::round(calibrated.PowerHp(25.0) * sim::kLossWordPerHp);
    // Measurements this controller has but does not fill.
    case var::SUPPORT_SPEED:
    case var::ISE:
    case var::TORQUEMINUS:
    case var::TORQUEPLUS:
    case var::NOTASSIGNED:
    case var::INTERSPEED:
    case var::STOPWATCH1_INTER:
    case var::MEASURING_DIRECTION:
      return 0.0;
    default:
      return std::nullopt;
  }
}

// ---- operator surface ------------------------------------------------------------------------

void DynePlant::RaiseFault(DyneFault fault) {
  faultBits_ = static_cast<uint16_t>(faultBits_ | (1u << StatusBitOf(fault)));
  if (MachineBlocked()) mode_ = MachineMode::Off;
}

void DynePlant::ClearFault(DyneFault fault) {
  faultBits_ = static_cast<uint16_t>(faultBits_ & ~(1u << StatusBitOf(fault)));
}

bool DynePlant::HasFault(DyneFault fault) const {
  return (faultBits_ >> StatusBitOf(fault)) & 1u;
}

void DynePlant::DriveVehicleWithForce(double lbf) {
  driverMode_ = DriverMode::Force;
  driverValue_ = lbf;
}

void DynePlant::DriveVehicleAtSpeed(double mph, double maxForceLbf) {
  if (driverMode_ != DriverMode::Speed) driverLoop_.Reset();
  driverMode_ = DriverMode::Speed;
  driverValue_ = std::max(mph, 0.0);
  driverMaxLbf_ = std::max(maxForceLbf, 0.0);
}

void DynePlant::StopVehicle() {
  driverMode_ = DriverMode::None;
  driverValue_ = 0.0;
  driverLoop_.Reset();
}

// ---- inspection ------------------------------------------------------------------------------

double DynePlant::SpeedMph() const {
  return sim::FtPerSToMph(rolls_.SpeedFtS());
}
double DynePlant::AccelerationMps2() const {
  return rolls_.AccelFtS2() * sim::kMetrePerFt;
}
double DynePlant::MachinePowerHp() const {
  return machineLbf_ * rolls_.SpeedFtS() / sim::kHpFtLbPerS;
}
double DynePlant::DistanceMiles() const {
  return rolls_.DistanceFt() / sim::kFeetPerMile;
}
double DynePlant::BaseWeightLb() const {
  return std::max(setup_.BaseWeightLb(), 100.0);
}

double DynePlant::DisplayedWeightLb(ScaleSide side) const {
  const uint8_t scale =
      side == ScaleSide::Right ? var::AMPLIFICATION_SCALE1 : var::AMPLIFICATION_SCALE2;
  return scales_.DisplayLb(side, setup_.Get(scale));
}

uint16_t DynePlant::StatusWord() const {
  uint16_t word = faultBits_;
  auto set = [&word](int bit) { word = static_cast<uint16_t>(word | (1u << bit)); };
  if (lifts_.IsUp()) set(status::LiftsUp);
  if (lifts_.IsDown()) set(status::LiftsDown);
  if (restraintsIn_) set(status::RestraintsIn);
  if (mode_ == MachineMode::Motor) set(status::MotorOn);
  return word;
}

// ---- physics ---------------------------------------------------------------------------------

double DynePlant::VehicleMassSlugs() const {
  double weight = Target(var::DSR_VEHWEIGHT);
  return sim::SlugsOf(weight > 0.0 ? weight : BaseWeightLb());
}

double DynePlant::EstimatedLossForce(double mph) const {
  return setup_.CalibratedLoss().ForceLbf(mph, options_.lowSpeedTaperMph);
}

double DynePlant::SimulatedRoadLoad(double mph) const {
  const double road = Target(var::DSR_A) + mph * (Target(var::DSR_B) + mph * Target(var::DSR_C));
  const double tyres =
      Target(var::GTRL_A) + mph * (Target(var::GTRL_B) + mph * Target(var::GTRL_C));
  return road - tyres;
}

void DynePlant::ConfigureLoops() {
  const double mass = sim::SlugsOf(BaseWeightLb());
  const double t = options_.speedLoopTimeS;
  motorLoop_.Configure(mass, t, -options_.motorMaxForceLbf, options_.motorMaxForceLbf);
  speedLoop_.Configure(mass, t, -options_.absorberMaxForceLbf, options_.motorMaxForceLbf);
  driverLoop_.Configure(VehicleMassSlugs(), 2.0 * t, 0.0, driverMaxLbf_);
}

double DynePlant::VehicleForce(double speedFtS) const {
  switch (driverMode_) {
    case DriverMode::Force:
      return driverValue_;
    case DriverMode::Speed:
      return driverLoop_.Force(sim::MphToFtPerS(driverValue_), speedFtS, 0.0);
    case DriverMode::None:
      break;
  }
  return 0.0;
}

double DynePlant::MachineBrakeForce(double speedFtS) const {
  const double mph = sim::FtPerSToMph(speedFtS);
  const double maxBrake = options_.absorberMaxForceLbf;
  switch (mode_) {
    case MachineMode::Off:
      return 0.0;
    case MachineMode::Motor:
      return -motorLoop_.Force(sim::MphToFtPerS(options_.motorTopSpeedMph), speedFtS,
                               EstimatedLossForce(mph));
    case MachineMode::Speed:
      return -speedLoop_.Force(sim::MphToFtPerS(std::max(Target(var::SPEEDTARGET), 0.0)), speedFtS,
                               EstimatedLossForce(mph));
    case MachineMode::Torque:
    case MachineMode::VariableLoad:
      return std::clamp(Target(var::TORQUETARGET), 0.0, maxBrake);
    case MachineMode::Asm: {
      // The set power in total: the machine absorbs what its calibrated losses and the tyres'
      // own losses (ASMGTRL) leave over.
      const double hp =
          Target(var::ASMPWRTARGET) - Target(var::ASMGTRL) - setup_.CalibratedLoss().PowerHp(mph);
      const double speed = std::max(speedFtS, sim::MphToFtPerS(options_.lowSpeedTaperMph));
      return std::clamp(std::max(hp, 0.0) * sim::kHpFtLbPerS / speed, 0.0, maxBrake);
    }
    case MachineMode::Drive: {
      // The rolls must move as the vehicle would on the road: the machine adds the road load and
      // the inertia the rolls lack.
      const double push = VehicleForce(speedFtS);
      const double roadAccel = (push - SimulatedRoadLoad(mph)) / VehicleMassSlugs();
      const double force = push - options_.loss.ForceLbf(mph, options_.lowSpeedTaperMph) -
                           sim::SlugsOf(BaseWeightLb()) * roadAccel;
      return std::clamp(force, -options_.motorMaxForceLbf, maxBrake);
    }
  }
  return 0.0;
}

double DynePlant::AccelFtS2(double speedFtS) const {
  const double mph = sim::FtPerSToMph(speedFtS);
  const double net = VehicleForce(speedFtS) -
                     options_.loss.ForceLbf(mph, options_.lowSpeedTaperMph) -
                     MachineBrakeForce(speedFtS);
  return net / sim::SlugsOf(BaseWeightLb());
}

void DynePlant::Step(int64_t dtUs) {
  ConfigureLoops();
  const double dtS = static_cast<double>(dtUs) / 1e6;
  const double t0 = NowS();
  const RollDynamics::Step step = rolls_.Advance(dtS, [this](double v) { return AccelFtS2(v); });
  nowUs_ += dtUs;
  const double t1 = NowS();

  // The loops' integrators see the step's mean speed.
  const double mid = 0.5 * (step.fromFtS + step.toFtS);
  const double midMph = sim::FtPerSToMph(mid);
  if (mode_ == MachineMode::Motor)
    motorLoop_.Integrate(sim::MphToFtPerS(options_.motorTopSpeedMph), mid,
                         EstimatedLossForce(midMph), dtS);
  if (mode_ == MachineMode::Speed)
    speedLoop_.Integrate(sim::MphToFtPerS(std::max(Target(var::SPEEDTARGET), 0.0)), mid,
                         EstimatedLossForce(midMph), dtS);
  if (driverMode_ == DriverMode::Speed)
    driverLoop_.Integrate(sim::MphToFtPerS(driverValue_), mid, 0.0, dtS);

  const double v1 = rolls_.SpeedFtS();
  vehicleLbf_ = VehicleForce(v1);
  if (v1 <= 0.0) {
    // Held at rest: the machine only carries what a vehicle pushes against it.
    machineLbf_ =
        mode_ == MachineMode::Off ? 0.0 : std::max(vehicleLbf_ - options_.loss.ForceLbf(0.0), 0.0);
  } else {
    machineLbf_ = MachineBrakeForce(v1);
  }

  loadCell_.SetMachineForceLbf(machineLbf_);
  loadCell_.Advance(dtS);
  lifts_.Advance(dtS);
  thermal_.Advance(dtS, SpeedMph(), mode_ == MachineMode::Motor, MachinePowerHp());

  const double fromMph = sim::FtPerSToMph(step.fromFtS);
  const double toMph = sim::FtPerSToMph(step.toFtS);
  watches_[0].Observe(t0, fromMph, t1, toMph, Target(var::STOPWATCH1_START_SPEED),
                      Target(var::STOPWATCH1_STOP_SPEED));
  watches_[1].Observe(t0, fromMph, t1, toMph, Target(var::STOPWATCH2_START_SPEED),
                      Target(var::STOPWATCH2_STOP_SPEED));
  if (observer_) observer_(t1, toMph);
}

}  // namespace tavkelo
