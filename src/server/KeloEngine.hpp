#pragma once
// The engine of one server process, assembled: the process-wide state and link (KeloContext),
// the test sequences and the calibration wizards, each installed on the poller. Every place that
// runs the whole engine (the server, the tests, the benchmarks) builds it here.

#include <memory>

#include "host/HostContext.hpp"
#include "host/modMain.hpp"
#include "link/KeloContext.hpp"
#include "sequences/TestSequencer.hpp"
#include "wizards/CalibrationSequencer.hpp"

namespace tavkelo {

class KeloEngine {
 public:
  explicit KeloEngine(HostContext& host);
  ~KeloEngine();
  KeloEngine(const KeloEngine&) = delete;
  KeloEngine& operator=(const KeloEngine&) = delete;

  KeloContext& Context() { return ctx_; }
  TestSequencer& Tests() { return tests_; }
  CalibrationSequencer& Calibrations() { return calibrations_; }
  // What start-up needs from the engine: the coastdown reload and the idle state.
  MainHooks StartupHooks();

 private:
  KeloContext ctx_;
  TestSequencer tests_;
  CalibrationSequencer calibrations_;
};

}  // namespace tavkelo
