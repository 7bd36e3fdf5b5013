// Calls handed to the loop from other threads: results, exceptions and move-only values come back
// to the right caller, calls that can wait never overlap, and a loop that stops or closes drops
// what it can no longer run instead of leaving a caller waiting.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "runtime/RealTimeLoop.hpp"
#include "runtime/VirtualTimeLoop.hpp"

namespace tavkelo {
namespace {

std::unique_ptr<EventLoop> MakeLoop(bool virtualTime) {
  if (virtualTime) return std::make_unique<VirtualTimeLoop>();
  return std::make_unique<RealTimeLoop>();
}

class InvokeTest : public ::testing::TestWithParam<bool> {};

TEST_P(InvokeTest, CallsFromManyThreadsEachGetTheirOwnOutcome) {
  auto loop = MakeLoop(GetParam());
  constexpr int kThreads = 6;
  constexpr int kCalls = 300;
  // Loop-owned state, touched only by calls that run on the loop.
  int counter = 0;
  bool canWaitActive = false;
  int overlaps = 0;
  int canWaitNotAtTop = 0;

  std::thread runner([&] {
    loop->AdoptCurrentThread();
    loop->Run();
  });
  std::vector<std::vector<int>> seen(kThreads);
  std::vector<int> failures(kThreads, 0);
  std::vector<std::thread> callers;
  for (int t = 0; t < kThreads; ++t) {
    callers.emplace_back([&, t] {
      for (int i = 0; i < kCalls; ++i) {
        const std::string tag = std::to_string(t) + "/" + std::to_string(i);
        switch (i % 4) {
          case 0:  // a value
            seen[t].push_back(loop->Invoke([&] { return ++counter; }));
            break;
          case 1:  // an exception of the call, rethrown to its caller only
            try {
              loop->Invoke([&]() -> int {
                ++counter;
                throw std::runtime_error("refused " + tag);
              });
              ++failures[t];
            } catch (const std::runtime_error& e) {
              if (e.what() != "refused " + tag) ++failures[t];
            }
            break;
          case 2: {  // a move-only value from a call that can wait and pumps inside
            auto value = loop->Invoke(
                [&] {
                  if (canWaitActive) ++overlaps;
                  if (loop->Depth() != 1) ++canWaitNotAtTop;
                  canWaitActive = true;
                  loop->PumpFor(1);  // calls that never wait may run in here; others may not
                  canWaitActive = false;
                  return std::make_unique<int>(++counter);
                },
                CallKind::CanWait);
            seen[t].push_back(*value);
            break;
          }
          default:  // nothing back
            loop->Invoke([&] { ++counter; });
            break;
        }
      }
    });
  }
  for (auto& c : callers) c.join();
  loop->Invoke([&] { loop->Stop(); });
  runner.join();

  EXPECT_EQ(counter, kThreads * kCalls);
  EXPECT_EQ(overlaps, 0);
  EXPECT_EQ(canWaitNotAtTop, 0);
  std::set<int> all;
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(failures[t], 0) << "thread " << t;
    EXPECT_TRUE(std::is_sorted(seen[t].begin(), seen[t].end())) << "thread " << t;
    all.insert(seen[t].begin(), seen[t].end());
  }
  EXPECT_EQ(all.size(), static_cast<size_t>(kThreads * kCalls / 2));
}

TEST_P(InvokeTest, StoppingOrClosingDropsWhatCanNoLongerRun) {
  struct Case {
    const char* name;
    bool close;  // Close() from the loop's thread instead of Stop() and Run returning
  };
  for (const Case& c : {Case{"stop", false}, Case{"close", true}}) {
    SCOPED_TRACE(c.name);
    auto loop = MakeLoop(GetParam());
    constexpr int kThreads = 4;
    int ran = 0;  // loop-owned
    std::atomic<int> returned{0};
    std::atomic<int> dropped{0};
    std::atomic<int> wrong{0};
    std::thread runner([&] {
      loop->AdoptCurrentThread();
      loop->Run();
    });
    std::vector<std::thread> callers;
    for (int t = 0; t < kThreads; ++t) {
      callers.emplace_back([&, t] {
        // Call until the loop refuses; a caller that hangs fails the test by never joining.
        for (;;) {
          try {
            const CallKind kind = t % 2 == 0 ? CallKind::NeverWaits : CallKind::CanWait;
            loop->Invoke(
                [&] {
                  ++ran;
                  if (ran == 400) {
                    if (c.close) {
                      loop->Close();
                    } else {
                      loop->Stop();
                    }
                  }
                },
                kind);
            ++returned;
          } catch (const LoopCallDropped&) {
            ++dropped;
            return;
          } catch (...) {
            ++wrong;
            return;
          }
        }
      });
    }
    for (auto& caller : callers) caller.join();
    if (c.close) loop->Stop();
    runner.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(dropped.load(), kThreads);
    // Every call that ran told its caller so, and none that was dropped had run.
    EXPECT_EQ(returned.load(), ran);
    EXPECT_GE(ran, 400);
    // After the loop stopped (or closed), a call from another thread is dropped at once. (The
    // loop is handed back to this thread first: a new thread may reuse the runner's id.)
    loop->AdoptCurrentThread();
    bool droppedLate = false;
    std::thread([&] {
      try {
        loop->Invoke([] { return 1; });
      } catch (const LoopCallDropped&) {
        droppedLate = true;
      }
    }).join();
    EXPECT_TRUE(droppedLate);
  }
}

INSTANTIATE_TEST_SUITE_P(Loops, InvokeTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "VirtualTime" : "RealTime";
                         });

}  // namespace
}  // namespace tavkelo
