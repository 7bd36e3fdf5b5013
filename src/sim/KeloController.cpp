#include "sim/KeloController.hpp"

#include <cmath>
#include <cstdio>
#include <memory>

#include "link/DyneVocabulary.hpp"
#include "platform/VbConvert.hpp"
#include "sim/ReplyFrames.hpp"
#include "sim/SimUnits.hpp"
#include "sim/VariableRules.hpp"

namespace tavkelo {

namespace {
// A value text must begin (after blanks) with a sign, a digit or a decimal point.
bool IsNumberText(const std::string& text) {
  for (char c : text) {
    if (c == ' ') continue;
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.';
  }
  return false;
}
}  // namespace

KeloController::KeloController(EventLoop& loop, KeloSimOptions options)
    : loop_(loop),
      options_(std::move(options)),
      setup_(SetupMemory::FactoryValues(options_.physics.loss, options_.setup)),
      plant_(options_.physics, setup_),
      faults_(options_.faults),
      physicsTimer_(loop) {
  plant_.Start(loop_.NowUs());
  physicsTimer_.SetHandler([this] { plant_.AdvanceTo(loop_.NowUs()); });
  const int64_t stepMs = std::max<int64_t>(options_.physics.stepUs / 1000, 1);
  physicsTimer_.SetInterval(static_cast<uint32_t>(stepMs));
  physicsTimer_.SetEnabled(true);
}

KeloController::~KeloController() {
  Detach();
}

// ---- the line --------------------------------------------------------------------------------

void KeloController::Attach(SerialChannel& channel) {
  Detach();
  channel_ = &channel;
  if (!channel.IsOpen()) channel.Open();
  channel.SetRThreshold(1);
  channel.SetOnComm([this](int16_t event) { OnComm(event); });
  // Whatever already waits is read at once.
  if (channel.InBufferCount() > 0) OnComm(comm::EvReceive);
}

void KeloController::Detach() {
  CancelPending();
  awaitingHandshake_ = false;
  framer_ = RequestFramer{};
  if (channel_ != nullptr) channel_->SetOnComm(nullptr);
  channel_ = nullptr;
}

void KeloController::OnComm(int16_t event) {
  if (channel_ == nullptr) return;
  if (event == comm::EvReceive) {
    const std::vector<uint8_t> bytes = channel_->Input();
    framer_.Feed(bytes.data(), bytes.size(), [this](const FramerEvent& e) { OnFrame(e); });
  } else if (event == comm::EventDCB) {
    // The channel has closed itself; the owner hears of it once the channel's handler returns.
    channel_->SetOnComm(nullptr);
    channel_ = nullptr;
    CancelPending();
    awaitingHandshake_ = false;
    framer_ = RequestFramer{};
    if (onLineLost_) loop_.Post(onLineLost_);
  }
}

void KeloController::Restart() {
  CancelPending();
  awaitingHandshake_ = false;
  lastFrame_.clear();
  framer_ = RequestFramer{};
  writeAccess_ = false;
  plant_.AdvanceTo(loop_.NowUs());
  plant_.ResetVolatile();
}

DynePlant& KeloController::Plant() {
  plant_.AdvanceTo(loop_.NowUs());
  return plant_;
}

std::optional<double> KeloController::VariableValue(uint8_t variable) {
  plant_.AdvanceTo(loop_.NowUs());
  return ReadVariable(variable, false);
}

// ---- requests ----------------------------------------------------------------------------------

void KeloController::OnFrame(const FramerEvent& event) {
  switch (event.kind) {
    case FramerEvent::Kind::HostAck:
      if (awaitingHandshake_) {
        awaitingHandshake_ = false;
        ++counters_.hostAcks;
      }
      return;
    case FramerEvent::Kind::HostNak:
      // "Send that frame again."
      if (awaitingHandshake_) {
        ++counters_.hostNaks;
        ++counters_.resends;
        Resend();
      }
      return;
    case FramerEvent::Kind::Dropped:
      awaitingHandshake_ = false;
      ++counters_.dropped;
      LogRequest(event, ReplyKind::None);
      return;
    case FramerEvent::Kind::Request:
    case FramerEvent::Kind::Broken:
      Answer(event);
      return;
  }
}

void KeloController::Answer(const FramerEvent& event) {
  // A new request starts a new exchange, whether or not the last data frame was answered.
  awaitingHandshake_ = false;
  plant_.AdvanceTo(loop_.NowUs());
  ++counters_.requests;

  const FaultPlan plan = faults_.NextReply();
  ReplyKind kind = ReplyKind::Nak;
  std::vector<uint8_t> reply;
  if (plan.Has(FaultKind::Nak)) {
    // Refused instead of carried out.
    faults_.CountApplied(FaultKind::Nak);
    reply.assign(1, frame::NAK);
  } else {
    reply = Execute(event, kind);
  }
  LogRequest(event, kind);
  switch (kind) {
    case ReplyKind::Ack:
      ++counters_.acks;
      break;
    case ReplyKind::Nak:
      ++counters_.naks;
      break;
    case ReplyKind::Data:
      ++counters_.dataFrames;
      awaitingHandshake_ = true;
      lastFrame_ = reply;
      break;
    case ReplyKind::None:
      break;
  }
  SendReply(std::move(reply), kind == ReplyKind::Data, plan);
}

void KeloController::Resend() {
  std::vector<uint8_t> bytes = lastFrame_;
  const FaultPlan plan = faults_.NextReply();
  bool dataFrame = true;
  if (plan.Has(FaultKind::Nak)) {
    faults_.CountApplied(FaultKind::Nak);
    bytes.assign(1, frame::NAK);
    dataFrame = false;
  }
  SendReply(std::move(bytes), dataFrame, plan);
}

std::vector<uint8_t> KeloController::Execute(const FramerEvent& event, ReplyKind& kind) {
  const std::vector<uint8_t> nak = {frame::NAK};
  const std::vector<uint8_t> ack = {frame::ACK};
  kind = ReplyKind::Nak;
  if (event.kind != FramerEvent::Kind::Request) return nak;

  switch (event.command) {
    case cmd::GetTestValues: {
      std::string payload;
      for (uint8_t v : {var::POWER, var::TORQUE, var::SPEED})
        payload += VariableGroup(v, *ReadVariable(v, true));
      kind = ReplyKind::Data;
      return BuildDataFrame(payload);
    }
    case cmd::GetStatus:
      kind = ReplyKind::Data;
      return BuildDataFrame(StatusPayload(plant_.StatusWord()));
    case cmd::GetVariable: {
      const auto value = ReadVariable(static_cast<uint8_t>(event.variable), true);
      if (!value) return nak;
      kind = ReplyKind::Data;
      return BuildDataFrame(VariableGroup(static_cast<uint8_t>(event.variable), *value));
    }
    case cmd::WriteVariable:
      if (!WriteVariable(event.variable, event.valueText)) return nak;
      kind = ReplyKind::Ack;
      return ack;
    default:
      if (!ExecuteAction(event.command)) return nak;
      kind = ReplyKind::Ack;
      return ack;
  }
}

// Refused (NAK) here: motor or regulators while a motor fault or an over-temperature stands,
// raising the lifts while the rolls turn faster than the limit, and an amplification calibration
// with too little load on the cell.
bool KeloController::ExecuteAction(uint8_t command) {
  DynePlant& p = plant_;
  LoadCell& cell = p.GetLoadCell();
  switch (command) {
    case cmd::RegulatorOff:
      p.RegulatorOff();
      return true;
    case cmd::SpeedRegulatorOn:
      return p.RegulatorOn(MachineMode::Speed);
    case cmd::TorqueRegulatorOn:
      return p.RegulatorOn(MachineMode::Torque);
    case cmd::DriveRegulatorOn:
      return p.RegulatorOn(MachineMode::Drive);
    case cmd::AsmRegulatorOn:
      return p.RegulatorOn(MachineMode::Asm);
    case cmd::VariableLoadRegulatorOn:
      return p.RegulatorOn(MachineMode::VariableLoad);
    case cmd::RaiseLifts:
      return p.RaiseLifts();
    case cmd::LowerLifts:
      p.LowerLifts();
      return true;
    case cmd::ResetDistance:
      p.ResetDistance();
      return true;
    case cmd::AugmentedBreakingOn:
      p.Switches().augmentedBraking = true;
      return true;
    case cmd::AugmentedBreakingOff:
      p.Switches().augmentedBraking = false;
      return true;
    case cmd::RestraintSystemStop:
      return true;  // the restraints are worked by hand here
    case cmd::StopWatch1On:
      p.ArmStopWatch(1);
      return true;
    case cmd::StopWatch1Off:
      p.DisarmStopWatch(1);
      return true;
    case cmd::StopWatch2On:
      p.ArmStopWatch(2);
      return true;
    case cmd::StopWatch2Off:
      p.DisarmStopWatch(2);
      return true;
    case cmd::MotorOn:
      return p.MotorOn();
    case cmd::MotorOff:
      p.MotorOff();
      return true;
    case cmd::CalibrateZeroPoint:
      cell.CalibrateZero();
      return true;
    case cmd::CalibrateAmplification:
      // Three calibration weights make CAL_WEIGHT (tenths of a newton).
      return cell.CalibrateAmplification(setup_.Get(var::CAL_WEIGHT) / 10.0 / sim::kNewtonPerLbf);
    case cmd::StopZeroAmpCalibration:
      return true;
    case cmd::IgbtTestOn:
      p.Switches().igbtTest = true;
      return true;
    case cmd::IgbtTestOff:
      p.Switches().igbtTest = false;
      return true;
    case cmd::AutoOffsetAdjustOn:
      cell.SetOffsetMode(LoadCell::OffsetMode::AutoAdjust);
      return true;
    case cmd::AutoOffsetAdjustOff:
      cell.SetOffsetMode(LoadCell::OffsetMode::Off);
      return true;
    case cmd::AutoOffsetAdjustNormal:
      cell.SetOffsetMode(LoadCell::OffsetMode::Normal);
      return true;
    case cmd::TwelveVoltOn:
      p.Switches().twelveVolt = true;
      return true;
    case cmd::TwelveVoltOff:
      p.Switches().twelveVolt = false;
      return true;
    case cmd::BeltCompensationOn:
      p.Switches().beltCompensation = true;
      return true;
    case cmd::BeltCompensationOff:
      p.Switches().beltCompensation = false;
      return true;
    default:
      return true;  // "7" and "8": valid characters without a function
  }
}

bool KeloController::WriteVariable(int variable, const std::string& text) {
  if (variable < 0 || variable > 255 || !IsNumberText(text)) return false;
  const uint8_t v = static_cast<uint8_t>(variable);
  const double value = DecodeWrittenValue(v, VbVal(text));
  switch (KindOfVariable(v)) {
    case VariableKind::Version:
      // The access code opens the set-up variables; anything else closes them again.
      writeAccess_ = std::fabs(value - kWriteAccessCode) < 0.5;
      return true;
    case VariableKind::Setup:
      if (!writeAccess_) return false;
      if (v == var::EEPROM_RESET) {
        if (value != 0.0) setup_.RestoreFactory();
        return true;
      }
      return setup_.Set(v, value);
    case VariableKind::Target:
      plant_.SetTarget(v, value);
      return true;
    case VariableKind::Live:
    case VariableKind::Unknown:
      return false;
  }
  return false;
}

std::optional<double> KeloController::ReadVariable(uint8_t variable, bool sample) {
  switch (KindOfVariable(variable)) {
    case VariableKind::Version:
      return options_.firmwareVersion;
    case VariableKind::Setup:
      return setup_.Get(variable);
    case VariableKind::Target:
      return plant_.Target(variable);
    case VariableKind::Live:
      if (variable == var::TORQUE && !sample) return plant_.GetLoadCell().ReadingLbf();
      return plant_.Live(variable);
    case VariableKind::Unknown:
      return std::nullopt;
  }
  return std::nullopt;
}

std::string RequestName(const ReceivedRequest& r) {
  std::string name(1, static_cast<char>(r.command));
  if (r.command == 'E' || r.command == 'F') {
    char number[8];
    std::snprintf(number, sizeof number, "%03d", r.variable);
    name += number;
  }
  if (r.command == 'F') {
    size_t blank = r.valueText.find(' ');
    name += "=" + (blank == std::string::npos ? r.valueText : r.valueText.substr(0, blank));
  }
  return name;
}

void KeloController::LogRequest(const FramerEvent& event, ReplyKind kind) {
  ReceivedRequest entry;
  entry.atUs = loop_.NowUs();
  entry.command = event.command;
  entry.variable = event.variable;
  entry.valueText = event.valueText;
  entry.reply = kind;
  if (onRequest_) onRequest_(entry);
  requests_.push_back(std::move(entry));
  while (requests_.size() > options_.requestLogLimit && !requests_.empty()) requests_.pop_front();
}

// ---- replies ---------------------------------------------------------------------------------

void KeloController::SendReply(std::vector<uint8_t> bytes, bool dataFrame, const FaultPlan& plan) {
  if (plan.Has(FaultKind::Silence)) {
    faults_.CountApplied(FaultKind::Silence);
    return;
  }
  faults_.Damage(plan, bytes, dataFrame);
  int64_t delay = options_.line.turnaroundUs;
  if (plan.Has(FaultKind::LateReply)) {
    faults_.CountApplied(FaultKind::LateReply);
    delay += faults_.LateReplyUs();
  }
  Transmit(std::move(bytes), delay);
}

void KeloController::Transmit(std::vector<uint8_t> bytes, int64_t delayUs) {
  if (bytes.empty() || channel_ == nullptr) return;
  auto id = std::make_shared<EventLoop::ScheduleId>(0);
  *id = loop_.CallAfterUs(std::max<int64_t>(delayUs, 0),
                          [this, id, bytes = std::move(bytes)]() mutable {
                            pending_.erase(*id);
                            Write(std::move(bytes));
                          });
  pending_.insert(*id);
}

void KeloController::Write(std::vector<uint8_t> bytes) {
  if (channel_ == nullptr || bytes.empty()) return;
  const int64_t pacing = options_.line.bytePacingUs;
  if (pacing <= 0) {
    channel_->Output(bytes.data(), bytes.size());
    return;
  }
  // One byte now, the rest one pacing interval later each.
  channel_->Output(bytes.data(), 1);
  bytes.erase(bytes.begin());
  Transmit(std::move(bytes), pacing);
}

void KeloController::CancelPending() {
  for (auto id : pending_) loop_.Cancel(id);
  pending_.clear();
}

}  // namespace tavkelo
