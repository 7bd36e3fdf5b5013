#pragma once
// The readings poller and the one synchronous command exchange. The poller sends one request per
// tick of tmrUpdateReadings and collects its reply on later ticks, giving the running test or
// calibration its step between replies. InterfaceKeloCommand sends one command and waits for its
// outcome while the loop keeps dispatching. The interface suspends the poller around every client
// command.

#include <cstdint>

namespace tavkelo {

class KeloContext;

class DynePoller {
 public:
  explicit DynePoller(KeloContext& ctx) : ctx_(ctx) {}

  void UpdateDyneReadings();
  int32_t InterfaceKeloCommand(int32_t command, uint8_t variable, float value);
  void SuspendDyneReadings();
  void ResumeDyneReadings();

 private:
  // Stage 1400 and on: one step of the poll state machine; `stage` follows its progress.
  void Step(int& stage);
  int32_t SendCycleRequest(int& stage);
  void Rearm();

  KeloContext& ctx_;
};

}  // namespace tavkelo
