#pragma once
// The simulator's operator surface over HTTP, for the dashboard's simulator panel and
// `kelo sim ...`: the state of a simulated dyne, and the operator commands of kelo-sim.

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

namespace tavkelo {

class PortMap;

class SimulatorPanel {
 public:
  // The simulated dyne behind a port; ApiError(404) when the port is not simulated.
  static nlohmann::json State(PortMap* ports, int16_t port);
  // Carries out one operator command ("weights 3", "device on", "scale left 60", "fault motor",
  // "motor on", ...); {"ok": ..., "text": ...}.
  static nlohmann::json Execute(PortMap* ports, int16_t port, const std::string& command);
};

}  // namespace tavkelo
