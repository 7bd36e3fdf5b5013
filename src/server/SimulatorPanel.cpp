#include "server/SimulatorPanel.hpp"

#include "server/PortMap.hpp"
#include "sim/KeloController.hpp"
#include "sim/OperatorConsole.hpp"

namespace tavkelo {

namespace {

KeloController& SimulatorOf(PortMap* ports, int16_t port) {
  KeloController* sim = ports != nullptr ? ports->Simulator(port) : nullptr;
  if (sim == nullptr) throw ApiError(404, "port " + std::to_string(port) + " is not simulated");
  return *sim;
}

// The port of a request, from the query or the body alike: 1 to 255, 1 when not given.
int16_t PortOf(const httplib::Request& req, const nlohmann::json* body) {
  const int64_t port =
      body == nullptr ? IntQuery(req, "port", 1, 1, 255) : IntField(*body, "port", 1, 1, 255);
  return static_cast<int16_t>(port);
}

}  // namespace

nlohmann::json SimulatorPanel::State(PortMap* ports, int16_t port) {
  KeloController& sim = SimulatorOf(ports, port);
  DynePlant& plant = sim.Plant();
  const LiftActuator& lifts = plant.Lifts();
  const LoadCell& cell = plant.GetLoadCell();
  const WheelScales& scales = plant.Scales();
  nlohmann::json faults = nlohmann::json::array();
  const std::pair<DyneFault, const char*> kFaults[] = {{DyneFault::MotorFault, "motor"},
                                                       {DyneFault::OverTemperature, "overtemp"},
                                                       {DyneFault::DeviceError6, "error6"},
                                                       {DyneFault::DeviceError7, "error7"},
                                                       {DyneFault::DeviceError12, "error12"}};
  for (const auto& [fault, name] : kFaults) {
    if (plant.HasFault(fault)) faults.push_back(name);
  }
  auto side = [&](ScaleSide s) {
    return nlohmann::json{{"device", scales.DeviceConnected(s)},
                          {"weights", scales.Weights(s)},
                          {"loadLb", scales.LoadLb(s)}};
  };
  return {{"port", port},
          {"speedMph", plant.SpeedMph()},
          {"mode", MachineModeName(plant.Mode())},
          {"statusWord", plant.StatusWord()},
          {"lifts", lifts.IsUp()     ? "up"
                    : lifts.IsDown() ? "down"
                                     : "moving"},
          {"restraintsIn", plant.RestraintsIn()},
          {"loadCell", {{"device", cell.DeviceConnected()}, {"weights", cell.Weights()}}},
          {"scales", {{"left", side(ScaleSide::Left)}, {"right", side(ScaleSide::Right)}}},
          {"vehicleForceLbf", plant.VehicleForceLbf()},
          {"faults", faults},
          {"writeAccess", sim.WriteAccess()},
          {"requests", sim.Counters().requests}};
}

nlohmann::json SimulatorPanel::Execute(PortMap* ports, int16_t port, const std::string& command) {
  KeloController& sim = SimulatorOf(ports, port);
  OperatorConsole console(sim);
  OperatorConsole::Result result = console.Execute(command);
  if (result.quit) return {{"ok", false}, {"text", "quit is for kelo-sim's own console"}};
  return {{"ok", result.ok}, {"text", result.text}};
}

void AddSimulatorRoutes(httplib::Server& http, RouteContext& context) {
  http.Get("/api/sim", [&context](const httplib::Request& req, httplib::Response& res) {
    Answer(res, [&] {
      const int16_t port = PortOf(req, nullptr);
      return std::make_pair(200, context.OnLoop(CallKind::NeverWaits, [&] {
        return SimulatorPanel::State(context.Ports(), port);
      }));
    });
  });

  http.Post("/api/sim", [&context](const httplib::Request& req, httplib::Response& res) {
    Answer(res, [&] {
      const nlohmann::json body = ParseBody(req);
      const std::string command = StringField(
          body, "command", "the body needs {\"command\": \"...\"}, for example \"weights 3\"");
      const int16_t port = PortOf(req, &body);
      return std::make_pair(200, context.OnLoop(CallKind::NeverWaits, [&] {
        return SimulatorPanel::Execute(context.Ports(), port, command);
      }));
    });
  });
}

}  // namespace tavkelo
