#include "sim/OperatorConsole.hpp"

#include <cstdlib>
#include <optional>
#include <sstream>
#include <vector>

#include "link/DyneVocabulary.hpp"
#include "sim/KeloController.hpp"
#include "sim/ReplyFrames.hpp"

namespace tavkelo {

namespace {
std::vector<std::string> Words(std::string_view line) {
  std::istringstream in{std::string(line)};
  std::vector<std::string> words;
  for (std::string w; in >> w;) words.push_back(w);
  return words;
}

std::optional<double> Number(const std::string& text) {
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0') return std::nullopt;
  return value;
}

std::optional<bool> OnOff(const std::string& text) {
  if (text == "on" || text == "in" || text == "connect") return true;
  if (text == "off" || text == "out" || text == "remove") return false;
  return std::nullopt;
}

std::optional<ScaleSide> Side(const std::string& text) {
  if (text == "left") return ScaleSide::Left;
  if (text == "right") return ScaleSide::Right;
  return std::nullopt;
}

std::optional<DyneFault> FaultNamed(const std::string& text) {
  if (text == "motor") return DyneFault::MotorFault;
  if (text == "overtemp") return DyneFault::OverTemperature;
  if (text == "error6") return DyneFault::DeviceError6;
  if (text == "error7") return DyneFault::DeviceError7;
  if (text == "error12") return DyneFault::DeviceError12;
  return std::nullopt;
}

std::optional<FaultKind> LineFaultNamed(const std::string& text) {
  if (text == "lose") return FaultKind::LoseByte;
  if (text == "corrupt") return FaultKind::CorruptByte;
  if (text == "late") return FaultKind::LateReply;
  if (text == "checksum") return FaultKind::WrongChecksum;
  if (text == "nak") return FaultKind::Nak;
  if (text == "silence") return FaultKind::Silence;
  return std::nullopt;
}

OperatorConsole::Result Fail(std::string text) {
  return {false, false, std::move(text)};
}
OperatorConsole::Result Done(std::string text = {}) {
  return {true, false, std::move(text)};
}
}  // namespace

std::string OperatorConsole::HelpText() {
  return "operator commands:\n"
         "  status                          what the dyne shows now\n"
         "  device on|off                   load-cell calibration device (arm with weight tray)\n"
         "  weights N                       N calibration weights (0-5) on the load-cell tray\n"
         "  scale left|right device on|off  weight-scale calibration device on a scale\n"
         "  scale left|right weights N      N calibration weights (0-5) on that device\n"
         "  scale left|right LB             any other load on a scale, lb (a wheel: scale left "
         "800)\n"
         "  restraints in|out               vehicle restraints\n"
         "  fault motor|overtemp|error6|error7|error12    raise a fault\n"
         "  clear motor|overtemp|error6|error7|error12|all clear it\n"
         "  drive force LBF                 a vehicle pushes the rolls with LBF at the roll "
         "surface\n"
         "  drive speed MPH [MAXLBF]        a driver holds MPH (pushing with at most MAXLBF)\n"
         "  drive off                       foot off the pedal\n"
         "  inject lose|corrupt|late|checksum|nak|silence [N]   fault the next N replies\n"
         "  get VAR                         a variable as the controller would send it\n"
         "  restart                         power-cycle the controller (set-up memory stays)\n"
         "  help, quit\n";
}

OperatorConsole::Result OperatorConsole::Execute(std::string_view line) {
  const std::vector<std::string> w = Words(line);
  if (w.empty()) return Done();
  const std::string& verb = w[0];
  DynePlant& plant = controller_.Plant();

  if (verb == "help" || verb == "?") return Done(HelpText());
  if (verb == "quit" || verb == "exit") return {true, true, {}};
  if (verb == "status") return Done(StatusText());
  if (verb == "restart") {
    controller_.Restart();
    return Done("controller restarted");
  }
  if (verb == "device" && w.size() == 2 && OnOff(w[1])) {
    plant.ConnectCalibrationDevice(*OnOff(w[1]));
    return Done(std::string("calibration device ") + (*OnOff(w[1]) ? "connected" : "removed"));
  }
  if (verb == "weights" && w.size() == 2 && Number(w[1])) {
    plant.PlaceCalibrationWeights(static_cast<int>(*Number(w[1])));
    return Done(std::to_string(plant.GetLoadCell().Weights()) +
                " calibration weight(s) on the load cell");
  }
  if (verb == "scale" && w.size() >= 3 && Side(w[1])) {
    const ScaleSide side = *Side(w[1]);
    if (w[2] == "device" && w.size() == 4 && OnOff(w[3])) {
      plant.ConnectScaleDevice(side, *OnOff(w[3]));
      return Done(w[1] + " scale device " + (*OnOff(w[3]) ? "connected" : "removed"));
    }
    if (w[2] == "weights" && w.size() == 4 && Number(w[3])) {
      plant.PlaceScaleWeights(side, static_cast<int>(*Number(w[3])));
      return Done(std::to_string(plant.Scales().Weights(side)) + " weight(s) on the " + w[1] +
                  " scale device");
    }
    if (w.size() == 3 && Number(w[2])) {
      plant.SetScaleLoad(side, *Number(w[2]));
      return Done(w[1] + " scale load " + w[2] + " lb");
    }
  }
  if (verb == "restraints" && w.size() == 2 && OnOff(w[1])) {
    plant.SetRestraintsIn(*OnOff(w[1]));
    return Done(std::string("restraints ") + (*OnOff(w[1]) ? "in" : "out"));
  }
  if (verb == "fault" && w.size() == 2 && FaultNamed(w[1])) {
    plant.RaiseFault(*FaultNamed(w[1]));
    return Done(w[1] + " fault raised");
  }
  if (verb == "clear" && w.size() == 2 && (FaultNamed(w[1]) || w[1] == "all")) {
    if (w[1] == "all") {
      for (DyneFault f : {DyneFault::DeviceError6, DyneFault::DeviceError7, DyneFault::MotorFault,
                          DyneFault::DeviceError12, DyneFault::OverTemperature})
        plant.ClearFault(f);
    } else {
      plant.ClearFault(*FaultNamed(w[1]));
    }
    return Done(w[1] + " cleared");
  }
  if (verb == "drive" && w.size() >= 2) {
    if (w[1] == "off" && w.size() == 2) {
      plant.StopVehicle();
      return Done("vehicle idle");
    }
    if (w[1] == "force" && w.size() == 3 && Number(w[2])) {
      plant.DriveVehicleWithForce(*Number(w[2]));
      return Done("vehicle pushing " + w[2] + " lbf");
    }
    if (w[1] == "speed" && (w.size() == 3 || w.size() == 4) && Number(w[2])) {
      const double maxLbf = w.size() == 4 && Number(w[3]) ? *Number(w[3]) : 1000.0;
      plant.DriveVehicleAtSpeed(*Number(w[2]), maxLbf);
      return Done("driver holding " + w[2] + " mph");
    }
  }
  if (verb == "inject" && (w.size() == 2 || w.size() == 3) && LineFaultNamed(w[1])) {
    const int count = w.size() == 3 && Number(w[2]) ? static_cast<int>(*Number(w[2])) : 1;
    if (count < 1) return Fail("inject: count must be at least 1");
    controller_.ScheduleFault(*LineFaultNamed(w[1]), count);
    return Done("next " + std::to_string(count) + " repl" + (count == 1 ? "y" : "ies") + ": " +
                w[1]);
  }
  if (verb == "get" && w.size() == 2 && Number(w[1])) {
    const double n = *Number(w[1]);
    if (n < 0 || n > 255) return Fail("get: variable numbers run from 0 to 255");
    const uint8_t v = static_cast<uint8_t>(n);
    const auto value = controller_.VariableValue(v);
    if (!value) return Fail("no variable " + w[1]);
    return Done(DyneVariableName(v) + " = " + ControllerValueText(v, *value));
  }
  return Fail("not understood: '" + std::string(line) + "' (try help)");
}

std::string OperatorConsole::StatusText() {
  DynePlant& p = controller_.Plant();
  std::ostringstream out;
  out.setf(std::ios::fixed);
  out.precision(1);
  out << "speed " << p.SpeedMph() << " mph, machine " << MachineModeName(p.Mode()) << ", force "
      << p.MachineForceLbf() << " lbf, power " << p.MachinePowerHp() << " HP\n";
  out << "status " << StatusPayload(p.StatusWord()) << " (bit 0 first)\n";
  out << "load cell " << p.GetLoadCell().ReadingLbf() << " lbf, device "
      << (p.GetLoadCell().DeviceConnected() ? "on" : "off") << ", weights "
      << p.GetLoadCell().Weights() << "\n";
  out << "scales left " << p.DisplayedWeightLb(ScaleSide::Left) << " lb, right "
      << p.DisplayedWeightLb(ScaleSide::Right) << " lb\n";
  out << "lifts "
      << (p.Lifts().IsUp()     ? "up"
          : p.Lifts().IsDown() ? "down"
                               : "moving")
      << ", restraints " << (p.RestraintsIn() ? "in" : "out") << ", bearing "
      << p.Temperatures().BearingF() << " F\n";
  out << "write access " << (controller_.WriteAccess() ? "open" : "closed") << ", requests "
      << controller_.Counters().requests << ", line "
      << (controller_.Attached() ? "attached" : "idle");
  return out.str();
}

}  // namespace tavkelo
