#pragma once
// A long run of the whole engine against the simulator on the virtual-time loop: faults on the
// line, hang-ups with the automatic reconnect, tests and calibrations started one after another,
// and a client calling commands and reading properties throughout. Shared by the soak test (one
// simulated day) and the soak benchmark (a simulated week); the run collects its figures and
// every breach of what the link and the sequences promise, and the caller judges them.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/FaultInjector.hpp"

namespace tavkelo::test {

struct SoakOptions {
  double hours = 24.0;
  uint32_t seed = 20261125;
  // Chance that an exchange is spoilt from its first reply to its end. An exchange spoilt this
  // way sees about two and a half faulty replies on average, so 0.4% of exchanges puts faults on
  // about 1% of the frames.
  double faultPerExchange = 0.004;
  double hangUpEveryHours = 3.0;
  double outageSeconds = 20.0;
  // Where the resident memory is taken as the baseline for the comparison at the end.
  double baselineHours = 1.0;
};

// The link's counters in one array, in this order.
enum class SoakCounter { Device, Checksum, Timeout, Nak, Parse, CommEvent };
inline constexpr int kSoakCounters = 6;
using CounterArray = std::array<int64_t, kSoakCounters>;
const char* SoakCounterName(int counter);

struct SoakFigures {
  double simulatedHours = 0.0;
  uint64_t frames = 0;        // replies the controller decided (first sendings and resends)
  uint64_t exchanges = 0;     // exchanges the link finished
  uint64_t faultyFrames = 0;  // replies the injector spoilt
  std::array<uint64_t, kFaultKinds> faultEvents{};    // spoilt exchanges by fault kind
  std::array<uint64_t, kFaultKinds> faultsApplied{};  // spoilt replies by fault kind
  std::array<uint64_t, kFaultKinds> faultsMasked{};   // spoilt exchanges that may move nothing
  // Counter moves by the fault kind of the exchange that moved them; and those of the hang-ups.
  std::array<CounterArray, kFaultKinds> countersByFault{};
  CounterArray countersByHangUps{};
  CounterArray countersTotal{};
  uint64_t hangUps = 0, reconnects = 0;
  uint64_t sequencesStarted = 0, sequencesCompleted = 0, sequencesAborted = 0;
  uint64_t sequencesStalled = 0;  // still going after 15 minutes, stopped by the client
  uint64_t startsRefused = 0;
  bool sequenceRunningAtEnd = false;  // starts the engine refused (tried again 10 s later)
  uint64_t commands = 0, properties = 0;
  int64_t worstCommandUs = 0, worstPropertyUs = 0;
  std::string worstCommand;
  // Bytes, taken with the station idle: after the first baselineHours, and at the end.
  double baselineHours = 0.0;
  uint64_t memoryAtBaseline = 0, memoryAtEnd = 0;
  bool memoryIsHeap = false;  // under AddressSanitizer: live heap bytes instead of resident memory
  std::vector<std::string> violations;

  std::string Report() const;
};

// The time any one public call may take: the wait for the poller's exchange to end (20 s at
// most) and the call's own exchange at its worst (two resends after a reply time of 300 ms and a
// pause of up to 500 ms each, two NAK rounds of 300 ms, the last reply time: 3.1 s), rounded up.
inline constexpr int64_t kCallBoundUs = 24'000'000;

SoakFigures RunSoak(const SoakOptions& options);

}  // namespace tavkelo::test
