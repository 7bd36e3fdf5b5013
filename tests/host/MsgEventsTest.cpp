#include <gtest/gtest.h>

#include "host/MsgEvents.hpp"
#include "runtime/LoopTimer.hpp"
#include "runtime/VirtualTimeLoop.hpp"

namespace tavkelo {
namespace {

class Events : public ::testing::Test {
 protected:
  VirtualTimeLoop loop;
  MsgEvents events{loop};
};

TEST_F(Events, ATimedWaitWithoutHandleDispatchesAndReturnsOne) {
  int ticks = 0;
  LoopTimer timer(loop, [&] { ++ticks; });
  timer.SetInterval(1);
  timer.SetEnabled(true);
  int64_t start = loop.NowUs();
  EXPECT_EQ(events.MsgWaitEvent(0, 5), MsgEvents::kTimedOut);
  EXPECT_EQ(loop.NowUs() - start, 5000);
  EXPECT_EQ(ticks, 5);
}

TEST_F(Events, ASignalledEventReturnsZeroAtOnce) {
  int32_t h = events.CreateEvent(false, false, "");
  events.SetEvent(h);
  int64_t start = loop.NowUs();
  EXPECT_EQ(events.MsgWaitEvent(h, 0), MsgEvents::kWaitObject0);
  EXPECT_EQ(loop.NowUs(), start);
  // Auto-reset: the signal was taken by the wait.
  EXPECT_EQ(events.MsgWaitEvent(h, 20), MsgEvents::kTimedOut);
  events.CloseHandle(h);
}

TEST(MsgEvents, DestroyingTheObjectReleasesAWaitOnItsHandle) {
  VirtualTimeLoop loop;
  auto events = std::make_unique<MsgEvents>(loop);
  int32_t own = events->OwnEvent();
  loop.CallAfterUs(10'000, [&] { events.reset(); });
  // An unbounded wait that only the destruction can end.
  EXPECT_EQ(events->MsgWaitEvent(own, 0), MsgEvents::kWaitObject0);
  EXPECT_EQ(loop.NowUs(), 10'000);
  EXPECT_EQ(events, nullptr);
}

// The wait ends as a handler signals the event, as signalled in time or, when the handler ran
// past the deadline, as timed out.
TEST(MsgEvents, AnEventSetByAHandlerEndsTheWaitAsSignalledOrPastTheDeadlineAsTimedOut) {
  struct Case {
    uint32_t handlerBusyMs;
    int32_t expected;
  };
  // The handler starts at 15 ms of a 20 ms wait and keeps the loop busy before it signals.
  for (const Case c : {Case{2, MsgEvents::kWaitObject0}, Case{10, MsgEvents::kTimedOut}}) {
    VirtualTimeLoop loop;
    MsgEvents events(loop);
    int32_t h = events.CreateEvent(true, false, "");
    loop.CallAfterUs(15'000, [&] {
      loop.Sleep(c.handlerBusyMs);
      events.SetEvent(h);
    });
    EXPECT_EQ(events.MsgWaitEvent(h, 20), c.expected) << c.handlerBusyMs;
    EXPECT_EQ(loop.NowUs(), (15 + c.handlerBusyMs) * 1000) << "it returns as the event is set";
    events.CloseHandle(h);
  }
}

// Closing a waited handle fails the wait; calls on it afterwards report an invalid handle.
TEST_F(Events, ClosingAWaitedHandleFailsTheWaitAndLaterCallsReportAnInvalidHandle) {
  int32_t h = events.CreateEvent(true, false, "");
  EXPECT_EQ(events.SetEvent(h), 0);
  EXPECT_EQ(events.ResetEvent(h), 0);
  loop.CallAfterUs(5'000, [&] { EXPECT_EQ(events.CloseHandle(h), 0); });
  EXPECT_EQ(events.MsgWaitEvent(h, 0), MsgEvents::kWaitFailed);
  EXPECT_EQ(events.SetEvent(h), MsgEvents::kInvalidHandle);
  EXPECT_EQ(events.ResetEvent(h), MsgEvents::kInvalidHandle);
  EXPECT_EQ(events.CloseHandle(h), MsgEvents::kInvalidHandle);
}

TEST(MsgEvents, FileTimeArithmeticCarriesAndBorrowsAcrossBytes) {
  FileTime a = MsgEvents::ToFileTime(0x00000000FFFFFFFFll);
  FileTime one = MsgEvents::ToFileTime(1);
  EXPECT_EQ(MsgEvents::FromFileTime(MsgEvents::AddFileTime(a, one)), 0x0000000100000000ll);
  EXPECT_EQ(MsgEvents::FromFileTime(MsgEvents::SubtractFileTime(MsgEvents::ToFileTime(0x100), one)),
            0xFF);
  EXPECT_EQ(MsgEvents::FromFileTime(MsgEvents::SubtractFileTime(one, MsgEvents::ToFileTime(2))),
            -1);
}

}  // namespace
}  // namespace tavkelo
