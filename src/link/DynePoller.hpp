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
  // Puts a request of the poller's cycle, or of the test or calibration step it runs, on the line;
  // the poller collects its reply on its next steps. Returns the put's result (6 for an invalid
  // command, which is not sent).
  int32_t SendDyneCommand(uint8_t command, uint8_t variable = 0, float value = 0.0f);
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
