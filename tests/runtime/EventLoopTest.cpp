#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/LoopTimer.hpp"
#include "runtime/VirtualTimeLoop.hpp"

namespace tavkelo {
namespace {

TEST(VirtualTimeLoop, TimersFireInDueOrderAtTheirVirtualTimes) {
  VirtualTimeLoop loop;
  std::vector<std::pair<std::string, int64_t>> fired;
  LoopTimer slow(loop, [&] { fired.emplace_back("slow", loop.NowUs()); });
  LoopTimer fast(loop, [&] { fired.emplace_back("fast", loop.NowUs()); });
  slow.SetInterval(250);
  fast.SetInterval(100);
  slow.SetEnabled(true);
  fast.SetEnabled(true);
  loop.PumpFor(500);
  std::vector<std::pair<std::string, int64_t>> expected = {
      {"fast", 100'000}, {"fast", 200'000}, {"slow", 250'000}, {"fast", 300'000},
      {"fast", 400'000}, {"slow", 500'000}, {"fast", 500'000}};
  // Both are due at 500 ms; the one armed first (slow, re-armed at 250) runs first.
  EXPECT_EQ(fired, expected);
}

TEST(VirtualTimeLoop, TickCountWrapsAt32Bits) {
  VirtualTimeLoop::Options options;
  options.startTick = 0xFFFFFF00u;
  VirtualTimeLoop loop(options);
  loop.PumpFor(0x200);
  EXPECT_EQ(loop.TickCount(), 0x100u);
  // Differences on the wrapped count stay right.
  EXPECT_EQ(static_cast<int32_t>(loop.TickCount() - options.startTick), 0x200);
}

TEST(VirtualTimeLoop, PumpUntilStopsAtTheConditionOrTheTimeout) {
  VirtualTimeLoop loop;
  bool flag = false;
  loop.CallAfterUs(40'000, [&] { flag = true; });
  EXPECT_TRUE(loop.PumpUntil([&] { return flag; }, 1000));
  EXPECT_EQ(loop.NowUs(), 40'000);
  EXPECT_FALSE(loop.PumpUntil([] { return false; }, 60));
  EXPECT_EQ(loop.NowUs(), 100'000);
}

TEST(VirtualTimeLoop, SleepBlocksWithoutDispatching) {
  VirtualTimeLoop loop;
  int ticks = 0;
  LoopTimer timer(loop, [&] { ++ticks; });
  timer.SetInterval(50);
  timer.SetEnabled(true);
  loop.Sleep(200);
  EXPECT_EQ(ticks, 0);
  EXPECT_EQ(loop.NowUs(), 200'000);
  loop.PumpOnce(0);  // the overdue tick arrives once the loop dispatches again
  EXPECT_EQ(ticks, 1);
}

TEST(LoopTimer, ChangingTheIntervalRestartsTheCountdownAndZeroStopsIt) {
  VirtualTimeLoop loop;
  std::vector<int64_t> at;
  LoopTimer timer(loop, [&] { at.push_back(loop.NowUs() / 1000); });
  timer.SetInterval(100);
  timer.SetEnabled(true);
  loop.PumpFor(60);
  timer.SetInterval(100);  // restarts from 60
  loop.PumpFor(150);       // until 210
  timer.SetInterval(0);
  loop.PumpFor(500);
  EXPECT_EQ(at, (std::vector<int64_t>{160}));
  EXPECT_TRUE(timer.Enabled());
}

// A handler that waits keeps the loop dispatching timers and calls that never wait; a call that
// can wait runs only at the top level, after it.
TEST(EventLoop, TicksAndCallsThatNeverWaitRunInsideAHandlersWait) {
  VirtualTimeLoop loop;
  std::vector<std::string> trace;
  LoopTimer ticker(loop, [&] { trace.push_back("tick@" + std::to_string(loop.NowUs() / 1000)); });
  ticker.SetInterval(10);
  loop.Post(
      [&] {
        trace.push_back("A-begin");
        ticker.SetEnabled(true);
        loop.PumpFor(35);  // B must not start in here; C may
        ticker.SetEnabled(false);
        trace.push_back("A-end");
      },
      CallKind::CanWait);
  loop.Post([&] { trace.push_back("B"); }, CallKind::CanWait);
  loop.Post([&] { trace.push_back("C"); }, CallKind::NeverWaits);
  loop.PumpFor(200);
  std::vector<std::string> expected = {"A-begin", "C",     "tick@10", "tick@20",
                                       "tick@30", "A-end", "B"};
  EXPECT_EQ(trace, expected);
}

}  // namespace
}  // namespace tavkelo
