// A day on the line: the whole engine and the simulator on the virtual-time loop for 24 simulated
// hours, faults on about 1% of the frames, a hang-up every three hours with the automatic
// reconnect, tests and calibrations one after another and a client calling throughout. The run's
// figures are printed; TAVKELO_SOAK_HOURS shortens or lengthens it (2 hours by default under the
// sanitizers).

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "support/SoakDriver.hpp"

namespace tavkelo::test {
namespace {

#if defined(__SANITIZE_ADDRESS__)
// The sanitizers make the engine about ten times slower: two simulated hours take about as long
// as the day does without them.
constexpr double kDefaultHours = 2.0;
#else
constexpr double kDefaultHours = 24.0;
#endif

TEST(Soak, ADayOnTheLineKeepsEveryPromise) {
  SoakOptions options;
  options.hours = kDefaultHours;
  if (const char* hours = std::getenv("TAVKELO_SOAK_HOURS")) options.hours = std::atof(hours);
  ASSERT_GE(options.hours, 2.0) << "the memory comparison needs more than the first hour";
  const SoakFigures fig = RunSoak(options);
  std::cout << fig.Report();

  // The driver judges as it goes and records each breach: a call past its bound, a spoilt
  // exchange that moved other than its one counter (kind by kind, nothing when masked), a counter
  // move that no spoilt exchange or hang-up accounts for, a run closed without its reason.
  EXPECT_TRUE(fig.violations.empty())
      << fig.violations.size()
      << " breaches, the first: " << (fig.violations.empty() ? "" : fig.violations[0]);
  // The run did what it claims: faults of every kind, on about 1% of the frames; hang-ups each
  // followed by a reconnect; sequences both completed and aborted.
  for (int kind = 0; kind < kFaultKinds; ++kind) EXPECT_GT(fig.faultEvents[kind], 0u) << kind;
  const double faultShare = static_cast<double>(fig.faultyFrames) / static_cast<double>(fig.frames);
  EXPECT_GT(faultShare, 0.005);
  EXPECT_LT(faultShare, 0.02);
  EXPECT_GE(fig.hangUps, static_cast<uint64_t>(options.hours / options.hangUpEveryHours));
  EXPECT_EQ(fig.reconnects, fig.hangUps);
  EXPECT_EQ(fig.countersTotal[static_cast<size_t>(SoakCounter::CommEvent)],
            static_cast<int64_t>(fig.hangUps));
  EXPECT_EQ(fig.sequencesCompleted + fig.sequencesAborted + (fig.sequenceRunningAtEnd ? 1 : 0),
            fig.sequencesStarted);
  EXPECT_GT(fig.sequencesCompleted, 0u);
  EXPECT_GT(fig.sequencesAborted, 0u);
  EXPECT_GT(fig.commands, 0u);
  // Memory settles within the first hour: the end within 5% of it.
  EXPECT_LE(static_cast<double>(fig.memoryAtEnd), 1.05 * static_cast<double>(fig.memoryAtBaseline));
}

}  // namespace
}  // namespace tavkelo::test
