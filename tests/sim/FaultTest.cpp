// Injected faults: scripted for the next replies, or random and reproducible from a seed.

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

const std::string kRest = DataFrame("0100000000000000");

TEST(SimFaults, EachScriptedFaultSpoilsTheNextReplyInItsOwnWay) {
  SimBench bench;
  auto faulted = [&](FaultKind kind, const std::string& request, uint32_t ms = 200) {
    bench.controller.ScheduleFault(kind, 1);
    return bench.Exchange(request, ms);
  };
  // A wrong checksum leaves STX, payload and ETB alone; the host's NAK brings the frame right.
  const std::string spoilt = faulted(FaultKind::WrongChecksum, Enquiry('D'));
  EXPECT_EQ(spoilt.substr(0, 18) + spoilt.substr(20), kRest.substr(0, 18) + "$");
  EXPECT_NE(spoilt, kRest);
  EXPECT_EQ(bench.Exchange(kNak), kRest);
  const std::string corrupt = faulted(FaultKind::CorruptByte, Enquiry('D'));
  ASSERT_EQ(corrupt.size(), kRest.size());
  EXPECT_EQ(std::inner_product(corrupt.begin(), corrupt.end(), kRest.begin(), 0, std::plus<>(),
                               std::not_equal_to<>()),
            1);
  EXPECT_EQ(faulted(FaultKind::LoseByte, Enquiry('D')).size(), kRest.size() - 1);
  bench.controller.ScheduleFault(FaultKind::LateReply, 1);
  EXPECT_EQ(bench.Exchange(Enquiry('D'), 300), "");
  EXPECT_EQ(bench.Receive(300), kRest);
  // Silence carries the request out without answering; a NAK refuses it instead.
  EXPECT_EQ(faulted(FaultKind::Silence, Action('J'), 1000), "");
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
  bench.controller.ScheduleFault(FaultKind::Nak, 2);
  EXPECT_EQ(bench.Exchange(Action('K')), kNak);
  EXPECT_EQ(bench.Exchange(Action('K')), kNak);
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
  EXPECT_EQ(bench.Exchange(Action('K')), kAck);
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Off);
}

// A fixed conversation under random faults and load-cell noise: what the host received.
struct Conversation {
  std::vector<std::string> received;
  std::vector<uint64_t> applied;
};
Conversation Converse(uint32_t seed) {
  KeloSimOptions options;
  options.faults = {.seed = seed,
                    .loseByte = 0.2,
                    .corruptByte = 0.2,
                    .lateReply = 0.2,
                    .wrongChecksum = 0.2,
                    .nak = 0.2,
                    .silence = 0.2,
                    .lateReplyUs = 150'000};
  options.physics.loadCell.noiseLbf = 0.5;
  options.physics.loadCell.noiseSeed = seed;
  SimBench bench(options);
  const std::string requests[] = {Enquiry('D'),
                                  Enquiry('C'),
                                  GetVariable("231"),
                                  Action('J'),
                                  WriteVariable("200", "20.0 mph"),
                                  GetVariable("  1")};
  Conversation c;
  for (int i = 0; i < 300; ++i) {
    c.received.push_back(bench.Exchange(requests[i % 6], 100));
    if (c.received.back().starts_with('\x02')) bench.Send(i % 5 == 0 ? kNak : kAck);
  }
  c.received.push_back(bench.Receive(500));
  for (int kind = 0; kind < kFaultKinds; ++kind)
    c.applied.push_back(bench.controller.Faults().Applied(FaultKind(kind)));
  return c;
}

TEST(SimFaults, TheSameSeedGivesTheSameFaultsAndAnotherSeedOthers) {
  const Conversation first = Converse(42);
  EXPECT_EQ(Converse(42).received, first.received);
  EXPECT_NE(Converse(43).received, first.received);
  // Every kind at about its rate; damage reaches only replies that are sent at all.
  for (int kind : {int(FaultKind::LateReply), int(FaultKind::Nak), int(FaultKind::Silence)}) {
    EXPECT_NEAR(first.applied[size_t(kind)] / 300.0, 0.2, 0.07) << kind;
  }
  for (int kind :
       {int(FaultKind::LoseByte), int(FaultKind::CorruptByte), int(FaultKind::WrongChecksum)}) {
    EXPECT_GT(first.applied[size_t(kind)], 300 * 0.05) << kind;
    EXPECT_LT(first.applied[size_t(kind)], 300 * 0.25) << kind;
  }
}

}  // namespace
}  // namespace tavkelo::test
