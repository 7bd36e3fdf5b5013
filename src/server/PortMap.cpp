#include "server/PortMap.hpp"

#include <cctype>

#include "platform/SerialDevices.hpp"

namespace tavkelo {

PortMap::PortMap(EventLoop& loop, bool simulateUnmapped, KeloSimOptions simOptions)
    : loop_(loop), simulateUnmapped_(simulateUnmapped), simOptions_(std::move(simOptions)) {}

PortMap::~PortMap() = default;

bool PortMap::AddMapping(const std::string& mapping, std::string& error) {
  size_t eq = mapping.find('=');
  if (eq == std::string::npos || eq == 0 || eq + 1 >= mapping.size()) {
    error = "expected N=DEVICE, got '" + mapping + "'";
    return false;
  }
  std::string number = mapping.substr(0, eq);
  for (char c : number) {
    if (!std::isdigit(static_cast<unsigned char>(c))) {
      error = "port number '" + number + "' is not a number";
      return false;
    }
  }
  int port = std::stoi(number.size() > 5 ? "0" : number);
  if (port < 1 || port > 255) {
    error = "port number must be 1 to 255, got '" + number + "'";
    return false;
  }
  std::string device = mapping.substr(eq + 1);
  if (device.rfind("socket://", 0) == 0) {
    std::string host, tcpPort;
    if (!ParseSocketAddress(device, host, tcpPort)) {
      error = "expected socket://host:port, got '" + device + "'";
      return false;
    }
  }
  Map(static_cast<int16_t>(port), device);
  return true;
}

void PortMap::Map(int16_t port, std::string device) {
  mappings_[port] = std::move(device);
}

std::string PortMap::DeviceFor(int16_t port) const {
  auto it = mappings_.find(port);
  if (it != mappings_.end()) return it->second;
  if (simulateUnmapped_) return "sim";
  return port >= 1 ? PortDevice(port) : "";
}

std::string PortMap::Describe(int16_t port) const {
  std::string device = DeviceFor(port);
  return device == "sim" ? "simulated controller" : device;
}

bool PortMap::Simulated(int16_t port) const {
  return port >= 1 && DeviceFor(port) == "sim";
}

bool PortMap::AnySimulated() const {
  if (simulateUnmapped_) return true;
  for (const auto& [port, device] : mappings_) {
    if (device == "sim") return true;
  }
  return false;
}

KeloController* PortMap::Simulator(int16_t port) {
  if (!Simulated(port)) return nullptr;
  auto it = simulators_.find(port);
  if (it == simulators_.end()) {
    SimulatedPort sim;
    sim.line = std::make_unique<InProcessLine>(loop_, 9600);
    sim.controller = std::make_unique<KeloController>(loop_, simOptions_);
    sim.controller->Attach(sim.line->DeviceEnd());
    it = simulators_.emplace(port, std::move(sim)).first;
  }
  return it->second.controller.get();
}

std::unique_ptr<SerialChannel> PortMap::Open(int16_t port) {
  if (port < 1) return nullptr;
  std::string device = DeviceFor(port);
  if (device == "sim") {
    Simulator(port);
    return simulators_.at(port).line->HostPort();
  }
  return MakeSerialChannel(loop_, device);
}

}  // namespace tavkelo
