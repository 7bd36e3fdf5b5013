// The server's port map: --port N=DEVICE mappings (device path, socket://host:port, sim), the
// defaults for unmapped ports with and without --simulate, and the channel each port opens.
#include <gtest/gtest.h>

#include "runtime/VirtualTimeLoop.hpp"
#include "server/PortMap.hpp"

namespace tavkelo {
namespace {

struct GoodMapping {
  const char* mapping;
  int16_t port;
  const char* described;
  bool simulated;
};

TEST(PortMapMappings, GoodMappingsNameTheirDevice) {
  const GoodMapping cases[] = {
      {"1=/dev/ttyUSB0", 1, "/dev/ttyUSB0", false},
      {"2=/dev/pts/7", 2, "/dev/pts/7", false},
      {"1=socket://127.0.0.1:4001", 1, "socket://127.0.0.1:4001", false},
      {"3=socket://dyne-server.local:7000", 3, "socket://dyne-server.local:7000", false},
      {"4=socket://[::1]:4001", 4, "socket://[::1]:4001", false},
      {"5=sim", 5, "simulated controller", true},
      {"255=sim", 255, "simulated controller", true},
      {"007=/dev/ttyS3", 7, "/dev/ttyS3", false},
      {"9=relative/device", 9, "relative/device", false},
  };
  for (const auto& c : cases) {
    VirtualTimeLoop loop;
    PortMap ports(loop, false);
    std::string error;
    EXPECT_TRUE(ports.AddMapping(c.mapping, error)) << c.mapping << ": " << error;
    EXPECT_EQ(error, "") << c.mapping;
    EXPECT_EQ(ports.Describe(c.port), c.described) << c.mapping;
    EXPECT_EQ(ports.Simulated(c.port), c.simulated) << c.mapping;
    EXPECT_EQ(ports.AnySimulated(), c.simulated) << c.mapping;
  }
}

struct BadMapping {
  const char* mapping;
  const char* error;
};

TEST(PortMapMappings, BadMappingsAreRefusedWithTheirReason) {
  const BadMapping cases[] = {
      {"", "expected N=DEVICE, got ''"},
      {"1", "expected N=DEVICE, got '1'"},
      {"=sim", "expected N=DEVICE, got '=sim'"},
      {"1=", "expected N=DEVICE, got '1='"},
      {"/dev/ttyUSB0", "expected N=DEVICE, got '/dev/ttyUSB0'"},
      {"COM1=sim", "port number 'COM1' is not a number"},
      {"-1=sim", "port number '-1' is not a number"},
      {" 1=sim", "port number ' 1' is not a number"},
      {"1.5=sim", "port number '1.5' is not a number"},
      {"0=sim", "port number must be 1 to 255, got '0'"},
      {"256=sim", "port number must be 1 to 255, got '256'"},
      {"99999=sim", "port number must be 1 to 255, got '99999'"},
      {"12345678901234567890=sim", "port number must be 1 to 255, got '12345678901234567890'"},
      {"1=socket://127.0.0.1", "expected socket://host:port, got 'socket://127.0.0.1'"},
      {"1=socket://127.0.0.1:", "expected socket://host:port, got 'socket://127.0.0.1:'"},
      {"1=socket://:4001", "expected socket://host:port, got 'socket://:4001'"},
      {"1=socket://", "expected socket://host:port, got 'socket://'"},
  };
  for (const auto& c : cases) {
    VirtualTimeLoop loop;
    PortMap ports(loop, false);
    std::string error;
    EXPECT_FALSE(ports.AddMapping(c.mapping, error)) << c.mapping;
    EXPECT_EQ(error, c.error) << c.mapping;
    EXPECT_EQ(ports.Describe(1), "/dev/ttyS0") << c.mapping << " left no mapping behind";
  }
}

TEST(PortMapMappings, ALaterMappingOfThePortReplacesTheEarlierOne) {
  VirtualTimeLoop loop;
  PortMap ports(loop, false);
  std::string error;
  ASSERT_TRUE(ports.AddMapping("1=sim", error));
  ASSERT_TRUE(ports.AddMapping("1=/dev/ttyUSB1", error));
  EXPECT_EQ(ports.Describe(1), "/dev/ttyUSB1");
  EXPECT_FALSE(ports.Simulated(1));
  EXPECT_FALSE(ports.AnySimulated());
}

struct Unmapped {
  bool simulate;
  int16_t port;
  const char* described;
  bool simulated;
};

TEST(PortMapDefaults, UnmappedPortsAreSerialDevicesOrSimulatedWithSimulate) {
  const Unmapped cases[] = {
      {false, 1, "/dev/ttyS0", false}, {false, 2, "/dev/ttyS1", false},  {false, 16, "/dev/ttyS15", false},
      {false, 0, "", false},           {true, 1, "simulated controller", true}, {true, 9, "simulated controller", true},
  };
  for (const auto& c : cases) {
    VirtualTimeLoop loop;
    PortMap ports(loop, c.simulate);
    EXPECT_EQ(ports.Describe(c.port), c.described) << c.port;
    EXPECT_EQ(ports.Simulated(c.port), c.simulated) << c.port;
    EXPECT_EQ(ports.AnySimulated(), c.simulate);
  }
  VirtualTimeLoop loop;
  PortMap ports(loop, true);
  std::string error;
  ASSERT_TRUE(ports.AddMapping("2=/dev/ttyUSB0", error));
  EXPECT_FALSE(ports.Simulated(2)) << "a mapping wins over --simulate";
  EXPECT_TRUE(ports.Simulated(3));
  EXPECT_FALSE(ports.Simulated(0));
  EXPECT_FALSE(ports.Simulated(-1));
}

TEST(PortMapChannels, ASimulatedPortOpensALineToItsOwnController) {
  VirtualTimeLoop loop;
  PortMap ports(loop, false);
  std::string error;
  ASSERT_TRUE(ports.AddMapping("1=sim", error));
  ASSERT_TRUE(ports.AddMapping("2=sim", error));
  KeloController* one = ports.Simulator(1);
  ASSERT_NE(one, nullptr);
  EXPECT_EQ(ports.Simulator(1), one) << "one controller per port, made once";
  EXPECT_NE(ports.Simulator(2), one);
  EXPECT_EQ(ports.Simulator(3), nullptr) << "port 3 is a serial device";

  std::unique_ptr<SerialChannel> channel = ports.Open(1);
  ASSERT_NE(channel, nullptr);
  ASSERT_TRUE(channel->SetSettings("9600,N,8,1"));
  ASSERT_TRUE(channel->Open()) << channel->LastError();
  // "Get Status" reaches the controller of port 1 only, and its reply comes back on the line.
  const uint8_t getStatus[] = {0xB4, 0x11, 'D', 0x05};
  size_t before = one->Requests().size();
  ASSERT_TRUE(channel->Output(getStatus, sizeof getStatus));
  // The reply: STX, the 16 status characters, ETB, two checksum characters and "$".
  loop.PumpUntil([&] { return channel->InBufferCount() >= 21; }, 1000);
  ASSERT_EQ(one->Requests().size(), before + 1);
  EXPECT_EQ(one->Requests().back().command, 'D');
  EXPECT_TRUE(ports.Simulator(2)->Requests().empty());
  std::vector<uint8_t> reply = channel->Input();
  ASSERT_EQ(reply.size(), 21u);
  EXPECT_EQ(reply.front(), 0x02);
  EXPECT_EQ(reply.back(), '$');
}

TEST(PortMapChannels, DevicesAndSocketsOpenAsTheirKindOfChannel) {
  VirtualTimeLoop loop;
  PortMap ports(loop, false);
  std::string error;
  ASSERT_TRUE(ports.AddMapping("1=/nonexistent/tty-for-tests", error));
  ASSERT_TRUE(ports.AddMapping("2=socket://127.0.0.1:4001", error));
  EXPECT_EQ(ports.Open(0), nullptr);
  EXPECT_EQ(ports.Open(-3), nullptr);

  std::unique_ptr<SerialChannel> device = ports.Open(1);
  ASSERT_NE(device, nullptr);
  EXPECT_EQ(device->Name(), "/nonexistent/tty-for-tests");
  device->SetSettings("9600,N,8,1");
  EXPECT_FALSE(device->Open());
  EXPECT_NE(device->LastError().find("/nonexistent/tty-for-tests"), std::string::npos) << device->LastError();

  std::unique_ptr<SerialChannel> socket = ports.Open(2);
  ASSERT_NE(socket, nullptr);
  EXPECT_EQ(socket->Name(), "socket://127.0.0.1:4001");
  EXPECT_FALSE(socket->IsOpen()) << "a channel is handed out closed";
  EXPECT_EQ(ports.Simulator(1), nullptr);
  EXPECT_EQ(ports.Simulator(2), nullptr);
}

}  // namespace
}  // namespace tavkelo
