#pragma once
// The process-wide state of one server process and the procedures of the link that work on it.
// Every clsKeloInterface object of the process shares it, so two clients see one link, one
// readings store and one running test.

#include <functional>
#include <memory>
#include <string>

#include "host/HostContext.hpp"
#include "link/DyneExchange.hpp"
#include "link/DynePoller.hpp"
#include "link/DyneReadings.hpp"
#include "link/LinkRecovery.hpp"
#include "link/ReadingsStore.hpp"
#include "link/RunControl.hpp"
#include "link/RunObserver.hpp"
#include "link/SharedTestState.hpp"
#include "link/TestParameters.hpp"
#include "link/TestResults.hpp"
#include "link/frmComm.hpp"
#include "platform/NamedSemaphore.hpp"
#include "platform/SerialChannel.hpp"

namespace tavkelo {

class KeloContext {
 public:
  explicit KeloContext(HostContext& host);
  ~KeloContext();
  KeloContext(const KeloContext&) = delete;
  KeloContext& operator=(const KeloContext&) = delete;

  HostContext& host;
  EventLoop& loop;
  DiagnosticLog& log;

  ReadingsStore store;
  SharedTestState test;
  TestParameters params;
  TestResults results;

  frmComm comm;
  DyneExchange exchange;
  DyneReadings readings;
  DynePoller polling;
  LinkRecovery recovery;

  // The step routines of the test sequences and calibration wizards, called by the poller after
  // each completed exchange while CurTest or CurCalibration is not 0.
  std::function<void(int16_t curTest)> runTestStep;
  std::function<void(int32_t curCalibration)> runCalibrationStep;
  // Where a test and a calibration are started and asked to stop, installed by the sequencers.
  TestControl* tests = nullptr;
  CalibrationControl* calibrations = nullptr;
  // Called by the poller each time a full cycle of requests has been answered.
  std::function<void()> onPollCycle;
  // Called when an exchange is finished: its result (0 success) and the microseconds from its
  // request's first frame on the line to the end, resends included.
  std::function<void(int32_t result, int64_t elapsedUs)> onExchangeDone;
  // Told of every test and calibration run by the sequencers (the history's recorder); may be
  // nullptr.
  RunObserver* runObserver = nullptr;
  // Asked before a target-controlled test starts: a non-empty answer refuses the start and says
  // why (the calibration schedule's lock-out).
  std::function<std::string(int16_t test)> startRefusal;
  // Reloads the stored coastdown results from the INI file into `results`.
  std::function<void()> loadCoastdownResults;

  // Turns a client's port number (1 = COM1) into a serial port; nullptr when there is none.
  using PortOpener = std::function<std::unique_ptr<SerialChannel>(int16_t port)>;
  PortOpener openPort;

  // The two named semaphores, shared with other processes; created (or opened) by the first
  // interface object and closed with the last.
  void AcquireSemaphores();
  void ReleaseSemaphores();
  NamedSemaphore* ReadingsLock() { return readingsLock_.get(); }
  NamedSemaphore* InterfaceLock() { return interfaceLock_.get(); }
  std::string SemaphoreName(const std::string& base) const;

  // Current tick count as the signed 32-bit value the procedures keep.
  int32_t Tick() const { return static_cast<int32_t>(loop.TickCount()); }

 private:
  std::unique_ptr<NamedSemaphore> readingsLock_;
  std::unique_ptr<NamedSemaphore> interfaceLock_;
  int semaphoreUsers_ = 0;
};

// The default port map: port N is /dev/ttyS{N-1}.
std::unique_ptr<SerialChannel> OpenDefaultPort(EventLoop& loop, int16_t port);

}  // namespace tavkelo
