#pragma once
// Turns a client's port number (1 = COM1) into a serial channel. Port N is /dev/ttyS{N-1}
// (\\.\COMN on Windows) unless a mapping says otherwise: a device path, "socket://host:port", or
// "sim" for an in-process simulated controller. With --simulate, every port without a mapping is
// simulated.

#include <map>
#include <memory>
#include <string>

#include "platform/InProcessLine.hpp"
#include "platform/SerialChannel.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo {

class EventLoop;

class PortMap {
 public:
  PortMap(EventLoop& loop, bool simulateUnmapped, KeloSimOptions simOptions = {});
  ~PortMap();

  // Parses "N=DEVICE"; false (with `error` set) for a malformed mapping.
  bool AddMapping(const std::string& mapping, std::string& error);
  void Map(int16_t port, std::string device);
  // What port N is mapped to, as the help and the start-up line show it.
  std::string Describe(int16_t port) const;

  // A channel for the port (not opened); nullptr when the port has no device.
  std::unique_ptr<SerialChannel> Open(int16_t port);

  // The simulated controller behind a port, created with its line on first use (nullptr when the
  // port is not simulated).
  KeloController* Simulator(int16_t port);
  bool Simulated(int16_t port) const;
  bool AnySimulated() const;

 private:
  struct SimulatedPort {
    std::unique_ptr<InProcessLine> line;
    std::unique_ptr<KeloController> controller;
  };
  std::string DeviceFor(int16_t port) const;

  EventLoop& loop_;
  bool simulateUnmapped_;
  KeloSimOptions simOptions_;
  std::map<int16_t, std::string> mappings_;
  std::map<int16_t, SimulatedPort> simulators_;
};

}  // namespace tavkelo
