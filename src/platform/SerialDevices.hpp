#pragma once
// Which channel serves a device name, on this platform: "socket://host:port" is a TCP line to a
// serial device server (or the simulator tool); any other name is a serial port device
// (/dev/ttyS0, /dev/ttyUSB0 on Linux; COM1 or \\.\COM1 on Windows).

#include <cstdint>
#include <memory>
#include <string>

#include "platform/SerialChannel.hpp"

namespace tavkelo {

class EventLoop;

std::unique_ptr<SerialChannel> MakeSerialChannel(EventLoop& loop, const std::string& device);

// The device behind numbered port N (1 and up): /dev/ttyS<N-1> on Linux, \\.\COM<N> on Windows.
std::string PortDevice(int16_t port);

// Splits "socket://host:port" (or "host:port", "[v6]:port") into its host and port.
bool ParseSocketAddress(const std::string& address, std::string& host, std::string& port);

}  // namespace tavkelo
