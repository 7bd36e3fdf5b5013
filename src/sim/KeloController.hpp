#pragma once
// A Kelo dyne controller seen from the wire. It serves the request/reply protocol on the device
// end of a serial channel, in the controller's own units, with the physics of DynePlant behind
// it, an operator surface (through Plant()) and injectable faults. It runs on the event loop:
// the physics advances on a loop timer in fixed steps, and replies go out on loop-timed calls,
// so it behaves the same in virtual and in real time.
//
// Replies: an action command and a good "Write Variable" get ACK; "Get Test Values", "Get Status"
// and "Get Variable" get a data frame, sent again whenever the host answers it with NAK. NAK
// refuses: an unknown command character, a frame that breaks the framing rules, a bad write
// checksum, an unknown variable number, a write to a read-only variable or (without write
// access) to a set-up variable, a value text that is not a number, and commands the machine
// cannot carry out now (see KeloController.cpp).

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/SerialChannel.hpp"
#include "runtime/EventLoop.hpp"
#include "runtime/LoopTimer.hpp"
#include "sim/DynePlant.hpp"
#include "sim/FaultInjector.hpp"
#include "sim/KeloSimOptions.hpp"
#include "sim/RequestFramer.hpp"
#include "sim/SetupMemory.hpp"

namespace tavkelo {

enum class ReplyKind { None, Ack, Nak, Data };

// One request frame as it arrived, and what the controller meant to answer (before any fault).
struct ReceivedRequest {
  int64_t atUs = 0;
  uint8_t command = 0;  // 0 when the frame broke before its command
  int variable = -1;
  std::string valueText;  // "Write Variable" only
  ReplyKind reply = ReplyKind::None;
};

// A request as its log shows it: the command letter, a variable's three digits, a written value
// ("D", "E001", "F000=4127.00", "5").
std::string RequestName(const ReceivedRequest& request);

struct ControllerCounters {
  uint64_t requests = 0;  // frames that got an answer decided (including refused ones)
  uint64_t acks = 0;
  uint64_t naks = 0;
  uint64_t dataFrames = 0;  // first sendings
  uint64_t resends = 0;     // data frames sent again after the host's NAK
  uint64_t hostAcks = 0;
  uint64_t hostNaks = 0;
  uint64_t dropped = 0;  // frames given up by the host part-way
};

class KeloController {
 public:
  explicit KeloController(EventLoop& loop, KeloSimOptions options = {});
  ~KeloController();
  KeloController(const KeloController&) = delete;
  KeloController& operator=(const KeloController&) = delete;

  // Serves the protocol on `channel` (opened here if it is not). One channel at a time; the
  // channel must stay alive until Detach (or the controller's end).
  void Attach(SerialChannel& channel);
  void Detach();
  bool Attached() const { return channel_ != nullptr; }
  // Called (from the loop) when the attached channel reports that the other end went away; the
  // controller has let go of the channel by then.
  void SetOnLineLost(std::function<void()> handler) { onLineLost_ = std::move(handler); }
  // Told of each request as it is logged.
  void SetOnRequest(std::function<void(const ReceivedRequest&)> handler) {
    onRequest_ = std::move(handler);
  }

  // A power cycle of the controller: the set-up memory, calibrations and everything physical
  // stay; modes, targets, stop watches, distance, write access and a pending reply are gone.
  void Restart();

  // ---- operator surface and physics, brought up to the loop's present ----
  DynePlant& Plant();
  SetupMemory& Setup() { return setup_; }
  FaultInjector& Faults() { return faults_; }
  void ScheduleFault(FaultKind kind, int count) { faults_.Schedule(kind, count); }

  // ---- inspection ----
  double SpeedMph() { return Plant().SpeedMph(); }
  uint16_t StatusWord() { return Plant().StatusWord(); }
  // The value "Get Variable" would carry, in controller units (the torque without noise).
  std::optional<double> VariableValue(uint8_t variable);
  bool WriteAccess() const { return writeAccess_; }
  const std::deque<ReceivedRequest>& Requests() const { return requests_; }
  const ControllerCounters& Counters() const { return counters_; }
  uint64_t SkippedBytes() const { return framer_.SkippedBytes(); }
  const KeloSimOptions& Options() const { return options_; }

 private:
  void OnComm(int16_t event);
  void OnFrame(const FramerEvent& event);
  void Answer(const FramerEvent& event);
  std::vector<uint8_t> Execute(const FramerEvent& event, ReplyKind& kind);
  bool ExecuteAction(uint8_t command);
  bool WriteVariable(int variable, const std::string& text);
  std::optional<double> ReadVariable(uint8_t variable, bool sample);
  // Sends the last data frame again, as one more reply.
  void Resend();
  // Puts a reply on the line with the faults planned for it.
  void SendReply(std::vector<uint8_t> bytes, bool dataFrame, const FaultPlan& plan);
  void Transmit(std::vector<uint8_t> bytes, int64_t delayUs);
  void Write(std::vector<uint8_t> bytes);
  void CancelPending();
  void LogRequest(const FramerEvent& event, ReplyKind kind);

  EventLoop& loop_;
  KeloSimOptions options_;
  SetupMemory setup_;
  DynePlant plant_;
  FaultInjector faults_;
  RequestFramer framer_;
  LoopTimer physicsTimer_;
  SerialChannel* channel_ = nullptr;
  std::function<void()> onLineLost_;

  bool writeAccess_ = false;
  bool awaitingHandshake_ = false;
  std::vector<uint8_t> lastFrame_;
  std::set<EventLoop::ScheduleId> pending_;
  std::deque<ReceivedRequest> requests_;
  std::function<void(const ReceivedRequest&)> onRequest_;
  ControllerCounters counters_;
};

}  // namespace tavkelo
