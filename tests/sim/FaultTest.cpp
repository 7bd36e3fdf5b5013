// Injected faults: scripted for the next replies, or random and reproducible from a seed.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SimBench.hpp"

namespace tavkelo::test {
namespace {

const std::string kRestStatus = DataFrame("0100000000000000");

size_t DifferingBytes(const std::string& a, const std::string& b) {
  size_t n = 0;
  for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) n += a[i] != b[i];
  return n + (a.size() > b.size() ? a.size() - b.size() : b.size() - a.size());
}

TEST(SimFaults, AWrongChecksumSpoilsOnlyTheChecksumOfTheNextDataFrame) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::WrongChecksum, 1);
  const std::string spoilt = bench.Exchange(Enquiry('D'));
  ASSERT_EQ(spoilt.size(), kRestStatus.size());
  EXPECT_EQ(spoilt.substr(0, 18), kRestStatus.substr(0, 18));  // STX, payload, ETB intact
  EXPECT_NE(spoilt, kRestStatus);
  EXPECT_EQ(spoilt.back(), '$');
  // The host's NAK brings the frame again, this time right.
  EXPECT_EQ(bench.Exchange(kNak), kRestStatus);
}

TEST(SimFaults, SilenceCarriesTheRequestOutWithoutAnswering) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::Silence, 1);
  EXPECT_EQ(bench.Exchange(Action('J'), 1000), "");
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
  EXPECT_EQ(bench.Exchange(Action('K')), kAck);
}

TEST(SimFaults, ANakRefusesTheRequestInsteadOfCarryingItOut) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::Nak, 1);
  EXPECT_EQ(bench.Exchange(Action('J')), kNak);
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Off);
  EXPECT_EQ(bench.Exchange(Action('J')), kAck);
  EXPECT_EQ(bench.controller.Plant().Mode(), MachineMode::Motor);
}

TEST(SimFaults, ALateReplyComesAfterTheHostsTimeout) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::LateReply, 1);
  bench.Send(Enquiry('D'));
  EXPECT_EQ(bench.Receive(300), "");
  EXPECT_EQ(bench.Receive(300), kRestStatus);
  EXPECT_EQ(bench.controller.Faults().Applied(FaultKind::LateReply), 1u);
}

TEST(SimFaults, ALostByteShortensTheReplyByOne) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::LoseByte, 1);
  const std::string reply = bench.Exchange(Enquiry('D'));
  EXPECT_EQ(reply.size(), kRestStatus.size() - 1);
  EXPECT_NE(kRestStatus.find(reply.substr(0, 1)), std::string::npos);
}

TEST(SimFaults, ACorruptedByteChangesExactlyOneByte) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::CorruptByte, 1);
  EXPECT_EQ(DifferingBytes(bench.Exchange(Enquiry('D')), kRestStatus), 1u);
}

TEST(SimFaults, AScriptedFaultCoversTheNextRepliesAndThenStops) {
  SimBench bench;
  bench.controller.ScheduleFault(FaultKind::Nak, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(bench.Exchange(Action('9')), kNak) << i;
  EXPECT_EQ(bench.Exchange(Action('9')), kAck);
  EXPECT_EQ(bench.controller.Faults().Applied(FaultKind::Nak), 3u);
}

// A fixed conversation under random faults; what the host received, reply by reply.
std::vector<std::string> Conversation(uint32_t seed) {
  KeloSimOptions options;
  options.faults.seed = seed;
  options.faults.loseByte = 0.1;
  options.faults.corruptByte = 0.1;
  options.faults.lateReply = 0.1;
  options.faults.wrongChecksum = 0.1;
  options.faults.nak = 0.1;
  options.faults.silence = 0.1;
  options.faults.lateReplyUs = 150'000;
  SimBench bench(options);
  const std::string requests[] = {Enquiry('D'), Enquiry('C'), GetVariable("209"), Action('J'),
                                  WriteVariable("200", "20.0 mph"), GetVariable("  1")};
  std::vector<std::string> received;
  for (int i = 0; i < 120; ++i) {
    received.push_back(bench.Exchange(requests[i % 6], 100));
    if (!received.back().empty() && received.back()[0] == '\x02') bench.Send(i % 5 == 0 ? kNak : kAck);
  }
  received.push_back(bench.Receive(500));
  return received;
}

TEST(SimFaults, TheSameSeedGivesTheSameFaultsAndAnotherSeedOthers) {
  const auto first = Conversation(42);
  EXPECT_EQ(Conversation(42), first);
  EXPECT_NE(Conversation(43), first);

  // And faults did happen in it.
  size_t clean = 0;
  for (const std::string& r : first) clean += r == kAck || (r.size() > 4 && r.back() == '$');
  EXPECT_LT(clean, first.size());
}

TEST(SimFaults, EveryKindOccursAtItsRate) {
  KeloSimOptions options;
  options.faults.seed = 5;
  options.faults.loseByte = 0.2;
  options.faults.corruptByte = 0.2;
  options.faults.lateReply = 0.2;
  options.faults.wrongChecksum = 0.2;
  options.faults.nak = 0.2;
  options.faults.silence = 0.2;
  options.faults.lateReplyUs = 10'000;
  SimBench bench(options);
  const int n = 500;
  for (int i = 0; i < n; ++i) bench.Exchange(Enquiry('D'), 60);
  const FaultInjector& faults = bench.controller.Faults();
  for (FaultKind kind : {FaultKind::LateReply, FaultKind::Nak, FaultKind::Silence}) {
    EXPECT_NEAR(static_cast<double>(faults.Applied(kind)) / n, 0.2, 0.06) << static_cast<int>(kind);
  }
  // Damage only reaches replies that are sent at all, and a checksum only data frames.
  for (FaultKind kind : {FaultKind::LoseByte, FaultKind::CorruptByte, FaultKind::WrongChecksum}) {
    EXPECT_GT(faults.Applied(kind), static_cast<uint64_t>(n * 0.08)) << static_cast<int>(kind);
    EXPECT_LT(faults.Applied(kind), static_cast<uint64_t>(n * 0.25)) << static_cast<int>(kind);
  }
}

}  // namespace
}  // namespace tavkelo::test
