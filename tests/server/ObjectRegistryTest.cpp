// Leases of the remote clients' objects, on virtual time: an object lives for its lease after its
// last use or ping, and one that nobody renews is taken out for release, as the component runtime
// releases the objects of a client that died.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "platform/NamedSemaphore.hpp"
#include "server/ObjectRegistry.hpp"
#include "support/LinkFixture.hpp"

namespace tavkelo {
namespace {

class Registry : public ::testing::Test {
 protected:
  // Moves the clock without dispatching anything: only the registry looks at it here.
  void Pass(int64_t ms) { f.loop.Advance(ms * 1000); }
  std::string Create(int lease) {
    std::string id = registry.Create(lease).id;
    objects[registry.Use(id)] = id;  // a use at creation time renews nothing
    return id;
  }
  // The ids of the objects that TakeExpired hands out now.
  std::set<std::string> Expired() {
    std::set<std::string> ids;
    for (auto& object : registry.TakeExpired()) {
      auto it = objects.find(object.get());
      EXPECT_NE(it, objects.end());
      if (it != objects.end()) ids.insert(it->second);
    }
    return ids;
  }

  test::LinkFixture f;
  ObjectRegistry registry{*f.ctx, 30, 3600};
  std::map<const clsKeloInterface*, std::string> objects;
};

TEST_F(Registry, ALeaseIsTheAskedOneTheDefaultOrAtMostTheLongest) {
  struct Case {
    int asked;
    int granted;
  };
  const Case cases[] = {{0, 30}, {-5, 30}, {1, 1}, {2, 2}, {3600, 3600}, {3601, 3600}, {1000000, 3600}};
  for (const auto& c : cases) {
    ObjectRegistry::Created object = registry.Create(c.asked);
    EXPECT_EQ(object.leaseSeconds, c.granted) << c.asked;
    int lease = 0;
    ASSERT_TRUE(registry.Ping(object.id, lease));
    EXPECT_EQ(lease, c.granted);
  }
  EXPECT_EQ(registry.Count(), std::size(cases));
  EXPECT_EQ(registry.DefaultLease(), 30);
}

TEST_F(Registry, IdsAreUniqueAndUnguessableText) {
  std::set<std::string> ids;
  for (int i = 0; i < 50; ++i) {
    std::string id = registry.Create(0).id;
    EXPECT_EQ(id.size(), 20u) << id;
    EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 50u);
  EXPECT_EQ(registry.Use("0000000000000000000"), nullptr);
  EXPECT_EQ(registry.Use(""), nullptr);
}

TEST_F(Registry, AnObjectNobodyRenewsExpiresJustAfterItsLease) {
  std::string two = Create(2);
  std::string five = Create(5);
  Pass(2000);
  EXPECT_TRUE(Expired().empty()) << "exactly its lease is still within it";
  Pass(1);
  EXPECT_EQ(Expired(), std::set<std::string>{two});
  EXPECT_EQ(registry.Use(two), nullptr);
  Pass(2999);
  EXPECT_TRUE(Expired().empty());
  Pass(1);
  EXPECT_EQ(Expired(), std::set<std::string>{five});
  EXPECT_EQ(registry.Count(), 0u);
}

TEST_F(Registry, UseAndPingRenewTheLease) {
  std::string used = Create(2);
  std::string pinged = Create(2);
  std::string idle = Create(2);
  for (int step = 0; step < 10; ++step) {  // 15 s, three times the lease over
    Pass(1500);
    ASSERT_NE(registry.Use(used), nullptr) << step;
    int lease = 0;
    ASSERT_TRUE(registry.Ping(pinged, lease)) << step;
    EXPECT_EQ(lease, 2);
    if (step == 1) {
      EXPECT_EQ(Expired(), std::set<std::string>{idle});
    } else {
      EXPECT_TRUE(Expired().empty()) << step;
    }
  }
  Pass(2001);
  EXPECT_EQ(Expired(), (std::set<std::string>{used, pinged}));
}

TEST_F(Registry, ExpiryHoldsAcrossTheWrapOfTheTickCount) {
  test::TempDir dir;
  VirtualTimeLoop::Options options;
  options.startTick = 0xFFFFFFFFu - 1000;  // wraps one second in
  VirtualTimeLoop loop(options);
  HostOptions hostOptions;
  hostOptions.programFilePath = dir.File("TavKeloASM");
  hostOptions.semaphoreSuffix = test::UniqueSuffix();
  hostOptions.echoNotices = false;
  HostContext host(loop, hostOptions);
  {
    KeloContext ctx(host);
    ObjectRegistry wrapped(ctx, 2);
    std::string id = wrapped.Create(0).id;
    loop.Advance(1500'000);
    EXPECT_TRUE(wrapped.TakeExpired().empty());
    EXPECT_NE(wrapped.Use(id), nullptr);
    loop.Advance(2001'000);
    EXPECT_EQ(wrapped.TakeExpired().size(), 1u);
  }
  NamedSemaphore::Remove("KeloReadingsLock" + hostOptions.semaphoreSuffix);
  NamedSemaphore::Remove("KeloInterfaceLock" + hostOptions.semaphoreSuffix);
}

TEST_F(Registry, ATakenObjectIsTheCallersToRelease) {
  std::string a = Create(0);
  std::string b = Create(0);
  std::unique_ptr<clsKeloInterface> taken = registry.Take(a);
  ASSERT_NE(taken, nullptr);
  EXPECT_EQ(registry.Take(a), nullptr) << "taken once";
  EXPECT_EQ(registry.Use(a), nullptr);
  EXPECT_EQ(registry.Count(), 1u);
  EXPECT_EQ(f.LogCount("clsKeloInterface: Class_Terminate"), 0) << "not released by the registry";
  taken.reset();
  EXPECT_EQ(f.LogCount("clsKeloInterface: Class_Terminate - Complete"), 1);

  auto all = registry.TakeAll();
  EXPECT_EQ(all.size(), 1u);
  EXPECT_EQ(registry.Count(), 0u);
  EXPECT_EQ(registry.Use(b), nullptr);
  all.clear();
  EXPECT_EQ(f.LogCount("clsKeloInterface: Class_Terminate - Complete"), 2);
  EXPECT_EQ(f.LogCount("clsKeloInterface: Class_Initialize"), 2);
}

}  // namespace
}  // namespace tavkelo
