#pragma once
// The readings poller and the one synchronous command exchange. The poller sends one request per
// tick of tmrUpdateReadings and collects its reply on later ticks, giving the running test or
// calibration its step between replies. InterfaceKeloCommand sends one command and waits for its
// outcome while the loop keeps dispatching. The interface suspends the poller around every client
// command.

#include <cstdint>

namespace tavkelo {

class KeloContext;

// What the poller's next step does.
enum class PollState : int32_t {
  SendNext = 1,    // send the cycle's next request
  AwaitReply = 2,  // look at the outstanding request's reply
  AfterReply = 3,  // step the running test or calibration
};

class DynePoller {
 public:
  explicit DynePoller(KeloContext& ctx) : ctx_(ctx) {}

  // The link is open (from Connect to DisConnect).
  bool Connected() const { return p_.connected; }
  void SetConnected(bool connected) { p_.connected = connected; }
  // The poller cycles through its requests (the interface's AutoUpdateEnabled); when not, it
  // only serves the version request and the running sequence.
  bool ReadingsActive() const { return p_.readingsActive; }
  void SetReadingsActive(bool active) { p_.readingsActive = active; }
  // A new interface object's start: link closed, readings inactive, no suspend requested, not
  // busy, nothing in progress, the cycle back at its first request.
  void ResetLinkState();
  // A request of the poller's (or of the step it ran) is outstanding.
  bool CommandInProgress() const { return p_.commandInProgress; }
  // The poller runs; false once it has honoured a suspend.
  bool DyneReadingsBusy() const { return p_.DyneReadingsBusy; }

  void UpdateDyneReadings();
  int32_t InterfaceKeloCommand(int32_t command, uint8_t variable, float value);
  // Puts a request of the poller's cycle, or of the test or calibration step it runs, on the line;
  // the poller collects its reply on its next steps. Returns the put's result (6 for an invalid
  // command, which is not sent).
  int32_t SendDyneCommand(uint8_t command, uint8_t variable = 0, float value = 0.0f);
  void SuspendDyneReadings();
  void ResumeDyneReadings();

 private:
  struct PollerState {
    PollState pollState = PollState::SendNext;
    int16_t cycleIndex = 0;          // "DIS": the request within the cycle, 0 to 3
    int16_t slowIndex = 0;           // "DISS": which slow variable the cycle reads, 0 to 5
    bool commandInProgress = false;  // "CIP": a request is outstanding
    int32_t cycleStart = 0;          // tick count when the cycle began
    int32_t cycleTime = 0;           // milliseconds the last cycle took
    int32_t lastStatusTime = 0;      // tick count of the last "D" put on the line
    bool connected = false;
    bool readingsActive = false;
    bool suspendRequested = false;  // "DRSR": SuspendDyneReadings waits for the poller
    bool DyneReadingsBusy = false;
  };

  // Stage 1400 and on: one step of the poll state machine; `stage` follows its progress.
  void Step(int& stage);
  int32_t SendCycleRequest(int& stage);
  void Rearm();

  KeloContext& ctx_;
  PollerState p_;
};

}  // namespace tavkelo
