#pragma once
// The hidden communications form: it owns the serial port (KeloComm) and the two timers, the
// poller's tmrUpdateReadings and the 300 ms reply time-out tmrDyneRespTimeout, and handles their
// events: arriving bytes are gathered into the receive buffer until a reply is complete.

#include <cstdint>
#include <memory>
#include <string>

#include "platform/SerialChannel.hpp"
#include "runtime/LoopTimer.hpp"

namespace tavkelo {

class KeloContext;

class frmComm {
 public:
  static constexpr uint32_t kReplyTimeoutMs = 300;
  static constexpr uint32_t kPollIntervalMs = 1000;

  explicit frmComm(KeloContext& ctx);
  ~frmComm();

  // Loading and unloading the form (logged when logging is on at all).
  void Load();
  void Unload();
  bool Loaded() const { return loaded_; }

  // The serial port. A port is attached by the connection logic; nullptr until then.
  void AttachPort(std::unique_ptr<SerialChannel> port);
  SerialChannel* KeloComm() { return port_.get(); }
  bool PortOpen() const { return port_ != nullptr && port_->IsOpen(); }
  void ClosePort();

  LoopTimer tmrUpdateReadings;
  LoopTimer tmrDyneRespTimeout;

  void KeloComm_OnComm(int16_t event);
  void GatherDyneResponse();
  void tmrDyneRespTimeout_Timer();
  void tmrUpdateReadings_Timer();

 private:
  KeloContext& ctx_;
  std::unique_ptr<SerialChannel> port_;
  bool loaded_ = false;
};

// "EventFrame (0x03EC)" and the like: the name of a serial event and its code in hexadecimal.
std::string CommEventName(int16_t code);

}  // namespace tavkelo
