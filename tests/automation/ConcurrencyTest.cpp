#include <gtest/gtest.h>

#include <regex>

#include "members/MemberTable.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

// Two client objects, both connected (a second object's creation closes the shared port, as it
// always has), and the poller running.
class TwoClients : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(a->Connect());
    b = f.NewInterface();
    ASSERT_TRUE(b->Connect());
    f.loop.PumpFor(1500);
  }
  test::InterfaceFixture f;
  std::unique_ptr<clsKeloInterface> a = f.NewInterface(), b;
};

// Two clients' command chains, posted as the server posts waiting calls, go out one whole chain
// after the other with nothing else between a chain's parts (the poller is held off), while a
// reading posted in between is answered during the first chain.
TEST_F(TwoClients, CommandChainsNeverInterleaveOnTheWire) {
  size_t before = f.RequestCount();
  QRTXErrorConstants ra = gQRTXErrCommError, rb = gQRTXErrCommError;
  bool readDuringA = false;
  bool aRunning = false;
  f.loop.Post(
      [&] {
        aRunning = true;
        ra = a->SaveCalibrationToFLASH();
        aRunning = false;
      },
      CallKind::CanWait);
  f.loop.Post([&] { rb = b->GetVehSimTestParameters(); }, CallKind::CanWait);
  f.loop.Post(
      [&] {
        b->PrimarySpeedMPH();
        readDuringA = aRunning;
      },
      CallKind::NeverWaits);
  f.loop.PumpFor(10000);
  EXPECT_EQ(ra, gQRTXErrNoError);
  EXPECT_EQ(rb, gQRTXErrNoError);
  EXPECT_TRUE(readDuringA) << "a reading is served while a command waits";
  std::string wire;  // a letter a request: A and B for the two chains' parts, "-" for anything else
  for (const auto& n : f.RequestNames(before)) {
    bool aPart = n.rfind("F0", 0) == 0;  // writes of 51, 52, 53, 98, 99
    bool bPart = n == "E202" || n == "E203" || n == "E204" || n == "E205" || n == "E212" ||
                 n == "E213" || n == "E214";
    wire += aPart ? 'A' : bPart ? 'B' : '-';
  }
  EXPECT_TRUE(std::regex_match(wire, std::regex("-*AAAAA-*BBBBBBB-*"))) << wire;
}

// A start that arrives while another client's disconnect waits on the wire is dispatched as the
// server dispatches it: it queues behind the disconnect instead of running inside its wait, finds
// the link closed, and leaves no test behind to hold later starts off.
TEST_F(TwoClients, AStartArrivingDuringADisconnectQueuesBehindIt) {
  const MemberInfo* start = FindMember("StartTest", MemberKind::Method);
  ASSERT_NE(start, nullptr);
  QRTXErrorConstants started = gQRTXErrNoError;
  f.loop.Post([&] { a->DisConnect(); }, CallKind::CanWait);
  f.loop.Post([&] { started = b->StartTest(gQRTXTIWarmup); },
              RunsAtTopLevel(*start) ? CallKind::CanWait : CallKind::NeverWaits);
  f.loop.PumpFor(5000);
  EXPECT_EQ(started, gQRTXErrNoLinkToDevice);
  EXPECT_EQ(b->CurTest(), gQRTXTINoTest);
  ASSERT_TRUE(b->Connect());
  f.loop.PumpFor(3000);
  EXPECT_EQ(b->CurTest(), gQRTXTINoTest) << "nothing resumes by itself on the next connect";
  EXPECT_EQ(b->StartTest(gQRTXTIWarmup), gQRTXErrNoError) << "a later start is not refused";
}

}  // namespace
}  // namespace tavkelo
