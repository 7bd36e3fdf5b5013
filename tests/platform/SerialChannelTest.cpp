// The descriptor-based lines on the real-time loop: bytes both ways over a pseudo-terminal and
// over TCP, and the other end going away, which closes the port and raises the line-error event
// instead of failing later or crashing. The loop waits on the descriptors, bounded by a limit.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/PseudoTerminal.hpp"
#include "platform/TcpSerialChannel.hpp"
#include "platform/TermiosSerialChannel.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "support/LoopbackSocket.hpp"

namespace tavkelo {
namespace {

constexpr int64_t kLimitMs = 5000;

// The far end of a line: the pseudo-terminal's master or an accepted TCP connection.
struct FarEnd {
  int fd = -1;
  std::unique_ptr<PseudoTerminal> pty;
  std::unique_ptr<test::LoopbackSocket> listener;
  ~FarEnd() {
    if (fd >= 0) ::close(fd);
  }
  void Write(const std::string& bytes) const {
    ASSERT_EQ(::write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  std::string Read() const {
    char buf[64];
    ssize_t n = ::read(fd, buf, sizeof buf);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
  }
  void MakeNonBlocking() const { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK); }
  void HangUp() {
    ::close(fd);
    fd = -1;
    pty.reset();  // the pseudo-terminal's own slave descriptor goes too
  }
};

struct Line {
  std::unique_ptr<SerialChannel> channel;
  FarEnd far;
};

void OpenOverAPseudoTerminal(EventLoop& loop, Line& line) {
  line.far.pty = std::make_unique<PseudoTerminal>();
  EXPECT_TRUE(line.far.pty->Open()) << line.far.pty->Error();
  line.channel = std::make_unique<TermiosSerialChannel>(loop, line.far.pty->SlavePath());
  EXPECT_TRUE(line.channel->Open()) << line.channel->LastError();
  line.far.fd = line.far.pty->ReleaseMaster();
  line.far.MakeNonBlocking();
}

void OpenOverTcp(EventLoop& loop, Line& line) {
  line.far.listener = std::make_unique<test::LoopbackSocket>(true);
  line.channel = std::make_unique<TcpSerialChannel>(
      loop, "socket://127.0.0.1:" + std::to_string(line.far.listener->Port()));
  EXPECT_TRUE(line.channel->Open()) << line.channel->LastError();
  line.far.fd = ::accept(line.far.listener->Fd(), nullptr, nullptr);
  EXPECT_GE(line.far.fd, 0);
  line.far.MakeNonBlocking();
}

class DescriptorLines : public ::testing::TestWithParam<bool> {};  // true: TCP

TEST_P(DescriptorLines, CarryBytesBothWaysAndReportTheOtherEndGoingAway) {
  RealTimeLoop loop;
  Line line;
  if (GetParam()) {
    OpenOverTcp(loop, line);
  } else {
    OpenOverAPseudoTerminal(loop, line);
  }
  ASSERT_TRUE(line.channel->IsOpen());
  std::vector<int16_t> events;
  line.channel->SetOnComm([&](int16_t e) { events.push_back(e); });
  line.channel->SetRThreshold(1);

  const std::string frame =
      "\xB4\x11"
      "D\x05";
  ASSERT_TRUE(line.channel->Output(reinterpret_cast<const uint8_t*>(frame.data()), frame.size()));
  std::string arrived;
  ASSERT_TRUE(loop.PumpUntil([&] { return (arrived += line.far.Read()).size() >= frame.size(); },
                             kLimitMs));
  EXPECT_EQ(arrived, frame);

  line.far.Write("\x06");
  ASSERT_TRUE(loop.PumpUntil([&] { return !events.empty(); }, kLimitMs))
      << "the arrival is an event";
  EXPECT_EQ(events, std::vector<int16_t>{comm::EvReceive});
  EXPECT_EQ(line.channel->Input(), std::vector<uint8_t>{0x06});

  line.far.HangUp();
  ASSERT_TRUE(loop.PumpUntil([&] { return !line.channel->IsOpen(); }, kLimitMs))
      << "the hang-up is noticed";
  EXPECT_EQ(events.back(), comm::EventDCB);
  EXPECT_NE(line.channel->LastError().find("line lost"), std::string::npos)
      << line.channel->LastError();
  EXPECT_FALSE(line.channel->Output(reinterpret_cast<const uint8_t*>(frame.data()), frame.size()))
      << "a closed line refuses to write";
}

INSTANTIATE_TEST_SUITE_P(Kinds, DescriptorLines, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "Tcp" : "PseudoTerminal";
                         });

TEST(DescriptorLines, APortThatCannotBeOpenedSaysWhy) {
  RealTimeLoop loop;
  TermiosSerialChannel missing(loop, "/dev/no-such-kelo-port");
  EXPECT_FALSE(missing.Open());
  EXPECT_FALSE(missing.IsOpen());
  EXPECT_FALSE(missing.LastError().empty());
  TcpSerialChannel refused(loop, "socket://127.0.0.1:1");
  EXPECT_FALSE(refused.Open());
  EXPECT_FALSE(refused.LastError().empty());
}

}  // namespace
}  // namespace tavkelo
