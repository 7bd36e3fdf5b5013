#include <gtest/gtest.h>

#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

// Two clients' command chains, posted as the server posts waiting calls, go out one whole chain
// after the other, while a reading posted in between is answered during the first chain.
TEST(TwoClients, CommandChainsNeverInterleaveOnTheWire) {
  test::InterfaceFixture f;
  auto a = f.NewInterface();
  ASSERT_TRUE(a->Connect());
  auto b = f.NewInterface();  // a second object: its creation closes the shared port, as it always has
  ASSERT_TRUE(b->Connect());
  f.loop.PumpFor(1500);
  size_t before = f.RequestCount();
  QRTXErrorConstants ra = gQRTXErrCommError, rb = gQRTXErrCommError;
  bool readDuringA = false;
  bool aRunning = false;
  f.loop.Post([&] { aRunning = true; ra = a->SaveCalibrationToFLASH(); aRunning = false; }, CallKind::CanWait);
  f.loop.Post([&] { rb = b->GetVehSimTestParameters(); }, CallKind::CanWait);
  f.loop.Post([&] { b->PrimarySpeedMPH(); readDuringA = aRunning; }, CallKind::NeverWaits);
  f.loop.PumpFor(10000);
  EXPECT_EQ(ra, gQRTXErrNoError);
  EXPECT_EQ(rb, gQRTXErrNoError);
  EXPECT_TRUE(readDuringA) << "a reading is served while a command waits";
  std::vector<std::string> chain;
  for (const auto& n : f.RequestNames(before)) {
    bool aPart = n.rfind("F0", 0) == 0;  // writes of 51, 52, 53, 98, 99
    bool bPart = n == "E202" || n == "E203" || n == "E204" || n == "E205" || n == "E212" || n == "E213" ||
                 n == "E214";
    if (aPart) chain.push_back("A");
    if (bPart) chain.push_back("B");
  }
  EXPECT_EQ(chain, (std::vector<std::string>{"A", "A", "A", "A", "A", "B", "B", "B", "B", "B", "B", "B"}));
}

// Within one chain nothing else reaches the wire: the poller stays suspended under the lock.
TEST(TwoClients, ThePollerIsHeldOffForAWholeChain) {
  test::InterfaceFixture f;
  auto a = f.NewInterface();
  ASSERT_TRUE(a->Connect());
  f.loop.PumpFor(1500);
  size_t before = f.RequestCount();
  ASSERT_EQ(a->GetVehSimTestParameters(), gQRTXErrNoError);
  std::vector<std::string> names = f.RequestNames(before);
  // Leading poller requests may finish first; after the first read, only the chain.
  auto first = std::find(names.begin(), names.end(), "E202");
  ASSERT_NE(first, names.end());
  std::vector<std::string> rest(first, names.end());
  EXPECT_EQ(rest, (std::vector<std::string>{"E202", "E205", "E204", "E203", "E212", "E213", "E214"}));
}

}  // namespace
}  // namespace tavkelo
