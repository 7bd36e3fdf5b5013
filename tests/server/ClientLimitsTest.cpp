// One client address may hold only so many requests in progress and create only so many objects a
// minute; the refusal says when to try again, and other addresses are served meanwhile.
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "server/ClientLimits.hpp"

namespace tavkelo {
namespace {

using Clock = ClientLimits::Clock;

TEST(ClientLimits, RequestsInProgressAreHeldPerThreadAndReleasedWhenAnswered) {
  ClientLimits limits({3, 0});
  const auto now = Clock::now();
  std::mutex mutex;
  std::condition_variable cv;
  int holding = 0;
  bool release = false;
  std::vector<std::thread> workers;
  for (int i = 0; i < 3; ++i) {
    workers.emplace_back([&] {
      EXPECT_FALSE(limits.Arrive("10.0.0.5", false, now).refused);
      std::unique_lock<std::mutex> lock(mutex);
      ++holding;
      cv.notify_all();
      cv.wait(lock, [&] { return release; });
      lock.unlock();
      limits.Finished();
    });
  }
  {
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait(lock, [&] { return holding == 3; });
  }
  const ClientLimits::Refusal busy = limits.Arrive("10.0.0.5", false, now);
  EXPECT_TRUE(busy.refused);
  EXPECT_EQ(busy.retryAfterSeconds, 1);
  EXPECT_NE(busy.message.find("3 requests in progress"), std::string::npos) << busy.message;
  EXPECT_FALSE(limits.Arrive("10.0.0.6", false, now).refused) << "another client";
  limits.Finished();
  {
    std::lock_guard<std::mutex> lock(mutex);
    release = true;
  }
  cv.notify_all();
  for (auto& w : workers) w.join();
  EXPECT_EQ(limits.InProgress("10.0.0.5"), 0);
  // A request that never reached Finished() gives its place back with its thread's next one.
  EXPECT_FALSE(limits.Arrive("10.0.0.5", false, now).refused);
  EXPECT_FALSE(limits.Arrive("10.0.0.5", false, now).refused);
  EXPECT_EQ(limits.InProgress("10.0.0.5"), 1);
  limits.Finished();
  EXPECT_EQ(limits.InProgress("10.0.0.5"), 0);
}

TEST(ClientLimits, ObjectCreationsAreCountedOverTheLastMinute) {
  ClientLimits limits({0, 5});
  const auto t0 = Clock::now();
  for (int i = 0; i < 5; ++i) {
    EXPECT_FALSE(limits.Arrive("10.0.0.5", true, t0 + std::chrono::seconds(i)).refused) << i;
    limits.Finished();
  }
  struct Case {
    int atSecond;
    const char* address;
    bool refused;
    int retryAfter;
  };
  const Case cases[] = {
      {30, "10.0.0.5", true, 30},  // the first creation leaves the window at 60 s
      {30, "10.0.0.6", false, 0},  // another address has its own minute
      {59, "10.0.0.5", true, 1},
      {60, "10.0.0.5", false, 0},  // the first is a minute old: one place free
      {60, "10.0.0.5", true, 1},   // ... and taken again
  };
  for (const Case& c : cases) {
    const auto r = limits.Arrive(c.address, true, t0 + std::chrono::seconds(c.atSecond));
    limits.Finished();
    EXPECT_EQ(r.refused, c.refused) << c.atSecond << " " << c.address;
    EXPECT_EQ(r.retryAfterSeconds, c.retryAfter) << c.atSecond << " " << c.address;
  }
  // Requests that create nothing are not counted against the minute.
  EXPECT_FALSE(limits.Arrive("10.0.0.5", false, t0 + std::chrono::seconds(61)).refused);
  limits.Finished();
}

}  // namespace
}  // namespace tavkelo
