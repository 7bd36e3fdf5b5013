#pragma once
// Owns the test sequences of one process and hands the poller's step to the one that runs:
// CurTest 1 warm-up, 2 parasitic loss, 3 coastdown, 4 to 6 the target-controlled tests. A test is
// started and asked to stop here only. It also provides what start-up needs from the sequences:
// the reload of the stored coastdown results and the idle state of the shared test state.

#include <cstdint>

#include "host/modMain.hpp"
#include "link/RunControl.hpp"
#include "link/RunObserver.hpp"
#include "sequences/CoastdownResultsStore.hpp"
#include "sequences/CoastdownTest.hpp"
#include "sequences/DyneSleepSequence.hpp"
#include "sequences/ParasiticsTest.hpp"
#include "sequences/TargetTest.hpp"
#include "sequences/WarmupTest.hpp"

namespace tavkelo {

class KeloContext;

class TestSequencer final : public TestControl {
 public:
  // Installs itself as ctx.tests, with ctx.runTestStep and ctx.loadCoastdownResults; the
  // destructor removes them again.
  explicit TestSequencer(KeloContext& ctx);
  ~TestSequencer();
  TestSequencer(const TestSequencer&) = delete;
  TestSequencer& operator=(const TestSequencer&) = delete;

  // Starts test `index` (not range-checked: an index without a sequence ends at its first step as
  // aborted) and turns the readings on, since the poller steps the test. Refused while the last
  // run is in progress, a test, PutDyneToSleep or a calibration runs, the motor is on, the lifts
  // are up or the dyne reports an error.
  bool Start(int16_t index) override;
  // The stop request, which warm-up, parasitics and coastdown take through their closing stages
  // and a target test at its next step. Switching a target test's regulation off is the caller's.
  bool RequestStop() override;

  // One step of the test `curTest` (the poller's call).
  void RunTestStep(int16_t curTest);

  WarmupTest& Warmup() { return warmup_; }
  ParasiticsTest& Parasitics() { return parasitics_; }
  CoastdownTest& Coastdown() { return coastdown_; }
  TargetTest& Target() { return target_; }
  DyneSleepSequence& Sleep() { return sleep_; }
  CoastdownResultsStore& CoastdownResults() { return coastdownResults_; }

  // The start-up hooks: coastdown reload (returning the two window dates) and idle state.
  static MainHooks StartupHooks(KeloContext& ctx);
  // The idle values of the shared test state: no test, PutDyneToSleep and the calibration
  // sequence finished, no peak sample yet, the test dates at the present.
  static void EnterIdleState(KeloContext& ctx);

 private:
  KeloContext& ctx_;
  DyneSleepSequence sleep_;
  WarmupTest warmup_;
  ParasiticsTest parasitics_;
  CoastdownTest coastdown_;
  TargetTest target_;
  CoastdownResultsStore coastdownResults_;
  // The parameters in force for test `index` and the results it left, as the run observer gets
  // them.
  RunValues Parameters(int16_t index) const;
  RunValues Results(int16_t index) const;

  // The observer told of the running test's start (nullptr: none, or no test runs).
  RunObserver* observed_ = nullptr;
  int64_t startUs_ = 0;
  // The test that was stepped last and has not finished yet (0 none): a different index means
  // that a new run has started.
  int16_t running_ = 0;
};

}  // namespace tavkelo
