#include "link/LinkRecovery.hpp"

#include "link/KeloContext.hpp"

namespace tavkelo {

LinkRecovery::LinkRecovery(KeloContext& ctx) : ctx_(ctx) {}

LinkRecovery::~LinkRecovery() {
  if (timer_ != 0) ctx_.loop.Cancel(timer_);
}

void LinkRecovery::SetEnabled(bool enabled) {
  enabled_ = enabled;
  if (!enabled_) Cancel();
}

void LinkRecovery::Remember(const void* owner, std::function<bool()> reconnect) {
  owner_ = owner;
  reconnect_ = std::move(reconnect);
}

void LinkRecovery::Forget(const void* owner) {
  if (owner != owner_) return;
  owner_ = nullptr;
  reconnect_ = nullptr;
  Cancel();
}

void LinkRecovery::Cancel() {
  if (timer_ != 0) ctx_.loop.Cancel(timer_);
  timer_ = 0;
  ++*generation_;
  if (reconnecting_ && !trying_) ctx_.log.WriteLog("LinkRecovery - reconnecting given up");
  reconnecting_ = false;
  attempt_ = 0;
}

int LinkRecovery::BackoffSeconds(int attempt) {
  int seconds = 1;
  for (int i = 1; i < attempt && seconds < kMaxBackoffSeconds; ++i) seconds *= 2;
  return seconds < kMaxBackoffSeconds ? seconds : kMaxBackoffSeconds;
}

void LinkRecovery::LineLost() {
  if (!enabled_ || !reconnect_ || reconnecting_ || !ctx_.polling.Connected()) return;
  reconnecting_ = true;
  attempt_ = 1;
  std::string port = ctx_.comm.KeloComm() != nullptr ? ctx_.comm.KeloComm()->Name() : "";
  ctx_.log.WriteLog("LinkRecovery - link lost on '" + port + "', reconnecting");
  // A run cannot go on without its readings: it is stopped and ends aborted, never resumed.
  if (ctx_.test.CurTest != test::None && ctx_.tests != nullptr && ctx_.tests->RequestStop()) {
    ctx_.log.WriteLog("LinkRecovery - link lost: test " + std::to_string(ctx_.test.CurTest) +
                      " aborted");
  }
  if (ctx_.test.CurCalibration != calibration::None && ctx_.calibrations != nullptr &&
      ctx_.calibrations->RequestStop()) {
    ctx_.log.WriteLog("LinkRecovery - link lost: calibration " +
                      std::to_string(ctx_.test.CurCalibration) + " aborted");
  }
  Schedule();
}

void LinkRecovery::Schedule() {
  const int64_t delayUs = static_cast<int64_t>(BackoffSeconds(attempt_)) * 1'000'000;
  nextAttemptUs_ = ctx_.loop.NowUs() + delayUs;
  timer_ = ctx_.loop.CallAfterUs(delayUs, [this] { Due(); });
}

void LinkRecovery::Due() {
  timer_ = 0;
  // The attempt connects, which waits: it runs at the loop's top level like a client's Connect,
  // in turn with the clients' calls.
  std::weak_ptr<uint64_t> current = generation_;
  ctx_.loop.Post(
      [this, current, generation = *generation_] {
        auto live = current.lock();
        if (live && *live == generation) Try();
      },
      CallKind::CanWait);
}

void LinkRecovery::Try() {
  if (!reconnecting_ || !reconnect_) return;
  ++attemptsMade_;
  trying_ = true;
  ctx_.log.WriteLog("LinkRecovery - reconnect attempt " + std::to_string(attempt_));
  std::function<bool()> reconnect = reconnect_;
  const bool ok = reconnect();
  trying_ = false;
  if (!reconnecting_) return;  // cancelled inside the attempt
  if (ok) {
    ++restored_;
    ctx_.log.WriteLog("LinkRecovery - link restored at attempt " + std::to_string(attempt_));
    reconnecting_ = false;
    attempt_ = 0;
    return;
  }
  ++attempt_;
  Schedule();
}

int LinkRecovery::NextInSeconds() const {
  if (!reconnecting_ || timer_ == 0) return 0;
  const int64_t left = nextAttemptUs_ - ctx_.loop.NowUs();
  return left <= 0 ? 0 : static_cast<int>((left + 999'999) / 1'000'000);
}

std::string LinkRecovery::StatusText() const {
  if (!reconnecting_) return "";
  return "link lost, reconnecting (attempt " + std::to_string(attempt_) + ", next in " +
         std::to_string(NextInSeconds()) + " s)";
}

}  // namespace tavkelo
