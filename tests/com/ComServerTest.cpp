// The server's COM lifetime on virtual time: objects from the class factory, the end of the
// process only after the last object and lock are gone and the grace and the drain have passed,
// and a client that comes back in between keeping it serving.
#include <windows.h>
// after windows.h
#include <gtest/gtest.h>

#include "com/ComServer.hpp"
#include "com/KeloDispatch.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

struct ServerRig {
  test::InterfaceFixture f;
  int64_t endedAtUs = -1;
  ComServer server{f.loop,
                   [this](std::function<void()> released) -> IDispatch* {
                     return new KeloDispatch(f.NewInterface(), nullptr, std::move(released));
                   },
                   [this] { endedAtUs = f.loop.NowUs(); }};

  IDispatch* Create() {
    void* made = nullptr;
    EXPECT_EQ(server.Factory()->CreateInstance(nullptr, IID_IDispatch, &made), S_OK);
    return static_cast<IDispatch*>(made);
  }
  // Pumps ms of virtual time; true when the server ended within it.
  bool EndsWithin(uint32_t ms) {
    f.loop.PumpFor(ms);
    return endedAtUs >= 0;
  }
};

constexpr uint32_t kGraceMs = ComServer::kGraceUs / 1000;
constexpr uint32_t kDrainMs = ComServer::kDrainUs / 1000;

TEST(ComServer, EndsOnlyAfterTheLastObjectAndLockAreGoneAndTheGraceHasPassed) {
  ServerRig rig;
  EXPECT_FALSE(rig.EndsWithin(10 * kGraceMs)) << "no client has come yet";
  IDispatch* first = rig.Create();
  IDispatch* second = rig.Create();
  EXPECT_EQ(rig.server.Objects(), 2);
  first->Release();
  EXPECT_FALSE(rig.EndsWithin(10 * kGraceMs)) << "one object is still held";

  // The last release starts the grace; a client that comes back within it keeps the server.
  second->Release();
  EXPECT_FALSE(rig.EndsWithin(kGraceMs - 100));
  IDispatch* third = rig.Create();
  EXPECT_FALSE(rig.EndsWithin(10 * kGraceMs));

  // A lock outlives the objects; once it is undone the server ends after grace and drain.
  rig.server.Factory()->LockServer(TRUE);
  third->Release();
  EXPECT_FALSE(rig.EndsWithin(10 * kGraceMs)) << "locked";
  const int64_t unlockedAtUs = rig.f.loop.NowUs();
  rig.server.Factory()->LockServer(FALSE);
  EXPECT_TRUE(rig.EndsWithin(kGraceMs + kDrainMs + 100));
  EXPECT_EQ(rig.endedAtUs - unlockedAtUs, ComServer::kGraceUs + ComServer::kDrainUs);

  void* aggregated = nullptr;
  EXPECT_EQ(rig.server.Factory()->CreateInstance(reinterpret_cast<IUnknown*>(&rig), IID_IDispatch,
                                                 &aggregated),
            CLASS_E_NOAGGREGATION);
}

TEST(ComServer, AnObjectMadeWhileTheFactoryIsBeingWithdrawnKeepsTheServerServing) {
  ServerRig rig;
  rig.Create()->Release();
  EXPECT_FALSE(rig.EndsWithin(kGraceMs + kDrainMs / 2));  // withdrawn, draining
  IDispatch* late = rig.Create();
  EXPECT_FALSE(rig.EndsWithin(10 * kGraceMs));
  late->Release();
  EXPECT_TRUE(rig.EndsWithin(kGraceMs + kDrainMs + 100));
}

}  // namespace
}  // namespace tavkelo
