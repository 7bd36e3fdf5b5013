#include <gtest/gtest.h>

#include "support/LinkFixture.hpp"
#include "support/ScriptedController.hpp"

namespace tavkelo {
namespace {

using test::DataFrame;
using test::ReceivedFrame;
using test::ScriptedReply;

// Names a request as the tests write it: "C", "D", "E210", "J".
std::string Name(const ReceivedFrame& r) {
  std::string name(1, static_cast<char>(r.command()));
  if (r.command() == 'E') name += std::to_string(std::stoi(std::string(r.bytes.begin() + 3, r.bytes.begin() + 6)));
  return name;
}

class Poller : public ::testing::Test {
 protected:
  Poller() : controller(f.loop, f.line->DeviceEnd()) {
    f.ConnectLink();
    controller.SetResponder([this](const ReceivedFrame& r) -> std::vector<ScriptedReply> {
      if (r.IsAck() || r.IsNak() || silent) return {};
      switch (r.command()) {
        case 'D': return {{DataFrame(statusBits), replyDelayUs}};
        case 'C': return {{DataFrame(" 211=0.0 Hp\r 231=0.0 lbf\r 209=" + speed + " mph\r"), replyDelayUs}};
        case 'E': {
          std::string number(r.bytes.begin() + 3, r.bytes.begin() + 6);
          std::string value = std::stoi(number) == 0 ? "3.12" : "1.0";
          return {{DataFrame(" " + number + "=" + value + "\r"), replyDelayUs}};
        }
        default: return {{{0x06}, replyDelayUs}};
      }
    });
    f.ctx->store.DyneVersion = 3.12f;
  }
  void StartPolling() {
    f.ctx->poller.readingsActive = true;
    f.ctx->polling.ResumeDyneReadings();
  }
  std::vector<std::string> RequestNames() {
    std::vector<std::string> names;
    for (const auto& r : controller.Requests()) names.push_back(Name(r));
    return names;
  }

  test::LinkFixture f;
  test::ScriptedController controller;
  std::string statusBits = "0100000000000000";  // lifts down, motor off
  std::string speed = "0.0";
  int64_t replyDelayUs = 0;
  bool silent = false;
};

TEST_F(Poller, ACycleIsTestValuesStatusAccelerationAndOneSlowVariable) {
  f.ctx->AcquireSemaphores();
  ASSERT_TRUE(f.ctx->InterfaceLock()->TryAcquire());
  StartPolling();
  f.loop.PumpFor(6500);
  std::vector<std::string> names = RequestNames();
  std::vector<std::string> expected;
  for (const char* slow : {"E225", "E217", "E224", "E216", "E222", "E244", "E225"}) {
    for (const char* each : {"C", "D", "E210"}) expected.push_back(each);
    expected.push_back(slow);
  }
  ASSERT_GE(names.size(), expected.size());
  names.resize(expected.size());
  EXPECT_EQ(names, expected);
}

TEST_F(Poller, CyclesStartOneSecondApartWhileTheRollsStand) {
  StartPolling();
  f.loop.PumpFor(5500);
  std::vector<int64_t> cStarts;
  auto requests = controller.Requests();
  for (size_t i = 0; i < requests.size(); i += 4) cStarts.push_back(requests[i].atUs / 1000);
  ASSERT_GE(cStarts.size(), 5u);
  for (size_t i = 2; i < cStarts.size(); ++i) {
    EXPECT_NEAR(static_cast<double>(cStarts[i] - cStarts[i - 1]), 1000.0, 12.0) << i;
  }
}

TEST_F(Poller, WhileTheRollsCoastThePollerRunsContinuously) {
  speed = "25.0";
  statusBits = "0100000000000000";  // motor off: coasting
  StartPolling();
  f.loop.PumpFor(3000);
  size_t coasting = controller.Requests().size();
  controller.Clear();
  statusBits = "0100000000000001";  // motor on
  f.loop.PumpFor(3000);
  size_t driven = controller.Requests().size();
  EXPECT_GT(coasting, 3 * driven) << coasting << " vs " << driven;
}

TEST_F(Poller, WithReadingsInactiveOnlyTheVersionIsAsked) {
  f.ctx->store.DyneVersion = 0.0f;
  f.ctx->poller.readingsActive = false;
  f.ctx->polling.ResumeDyneReadings();
  f.loop.PumpFor(100);
  EXPECT_EQ(f.ctx->comm.tmrUpdateReadings.Interval(), 1000u);
  f.loop.PumpFor(5000);
  auto names = RequestNames();
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0], "E0");
  EXPECT_FLOAT_EQ(f.ctx->store.DyneVersion, 3.12f);
  EXPECT_EQ(f.ctx->comm.tmrUpdateReadings.Interval(), 1000u);
}

