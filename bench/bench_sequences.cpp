// Whole test sequences against the controller simulator on the virtual-time loop: how many
// simulated seconds one wall-clock second runs (the server, the line's byte timing and the
// simulator's physics steps all included). Logging is off, as in production with RawSetting 0.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/HostContext.hpp"
#include "link/KeloContext.hpp"
#include "platform/InProcessLine.hpp"
#include "platform/NamedSemaphore.hpp"
#include "runtime/VirtualTimeLoop.hpp"
#include "sequences/TestSequencer.hpp"
#include "sequences/modMath.hpp"
#include "sim/KeloController.hpp"
#include "support/TempDir.hpp"

namespace tavkelo {
namespace {

// One server process state, a line and a simulated controller in a scratch folder.
class BenchRig {
 public:
  BenchRig() {
    HostOptions options;
    options.programFilePath = folder_.MakeDir("bin") + "/TavKeloASM";
    options.instanceLockPath = folder_.File("TavKeloASM.lock");
    options.semaphoreSuffix =
        ".bench." + std::to_string(::getpid()) + "." + std::to_string(++instances_);
    options.echoNotices = false;
    host_ = std::make_unique<HostContext>(loop_, options);
    ctx_ = std::make_unique<KeloContext>(*host_);
    ctx_->params.InstallDefaults();
    sequencer_ = std::make_unique<TestSequencer>(*ctx_);
    line_ = std::make_unique<InProcessLine>(loop_, 9600);
    sim_ = std::make_unique<KeloController>(loop_);

    // Connected as the interface's Connect leaves the link.
    ctx_->comm.AttachPort(line_->HostPort());
    ctx_->comm.KeloComm()->Open();
    ctx_->polling.SetConnected(true);
    sim_->Attach(line_->DeviceEnd());
    for (uint8_t v : {var::VERSION, var::ROLLDIAMETER, var::BASEINERTIA}) {
      ctx_->polling.InterfaceKeloCommand(cmd::GetVariable, v, 0.0f);
    }
    float diameter = ctx_->store.RollDiameter;
    ctx_->store.TorqueSpeedFactor = modMath::TorqueSpeedFactor(diameter);
    ctx_->AcquireSemaphores();
    ctx_->InterfaceLock()->TryAcquire();
    ctx_->polling.SetReadingsActive(true);
    ctx_->polling.ResumeDyneReadings();
  }
  ~BenchRig() {
    const std::string suffix = host_->options.semaphoreSuffix;
    sim_.reset();
    sequencer_.reset();
    ctx_.reset();
    NamedSemaphore::Remove("KeloReadingsLock" + suffix);
    NamedSemaphore::Remove("KeloInterfaceLock" + suffix);
  }

  // Runs one whole test as StartTest starts it; returns the simulated seconds it took.
  double RunTest(int16_t index) {
    const SharedTestState& t = ctx_->test;
    if (!sequencer_->Start(index)) return 0.0;  // refused: the status stays "not run"
    const int64_t start = loop_.NowUs();
    while (t.CurTest != test::None && loop_.NowUs() - start < 1'000'000'000) loop_.PumpFor(1000);
    return static_cast<double>(loop_.NowUs() - start) / 1e6;
  }
  int16_t Status() const { return ctx_->test.LastTestCompletionStatus; }

 private:
  static inline int instances_ = 0;
  test::TempDir folder_;
  VirtualTimeLoop loop_;
  std::unique_ptr<HostContext> host_;
  std::unique_ptr<KeloContext> ctx_;
  std::unique_ptr<TestSequencer> sequencer_;
  std::unique_ptr<InProcessLine> line_;
  std::unique_ptr<KeloController> sim_;
};

void RunWholeTest(benchmark::State& state, int16_t index) {
  double simulated = 0.0;
  for (auto _ : state) {
    state.PauseTiming();
    auto rig = std::make_unique<BenchRig>();
    state.ResumeTiming();
    simulated += rig->RunTest(index);
    if (rig->Status() != ltcs::Completed) state.SkipWithError("the test did not complete");
    state.PauseTiming();
    rig.reset();
    state.ResumeTiming();
  }
  // Divided by the wall-clock time of the iterations: simulated seconds per real second.
  state.counters["sim_s_per_wall_s"] = benchmark::Counter(simulated, benchmark::Counter::kIsRate);
  state.counters["sim_s_per_test"] = simulated / static_cast<double>(state.iterations());
}

void BM_WholeParasiticsTest(benchmark::State& state) {
  RunWholeTest(state, test::Parasitics);
}
void BM_WholeCoastdownTest(benchmark::State& state) {
  RunWholeTest(state, test::Coastdown);
}

BENCHMARK(BM_WholeParasiticsTest)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_WholeCoastdownTest)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

// The console report, followed by the ratio to real time of each run in words.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      auto it = run.counters.find("sim_s_per_wall_s");
      if (it == run.counters.end()) continue;
      std::printf("%s: %.0fx real time (goal 500x)\n", run.benchmark_name().c_str(),
                  it->second.value);
    }
  }
};

}  // namespace
}  // namespace tavkelo

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  tavkelo::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
