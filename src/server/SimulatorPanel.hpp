#pragma once
// The simulator's operator surface over HTTP, for the dashboard's simulator panel and
// `kelo sim ...`: the state of a simulated dyne (GET /api/sim?port=N), and the operator commands
// of kelo-sim (POST /api/sim {"command": "...", "port": N}). The port is 1 unless given.

#include <cstdint>
#include <string>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "server/ApiRequest.hpp"

namespace tavkelo {

class PortMap;

void AddSimulatorRoutes(httplib::Server& http, RouteContext& context);

class SimulatorPanel {
 public:
  // The simulated dyne behind a port; ApiError(404) when the port is not simulated.
  static nlohmann::json State(PortMap* ports, int16_t port);
  // Carries out one operator command ("weights 3", "device on", "scale left 60", "fault motor",
  // "motor on", ...); {"ok": ..., "text": ...}.
  static nlohmann::json Execute(PortMap* ports, int16_t port, const std::string& command);
};

}  // namespace tavkelo
