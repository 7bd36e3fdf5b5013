#include "platform/SerialDevices.hpp"

#ifdef _WIN32
#include "platform/Win32CommSerialChannel.hpp"
#include "platform/Win32TcpSerialChannel.hpp"
#else
#include "platform/TcpSerialChannel.hpp"
#include "platform/TermiosSerialChannel.hpp"
#endif

namespace tavkelo {

std::unique_ptr<SerialChannel> MakeSerialChannel(EventLoop& loop, const std::string& device) {
#ifdef _WIN32
  if (device.rfind("socket://", 0) == 0)
    return std::make_unique<Win32TcpSerialChannel>(loop, device);
  return std::make_unique<Win32CommSerialChannel>(loop, device);
#else
  if (device.rfind("socket://", 0) == 0) return std::make_unique<TcpSerialChannel>(loop, device);
  return std::make_unique<TermiosSerialChannel>(loop, device);
#endif
}

std::string PortDevice(int16_t port) {
#ifdef _WIN32
  return "\\\\.\\COM" + std::to_string(port);
#else
  return "/dev/ttyS" + std::to_string(port - 1);
#endif
}

bool ParseSocketAddress(const std::string& address, std::string& host, std::string& port) {
  std::string rest = address;
  const std::string scheme = "socket://";
  if (rest.rfind(scheme, 0) == 0) rest = rest.substr(scheme.size());
  size_t colon = rest.rfind(':');
  if (colon == std::string::npos || colon == 0 || colon + 1 >= rest.size()) return false;
  host = rest.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']')
    host = host.substr(1, host.size() - 2);
  port = rest.substr(colon + 1);
  return true;
}

}  // namespace tavkelo
