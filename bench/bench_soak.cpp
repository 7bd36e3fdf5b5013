// A week on the line: the soak of the test suite (tests/soak) run for 7 simulated days, printing
// the same figures, with the wall-clock time it took. TAVKELO_SOAK_HOURS changes the length.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "support/SoakDriver.hpp"

namespace tavkelo::test {
namespace {

void BM_SoakWeek(benchmark::State& state) {
  SoakOptions options;
  options.hours = 7 * 24.0;
  if (const char* hours = std::getenv("TAVKELO_SOAK_HOURS")) options.hours = std::atof(hours);
  for (auto _ : state) {
    const SoakFigures fig = RunSoak(options);
    std::printf("%s", fig.Report().c_str());
    state.counters["sim_hours"] = fig.simulatedHours;
    state.counters["frames"] = static_cast<double>(fig.frames);
    state.counters["breaches"] = static_cast<double>(fig.violations.size());
    state.counters["mem_growth_pct"] =
        100.0 * (static_cast<double>(fig.memoryAtEnd) - static_cast<double>(fig.memoryAtBaseline)) /
        static_cast<double>(fig.memoryAtBaseline);
  }
}
BENCHMARK(BM_SoakWeek)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
}  // namespace tavkelo::test

BENCHMARK_MAIN();