TEST_F(Poller, ACycleOf995MsLeavesTheTenMillisecondInterval) {
  f.ctx->poller.readingsActive = true;
  f.ctx->poller.pollState = 3;
  f.ctx->poller.DIS = 0;
  f.ctx->poller.cycleStart = f.ctx->Tick() - 995;
  f.ctx->polling.UpdateDyneReadings();
  EXPECT_EQ(f.ctx->comm.tmrUpdateReadings.Interval(), 10u);
  f.ctx->poller.pollState = 3;
  f.ctx->poller.cycleStart = f.ctx->Tick() - 600;
  f.ctx->polling.UpdateDyneReadings();
  EXPECT_EQ(f.ctx->comm.tmrUpdateReadings.Interval(), 400u);
  f.ctx->test.CurCalibration = 1;  // a wizard runs its cycle every half second
  f.ctx->poller.pollState = 3;
  f.ctx->poller.cycleStart = f.ctx->Tick() - 200;
  f.ctx->polling.UpdateDyneReadings();
  EXPECT_EQ(f.ctx->comm.tmrUpdateReadings.Interval(), 300u);
}

TEST_F(Poller, ATestStepsAfterEachReplyAndItsOwnCommandIsAwaited) {
  int steps = 0;
  f.ctx->test.CurTest = 1;
  f.ctx->runTestStep = [&](int16_t curTest) {
    EXPECT_EQ(curTest, 1);
    if (++steps == 2) {
      f.ctx->test.TestCommandPending = true;
      f.ctx->polling.SendDyneCommand('J');
    }
  };
  StartPolling();
  f.loop.PumpFor(1500);
  auto names = RequestNames();
  ASSERT_GE(names.size(), 4u);
  EXPECT_EQ(names[0], "C");
  EXPECT_EQ(names[1], "D");
  EXPECT_EQ(names[2], "J") << "the step's command goes out before the poller's next request";
  EXPECT_EQ(names[3], "E210");
  EXPECT_GE(steps, 3);
  EXPECT_TRUE(f.LogContains("Internal Dyne Cmd[J-Motor On]"));
}

TEST_F(Poller, ASuspendLetsTheOutstandingExchangeFinishFirst) {
  f.ctx->AcquireSemaphores();
  ASSERT_TRUE(f.ctx->InterfaceLock()->TryAcquire());
  replyDelayUs = 150'000;
  StartPolling();
  f.loop.PumpFor(20);  // the first request is out, its reply 150 ms away
  ASSERT_TRUE(f.ctx->poller.CIP);
  const size_t sent = controller.Requests().size();
  const int64_t suspendAtUs = f.loop.NowUs();
  f.ctx->polling.SuspendDyneReadings();
  // The suspend returned once the late reply had come and was taken: no resend, no error.
  EXPECT_GE(f.loop.NowUs() - suspendAtUs, 120'000) << "it waited for the reply";
  EXPECT_EQ(controller.Requests().size(), sent) << "nothing was sent again";
  EXPECT_EQ(f.ctx->store.counters.checksumErrors + f.ctx->store.counters.deviceErrors, 0);
  EXPECT_FALSE(f.ctx->poller.CIP);
  EXPECT_FALSE(f.ctx->poller.DyneReadingsBusy);
  EXPECT_FALSE(f.ctx->comm.tmrUpdateReadings.Enabled());
  EXPECT_EQ(f.ctx->store.counters.timeoutErrors, 0);
  EXPECT_FALSE(f.ctx->InterfaceLock()->TryAcquire()) << "the suspend holds the interface lock";
  size_t before = controller.Requests().size();
  f.loop.PumpFor(3000);
  EXPECT_EQ(controller.Requests().size(), before) << "suspended: nothing is sent";
  f.ctx->polling.ResumeDyneReadings();
  EXPECT_TRUE(f.ctx->InterfaceLock()->TryAcquire());
  f.ctx->InterfaceLock()->Release();
  f.loop.PumpFor(1500);
  EXPECT_GT(controller.Requests().size(), before);
}

TEST_F(Poller, ASuspendWithASilentControllerEndsAfterTheResendsNotAfterTwentySeconds) {
  f.ctx->AcquireSemaphores();
  ASSERT_TRUE(f.ctx->InterfaceLock()->TryAcquire());
  silent = true;
  StartPolling();
  f.loop.PumpFor(20);
  int64_t start = f.loop.NowUs();
  f.ctx->polling.SuspendDyneReadings();
  int64_t tookMs = (f.loop.NowUs() - start) / 1000;
  // Three 300 ms time-outs and two 200 ms pauses from the request sent just before.
  EXPECT_LT(tookMs, 2000);
  EXPECT_GE(tookMs, 1250);
  EXPECT_FALSE(f.LogContains("SuspendDyneReadings-Timeout"));
  EXPECT_TRUE(f.LogContains("SuspendDyneReadings-Waiting..."));
}

TEST_F(Poller, AStepCommandThatCannotBePutIsNotAwaited) {
  f.ctx->test.CurTest = 1;
  int steps = 0;
  f.ctx->runTestStep = [&](int16_t) {
    ++steps;
    f.ctx->comm.ClosePort();
    f.ctx->test.TestCommandPending = true;
    EXPECT_EQ(f.ctx->polling.SendDyneCommand('J'), 2);
  };
  StartPolling();
  f.loop.PumpFor(3000);
  EXPECT_GE(steps, 2) << "the poller goes on stepping the test";
}

}  // namespace
}  // namespace tavkelo
