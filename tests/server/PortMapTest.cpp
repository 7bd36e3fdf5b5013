// The server's port map: --port N=DEVICE mappings (device path, socket://host:port, sim) and the
// defaults of unmapped ports with and without --simulate. The channels a port opens are used by
// the in-process server (a simulated port) and the end-to-end tests (a device, a socket).
#include <gtest/gtest.h>

#include "runtime/VirtualTimeLoop.hpp"
#include "server/PortMap.hpp"

namespace tavkelo {
namespace {

TEST(PortMap, MappingsAndDefaultsNameTheirDeviceAndRefusalsTheirReason) {
  struct Case {
    bool simulate;        // --simulate
    const char* mapping;  // nullptr: the port is left unmapped
    int16_t port;
    const char* result;  // what the port is, or why the mapping was refused (the port then keeps
                         // its default)
    bool simulated;
  };
  const Case cases[] = {
      {false, "1=/dev/ttyUSB0", 1, "/dev/ttyUSB0", false},
      {false, "007=/dev/ttyS3", 7, "/dev/ttyS3", false},
      {false, "3=socket://dyne-server.local:7000", 3, "socket://dyne-server.local:7000", false},
      {false, "4=socket://[::1]:4001", 4, "socket://[::1]:4001", false},
      {false, "255=sim", 255, "simulated controller", true},
      {true, "2=/dev/ttyUSB0", 2, "/dev/ttyUSB0", false},  // a mapping wins over --simulate
      {false, nullptr, 16, "/dev/ttyS15", false},
      {true, nullptr, 9, "simulated controller", true},
      {false, nullptr, 0, "", false},
      {false, "1", 1, "expected N=DEVICE, got '1'", false},
      {false, "1=", 1, "expected N=DEVICE, got '1='", false},
      {false, "COM1=sim", 1, "port number 'COM1' is not a number", false},
      {false, "0=sim", 1, "port number must be 1 to 255, got '0'", false},
      {false, "12345678901234567890=sim", 1,
       "port number must be 1 to 255, got '12345678901234567890'", false},
      {false, "1=socket://127.0.0.1:", 1, "expected socket://host:port, got 'socket://127.0.0.1:'",
       false},
      {false, "1=socket://:4001", 1, "expected socket://host:port, got 'socket://:4001'", false},
  };
  for (const auto& c : cases) {
    const std::string label =
        c.mapping == nullptr ? "unmapped " + std::to_string(c.port) : c.mapping;
    VirtualTimeLoop loop;
    PortMap ports(loop, c.simulate);
    std::string error;
    if (c.mapping != nullptr && !ports.AddMapping(c.mapping, error)) {
      EXPECT_EQ(error, c.result) << label;
      EXPECT_EQ(ports.Describe(c.port), "/dev/ttyS0") << label << " left no mapping behind";
    } else {
      EXPECT_EQ(ports.Describe(c.port), c.result) << label;
    }
    EXPECT_EQ(ports.Simulated(c.port), c.simulated) << label;
  }
}

}  // namespace
}  // namespace tavkelo
