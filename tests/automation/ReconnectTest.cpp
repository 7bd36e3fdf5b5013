// The device going away under a connected link: the moment of failure as before (the serial event,
// its counter and log line, commands failing), then the port reopened after 1, 2, 4, 8, 16 and 30
// seconds of loop time, the connect handshake run again and polling resumed; a running test ends
// aborted. Without reconnecting, nothing happens until a client connects.
#include <gtest/gtest.h>

#include <vector>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

struct Outage {
  test::InterfaceFixture f;
  std::unique_ptr<clsKeloInterface> k;
  std::vector<int64_t> opensUs;  // loop times at which the link asked for the port

  explicit Outage(bool reconnect) {
    f.ctx->params.WarmupTimeSeconds = 600;
    f.ctx->recovery.SetEnabled(reconnect);
    auto open = f.ctx->openPort;
    f.ctx->openPort = [this, open](int16_t port) {
      opensUs.push_back(f.loop.NowUs());
      return open(port);
    };
    k = f.NewInterface();
  }
  size_t Requests() const { return f.RequestCount(); }
};

TEST(Reconnect, TheLinkComesBackWithBackOffAndTheRunningTestEndsAborted) {
  Outage o(true);
  ASSERT_TRUE(o.k->Connect());
  ASSERT_EQ(o.k->StartTest(gQRTXTIWarmup), gQRTXErrNoError);
  o.f.loop.PumpFor(5000);
  ASSERT_EQ(o.f.ctx->test.CurTest, test::Warmup);
  const int32_t eventsBefore = o.f.ctx->store.counters.commEvents;

  o.f.line->Unplug();
  const int64_t lostUs = o.f.loop.NowUs();
  // The moment of failure: the event counted and logged, the link being recovered.
  EXPECT_EQ(o.f.ctx->store.counters.commEvents, eventsBefore + 1);
  EXPECT_TRUE(o.f.LogContains("KeloComm_OnComm-Com_Error:EventDCB (0x03F3)"));
  EXPECT_TRUE(o.f.LogContains("LinkRecovery - link lost on 'sim', reconnecting"));
  EXPECT_TRUE(o.f.LogContains("LinkRecovery - link lost: test 1 aborted"));
  EXPECT_EQ(o.f.ctx->recovery.StatusText(), "link lost, reconnecting (attempt 1, next in 1 s)");
  EXPECT_NE(o.k->ResetTestDistance(), gQRTXErrNoError) << "commands fail while the device is away";

  // Seven attempts fail while the device is away: 1, 2, 4, 8, 16, 30, 30 s apart.
  const size_t opensBefore = o.opensUs.size();
  o.f.loop.PumpFor(91'500);
  std::vector<int64_t> offsetsS;
  for (size_t i = opensBefore; i < o.opensUs.size(); ++i)
    offsetsS.push_back((o.opensUs[i] - lostUs) / 1'000'000);
  EXPECT_EQ(offsetsS, (std::vector<int64_t>{1, 3, 7, 15, 31, 61, 91}));
  EXPECT_EQ(o.f.ctx->recovery.Attempt(), 8);
  EXPECT_EQ(o.f.ctx->recovery.StatusText(), "link lost, reconnecting (attempt 8, next in 30 s)");

  // The device is back: the next attempt connects with the whole handshake and polling resumes.
  o.f.line->PlugIn();
  const size_t requestsBefore = o.Requests();
  o.f.loop.PumpFor(30'000);
  EXPECT_FALSE(o.f.ctx->recovery.Reconnecting());
  EXPECT_EQ(o.f.ctx->recovery.Restored(), 1);
  EXPECT_TRUE(o.f.LogContains("LinkRecovery - link restored at attempt 8"));
  std::vector<std::string> names = o.f.RequestNames(requestsBefore);
  ASSERT_GE(names.size(), 3u);
  EXPECT_EQ(names[0], "E000") << "the handshake starts again";
  EXPECT_NE(std::find(names.begin(), names.end(), "F000=4127.00"), names.end());
  const size_t afterRestore = o.Requests();
  o.f.loop.PumpFor(10'000);
  EXPECT_GT(o.Requests(), afterRestore + 20) << "polling resumed";
  // The test that was running did not resume: it brings the dyne to rest and ends aborted.
  ASSERT_TRUE(o.f.loop.PumpUntil([&] { return o.f.ctx->test.CurTest == test::None; }, 120'000));
  EXPECT_EQ(o.f.ctx->test.LastTestCompletionStatus, ltcs::Aborted);
  EXPECT_TRUE(o.f.LogContains("**** Warm-Up Aborted ****"));
  EXPECT_LT(o.f.sim.SpeedMph(), 0.5);
  EXPECT_EQ(o.k->ResetTestDistance(), gQRTXErrNoError);

  // A client that disconnects while the device is away stops the attempts.
  o.f.line->Unplug();
  EXPECT_TRUE(o.f.ctx->recovery.Reconnecting());
  o.k->DisConnect();
  EXPECT_FALSE(o.f.ctx->recovery.Reconnecting());
  const size_t opensAtDisconnect = o.opensUs.size();
  o.f.loop.PumpFor(60'000);
  EXPECT_EQ(o.opensUs.size(), opensAtDisconnect);
}

TEST(Reconnect, WithoutReconnectingTheLinkStaysDownUntilAClientConnects) {
  Outage o(false);
  ASSERT_TRUE(o.k->Connect());
  o.f.loop.PumpFor(3000);
  o.f.line->Unplug();
  EXPECT_FALSE(o.f.ctx->recovery.Reconnecting());
  EXPECT_EQ(o.f.ctx->recovery.StatusText(), "");
  const size_t opens = o.opensUs.size();
  o.f.line->PlugIn();
  const size_t requests = o.Requests();
  o.f.loop.PumpFor(120'000);
  EXPECT_EQ(o.opensUs.size(), opens);
  EXPECT_EQ(o.Requests(), requests) << "nothing reaches the device";
  EXPECT_FALSE(o.f.LogContains("LinkRecovery"));
  ASSERT_TRUE(o.k->Connect()) << "a client's Connect opens the port again";
  o.f.loop.PumpFor(3000);
  EXPECT_GT(o.Requests(), requests);
}

}  // namespace
}  // namespace tavkelo
