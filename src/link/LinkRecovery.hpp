#pragma once
// Reconnecting after the device went away. When the port closes under a connected link (a pty
// hangs up, a device server drops the connection, an adapter is unplugged), the moment of failure
// stays as it is (the serial event, its counter and log line, exchanges failing), then the port is
// opened again and the object that had connected runs its connect handshake again, after 1, 2, 4,
// 8, 16 and then every 30 seconds of loop time, until it succeeds or that object disconnects. A
// test or calibration that was running is asked to stop at once; its steps wait while the link is
// away (the poller does not run them) and its closing steps run on the restored link, so it ends
// aborted with the dyne brought to rest; it is never resumed.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "runtime/EventLoop.hpp"

namespace tavkelo {

class KeloContext;

class LinkRecovery {
 public:
  static constexpr int kMaxBackoffSeconds = 30;

  explicit LinkRecovery(KeloContext& ctx);
  ~LinkRecovery();
  LinkRecovery(const LinkRecovery&) = delete;
  LinkRecovery& operator=(const LinkRecovery&) = delete;

  // Off: a lost line stays lost until a client calls Connect (--no-reconnect).
  void SetEnabled(bool enabled);
  bool Enabled() const { return enabled_; }

  // The object whose Connect succeeded, and how to connect it again (its Connect). Forget stops
  // any attempts when that object disconnects or goes away; Cancel stops them whoever owns them.
  void Remember(const void* owner, std::function<bool()> reconnect);
  void Forget(const void* owner);
  void Cancel();

  // The port closed under the link (the serial control's EventDCB).
  void LineLost();

  // While reconnecting: the number of the next attempt and the loop time it is due.
  bool Reconnecting() const { return reconnecting_; }
  int Attempt() const { return attempt_; }
  int64_t NextAttemptUs() const { return nextAttemptUs_; }
  // Whole seconds to the next attempt (rounded up), 0 while one runs.
  int NextInSeconds() const;
  // "link lost, reconnecting (attempt N, next in S s)", or "" when the link is not being
  // recovered.
  std::string StatusText() const;
  // Attempts made and links restored since the start.
  int64_t Attempts() const { return attemptsMade_; }
  int64_t Restored() const { return restored_; }

  // Seconds before attempt n (1-based): 1, 2, 4, 8, 16, then 30.
  static int BackoffSeconds(int attempt);

 private:
  void Schedule();
  void Due();
  void Try();

  KeloContext& ctx_;
  bool enabled_ = false;
  const void* owner_ = nullptr;
  std::function<bool()> reconnect_;
  bool reconnecting_ = false;
  bool trying_ = false;
  int attempt_ = 0;
  int64_t nextAttemptUs_ = 0;
  EventLoop::ScheduleId timer_ = 0;
  // A posted attempt of an older outage, or of a recovery that is gone, does nothing.
  std::shared_ptr<uint64_t> generation_ = std::make_shared<uint64_t>(0);
  int64_t attemptsMade_ = 0;
  int64_t restored_ = 0;
};

}  // namespace tavkelo
