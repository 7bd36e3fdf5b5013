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
  if (r.command() == 'E')
    name += std::to_string(std::stoi(std::string(r.bytes.begin() + 3, r.bytes.begin() + 6)));
  return name;
}

class Poller : public ::testing::Test {
 protected:
  Poller() : controller(f.loop, f.line->DeviceEnd()) {
    f.ConnectLink();
    controller.SetResponder([this](const ReceivedFrame& r) -> std::vector<ScriptedReply> {
      if (r.IsAck() || r.IsNak() || silent) return {};
      switch (r.command()) {
        case 'D':
          return {{DataFrame(statusBits), replyDelayUs}};
        case 'C':
          return {{DataFrame(" 211=0.0 Hp\r 231=0.0 lbf\r 209=" + speed + " mph\r"), replyDelayUs}};
        case 'E': {
          std::string number(r.bytes.begin() + 3, r.bytes.begin() + 6);
          std::string value = std::stoi(number) == 0 ? "3.12" : "1.0";
          return {{DataFrame(" " + number + "=" + value + "\r"), replyDelayUs}};
        }
        default:
          return {{{0x06}, replyDelayUs}};
      }
    });
    f.ctx->store.DyneVersion = 3.12f;
  }
  void StartPolling() {
    f.ctx->polling.SetReadingsActive(true);
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
  f.ctx->polling.SetReadingsActive(false);
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

struct CycleCase {
  const char* name;
  int64_t replyDelayUs;
  int32_t calibration;
  int64_t periodMs;
};

class PollerCycles : public Poller, public ::testing::WithParamInterface<CycleCase> {};

// While the rolls stand, a cycle starts one period after the last one began. A cycle that leaves
// no more than 10 ms of its period is followed at once: after the poller's two 10 ms steps.
TEST_P(PollerCycles, TheNextCycleStartsOnePeriodAfterTheLastBeganOrAtOnceAfterALongOne) {
  replyDelayUs = GetParam().replyDelayUs;
  f.ctx->test.CurCalibration = GetParam().calibration;
  StartPolling();
  f.loop.PumpFor(9000);
  const auto requests = controller.Requests();
  std::vector<int64_t> acks;  // every request of the cycle is a data request, acknowledged once
  for (const auto& r : controller.Received()) {
    if (r.IsAck()) acks.push_back(r.atUs);
  }
  ASSERT_GE(requests.size(), 12u);
  const int64_t periodUs = GetParam().periodMs * 1000;
  for (size_t start = 4; start + 4 < requests.size() && start + 3 < acks.size(); start += 4) {
    // The cycle runs from its first request's put (4 bytes before it arrives) to its last ACK's
    // put (1 byte before).
    const int64_t cycleUs = (acks[start + 3] - 1042) - (requests[start].atUs - 4167);
    const int64_t spacingUs = requests[start + 4].atUs - requests[start].atUs;
    const int64_t dueUs = periodUs - cycleUs > 10'000 ? periodUs + 10'000 : cycleUs + 20'000;
    EXPECT_NEAR(spacingUs, dueUs, 2'000) << "cycle at " << start << " took " << cycleUs << " us";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Timing, PollerCycles,
    ::testing::Values(CycleCase{"ShortCycles", 0, calibration::None, 1000},
                      CycleCase{"CyclesOf985Ms", 198'750, calibration::None, 1000},
                      CycleCase{"CyclesOf995Ms", 201'250, calibration::None, 1000},
                      CycleCase{"CyclesLongerThanAPeriod", 250'000, calibration::None, 1000},
                      CycleCase{"WizardHalfSecond", 0, calibration::LoadCell, 500},
                      CycleCase{"WizardLongCycles", 100'000, calibration::LoadCell, 500}),
    [](const ::testing::TestParamInfo<CycleCase>& info) { return std::string(info.param.name); });

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
  ASSERT_TRUE(f.ctx->polling.CommandInProgress());
  const size_t sent = controller.Requests().size();
  const int64_t suspendAtUs = f.loop.NowUs();
  f.ctx->polling.SuspendDyneReadings();
  // The suspend returned once the late reply had come and was taken: no resend, no error.
  EXPECT_GE(f.loop.NowUs() - suspendAtUs, 120'000) << "it waited for the reply";
  EXPECT_EQ(controller.Requests().size(), sent) << "nothing was sent again";
  EXPECT_EQ(f.ctx->store.counters.checksumErrors + f.ctx->store.counters.deviceErrors, 0);
  EXPECT_FALSE(f.ctx->polling.CommandInProgress());
  EXPECT_FALSE(f.ctx->polling.DyneReadingsBusy());
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
