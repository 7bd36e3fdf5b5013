// The link's speed: request frames built and replies parsed per second, and the latency the
// link's own code adds to an exchange in continuous polling on the in-process 9600-baud line.
//
// The latency comparison runs the same continuous polling twice against the in-process
// simulator: once in virtual time, where the code costs nothing and an exchange takes exactly
// what the line's bytes, the controller's turnaround and the designed timer intervals allow, and
// once in real time, where the code's own time is added. The ratio of the two is what the code
// adds.
//
//   build/default/bench/bench_link

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/HostContext.hpp"
#include "link/DyneReplyFrame.hpp"
#include "link/DyneRequestFrame.hpp"
#include "link/DyneUnits.hpp"
#include "link/KeloContext.hpp"
#include "platform/InProcessLine.hpp"
#include "runtime/RealTimeLoop.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "sim/KeloController.hpp"

namespace tavkelo {
namespace {

HostOptions QuietHost() {
  HostOptions options;
  options.programFilePath = "/tmp/tavkelo-bench/TavKeloASM";
  options.semaphoreSuffix = ".bench." + std::to_string(::getpid());
  options.echoNotices = false;
  return options;
}

// A frame as the exchange builds it: the value of a write converted into the controller's units,
// then encoded.
void BM_BuildFrame(benchmark::State& state, uint8_t command, uint8_t variable, float value) {
  const float rollFactor = 133.67f;
  for (auto _ : state) {
    float controllerValue = 0.0f;
    if (command == cmd::WriteVariable) {
      controllerValue =
          ShiftNegativeForController(variable, ToControllerUnits(variable, value, rollFactor));
    }
    RequestFrame frame = EncodeRequest(command, variable, controllerValue, RequestOptions{true});
    benchmark::DoNotOptimize(frame.bytes.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(BM_BuildFrame, GetStatus, 'D', 0, 0.0f);
BENCHMARK_CAPTURE(BM_BuildFrame, GetVariable, 'E', 209, 0.0f);
BENCHMARK_CAPTURE(BM_BuildFrame, WriteVariable, 'F', 201, 90.0f);

std::vector<uint8_t> Reply(const std::string& payload) {
  std::string frame = "\x02" + payload + "\x17" + "00$";
  return std::vector<uint8_t>(frame.begin(), frame.end());
}

// Test values parsed and converted into the client's units, as the exchange stores them.
void BM_ParseTestValues(benchmark::State& state) {
  const std::vector<uint8_t> reply = Reply(" 211=12.3 Hp\r 231=456.7 lbf\r 209=28.4 mph\r");
  for (auto _ : state) {
    VariableReply parsed = ParseVariableReply(reply.data(), reply.size());
    for (size_t i = 0; i < parsed.groupCount; ++i) {
      const ReplyGroup& g = parsed.groups[i];
      benchmark::DoNotOptimize(ToClientUnits(g.variable, g.controllerValue, 133.67f));
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ParseTestValues);

void BM_ParseStatus(benchmark::State& state) {
  const std::vector<uint8_t> reply = Reply("0100000000000001");
  for (auto _ : state) benchmark::DoNotOptimize(ParseStatusReply(reply.data(), reply.size()));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ParseStatus);

// Continuous polling for `polls` exchanges; returns the loop time per exchange in microseconds.
double PollingTimePerExchange(EventLoop& loop, int exchanges) {
  HostContext host(loop, QuietHost());
  KeloContext ctx(host);
  InProcessLine line(loop, 9600);
  KeloController sim(loop);
  sim.Attach(line.DeviceEnd());
  sim.Plant().DriveVehicleAtSpeed(
      25.0);  // turning with the motor off: the poller runs continuously
  ctx.comm.AttachPort(line.HostPort());
  ctx.comm.KeloComm()->Open();
  ctx.polling.SetConnected(true);
  ctx.polling.SetReadingsActive(true);
  ctx.store.DyneVersion = 3.12f;
  ctx.store.DyneSpeed = 25.0f;
  ctx.polling.ResumeDyneReadings();
  // Let the rolls reach their speed and the status copy show the motor off.
  loop.PumpUntil([&] { return ctx.store.StatusReplyCount > 2 && ctx.store.DyneSpeed > 20.0f; },
                 60'000);
  uint64_t before = sim.Counters().requests;
  int64_t start = loop.NowUs();
  loop.PumpUntil(
      [&] { return sim.Counters().requests >= before + static_cast<uint64_t>(exchanges); },
      600'000);
  double perExchange = static_cast<double>(loop.NowUs() - start) /
                       static_cast<double>(sim.Counters().requests - before);
  ctx.comm.tmrUpdateReadings.SetEnabled(false);
  NamedSemaphore::Remove(ctx.SemaphoreName("KeloReadingsLock"));
  NamedSemaphore::Remove(ctx.SemaphoreName("KeloInterfaceLock"));
  return perExchange;
}

void ReportAddedLatency() {
  const int exchanges = 400;
  VirtualTimeLoop virtualLoop;
  double designed = PollingTimePerExchange(virtualLoop, exchanges);
  RealTimeLoop realLoop;
  double measured = PollingTimePerExchange(realLoop, exchanges);
  std::printf("continuous polling, %d exchanges on the in-process 9600-baud line:\n", exchanges);
  std::printf(
      "  designed (line bytes + turnaround + timer intervals, virtual time): %8.3f ms per "
      "exchange\n",
      designed / 1000.0);
  std::printf(
      "  measured (real time, this machine):                               %8.3f ms per exchange\n",
      measured / 1000.0);
  std::printf("  the link's code adds %.2f%% (goal: under 2%%)\n\n",
              (measured / designed - 1.0) * 100.0);
}

}  // namespace
}  // namespace tavkelo

int main(int argc, char** argv) {
  tavkelo::ReportAddedLatency();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
