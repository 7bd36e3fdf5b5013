// The controller served on a pseudo-terminal and on a TCP port, as kelo-sim serves it. The loop
// runs in virtual time; the kernel carries the bytes.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "SimBench.hpp"
#include "platform/FdSerialChannel.hpp"
#include "platform/PseudoTerminal.hpp"
#include "sim/SimTcpListener.hpp"

namespace tavkelo::test {
namespace {

// Writes a request on fd and collects the reply until `expectedBytes` came (or loop time runs out).
std::string Exchange(VirtualTimeLoop& loop, int fd, const std::string& request,
                     size_t expectedBytes) {
  EXPECT_EQ(::write(fd, request.data(), request.size()), static_cast<ssize_t>(request.size()));
  std::string reply;
  loop.PumpUntil(
      [&] {
        char buf[256];
        for (pollfd p{fd, POLLIN, 0}; ::poll(&p, 1, 0) > 0;) {
          ssize_t n = ::read(fd, buf, sizeof buf);
          if (n <= 0) return true;
          reply.append(buf, static_cast<size_t>(n));
        }
        return reply.size() >= expectedBytes;
      },
      60'000);
  return reply;
}

TEST(SimEndpoints, APseudoTerminalServesTheProtocolToWhoeverOpensIt) {
  VirtualTimeLoop loop;
  PseudoTerminal pty;
  ASSERT_TRUE(pty.Open()) << pty.Error();
  ASSERT_EQ(pty.SlavePath().rfind("/dev/pts/", 0), 0u) << pty.SlavePath();
  FdSerialChannel master(loop, pty.ReleaseMaster(), pty.SlavePath());
  KeloController controller(loop);  // after the channel: it lets go of it first
  controller.Attach(master);

  for (int client = 0; client < 2; ++client) {  // a second client after the first has gone
    int fd = ::open(pty.SlavePath().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(fd, 0);
    // The second client finds the motor the first one switched on.
    const std::string status = DataFrame(client == 0 ? "0100000000000000" : "0100000000000001");
    EXPECT_EQ(Exchange(loop, fd, Enquiry('D'), status.size()), status) << "client " << client;
    EXPECT_EQ(Exchange(loop, fd, kAck + Action('J'), 1), kAck);
    ::close(fd);
    loop.PumpFor(50);
    EXPECT_TRUE(controller.Attached());  // no hang-up when a client closes the device
  }
  EXPECT_EQ(controller.Plant().Mode(), MachineMode::Motor);
}

int Connect(uint16_t port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{.sin_family = AF_INET,
                   .sin_port = htons(port),
                   .sin_addr = {htonl(INADDR_LOOPBACK)},
                   .sin_zero = {}};
  EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  return fd;
}

TEST(SimEndpoints, ATcpPortServesOneClientAtATime) {
  VirtualTimeLoop loop;
  KeloController controller(loop);
  SimTcpListener listener(loop, controller);
  ASSERT_TRUE(listener.Listen("127.0.0.1", 0)) << listener.Error();

  int first = Connect(listener.Port());
  ASSERT_TRUE(loop.PumpUntil([&] { return listener.HasClient(); }, 60'000));
  EXPECT_EQ(Exchange(loop, first, GetVariable("  1"), 13), DataFrame(" 1=2173\r"));

  // A second connection meanwhile is closed at once.
  int second = Connect(listener.Port());
  EXPECT_EQ(Exchange(loop, second, Enquiry('D'), 1), "");

  // When the first goes, the next one is served.
  ::close(first);
  ASSERT_TRUE(loop.PumpUntil([&] { return !listener.HasClient(); }, 60'000));
  EXPECT_FALSE(controller.Attached());
  int third = Connect(listener.Port());
  ASSERT_TRUE(loop.PumpUntil([&] { return listener.HasClient(); }, 60'000));
  EXPECT_EQ(Exchange(loop, third, Action('5'), 1), kAck);
  ::close(second);
  ::close(third);
}

}  // namespace
}  // namespace tavkelo::test
