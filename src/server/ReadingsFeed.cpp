#include "server/ReadingsFeed.hpp"

#include <chrono>
#include <cstdlib>

#include "link/KeloContext.hpp"
#include "members/KeloEnums.hpp"
#include "platform/VbFormat.hpp"
#include "sequences/modMath.hpp"
#include "server/PortMap.hpp"

namespace tavkelo {

namespace {
// A Single as the number its 7 significant digits show, not the double's tail of noise.
double S(float value) {
  return std::strtod(VbStr(value).c_str(), nullptr);
}
}  // namespace

const char* StatusBitName(int bit) {
  static const char* kNames[16] = {
      "Lifts up",        "Lifts down",       "Bit 2",       "Bit 3",   "Bit 4",  "Bit 5",
      "Device error 6",  "Device error 7",   "Motor fault", "Bit 9",   "Bit 10", "Restraints in",
      "Device error 12", "Over-temperature", "Bit 14",      "Motor on"};
  return bit >= 0 && bit < 16 ? kNames[bit] : "?";
}

ReadingsFeed::ReadingsFeed(KeloContext& ctx, PortMap* ports)
    : ctx_(ctx), ports_(ports), idleTimer_(ctx.loop) {
  ctx_.onPollCycle = [this] { Publish(); };
  // While no poll cycle completes (disconnected, suspended), the dashboard still hears once a
  // second.
  idleTimer_.SetHandler([this] {
    if (ctx_.loop.NowUs() - lastPublishUs_ >= 900'000) Publish();
  });
  idleTimer_.SetInterval(1000);
  idleTimer_.SetEnabled(true);
  Publish();
}

ReadingsFeed::~ReadingsFeed() {
  ctx_.onPollCycle = nullptr;
  Close();
}

nlohmann::json ReadingsFeed::Snapshot() const {
  const ReadingsStore& s = ctx_.store;
  const SharedTestState& t = ctx_.test;
  nlohmann::json bits = nlohmann::json::array();
  for (int k = 0; k < 16; ++k) {
    bits.push_back(
        {{"bit", k}, {"name", StatusBitName(k)}, {"on", s.StatusBitsCopy[static_cast<size_t>(k)]}});
  }
  const LinkCounters& c = s.counters;
  float parasitics = 0.0f;
  try {
    parasitics =
        modMath::evalcurve(s.ParasiticCoefK, s.ParasiticCoefA, s.ParasiticCoefB, s.DyneSpeed);
  } catch (...) {
  }
  double sinceUpdate =
      (static_cast<double>(ctx_.Tick()) - static_cast<double>(ctx_.host.LastUpdateTick)) / 1000.0;
  nlohmann::json snapshot = {
      {"connected", ctx_.polling.Connected()},
      {"autoUpdate", ctx_.polling.ReadingsActive()},
      {"firmwareVersion", S(s.DyneVersion)},
      {"speedMph", S(s.DyneSpeed)},
      {"accelerationMphPerS", S(s.DyneAcceleration)},
      {"torqueFtLb", S(s.DyneTorque)},
      {"parasiticsTorqueFtLb", S(parasitics)},
      {"powerHp", S(s.DynePower)},
      {"leftWeightLb", S(s.LeftWeight)},
      {"rightWeightLb", S(s.RightWeight)},
      {"totalWeightLb", S(s.TotalWeight)},
      {"frameTempF", S(s.ForceTemp)},
      {"bearingTempF", S(s.BearingTemp)},
      {"distanceMiles", S(s.DyneDistance)},
      {"rollDiameterIn", S(s.RollDiameter)},
      {"baseInertiaLb", S(s.BaseInertia)},
      {"regulatorOn", s.RegulatorOn},
      {"liftsUp", s.LiftsUp},
      {"status", bits},
      {"counters",
       {{"deviceErrors", c.deviceErrors},
        {"checksumErrors", c.checksumErrors},
        {"timeoutErrors", c.timeoutErrors},
        {"consecutiveTimeouts", c.consecutiveTimeouts},
        {"naks", c.nakCount},
        {"parseErrors", c.parseErrors},
        {"commEvents", c.commEvents},
        {"statusReplies", s.StatusReplyCount}}},
      {"timeSinceLastUpdateS", sinceUpdate},
      {"test",
       {{"current", t.CurTest},
        {"name", TestIndexToString(t.CurTest)},
        {"started", t.StartedTestIndex},
        {"startedName", TestIndexToString(t.StartedTestIndex)},
        {"completion", t.LastTestCompletionStatus},
        {"stage", t.TestStage},
        {"calibration", t.CurCalibration}}},
      {"notices", ctx_.host.notices.LastSequence()},
      {"simulated", ports_ != nullptr && ports_->AnySimulated()},
      {"link",
       {{"reconnecting", ctx_.recovery.Reconnecting()},
        {"attempt", ctx_.recovery.Attempt()},
        {"nextInS", ctx_.recovery.NextInSeconds()},
        {"text", ctx_.recovery.StatusText()},
        {"reconnectAttempts", ctx_.recovery.Attempts()},
        {"restored", ctx_.recovery.Restored()}}},
  };
  if (decorate_) decorate_(snapshot);
  return snapshot;
}

void ReadingsFeed::Publish() {
  std::string json = Snapshot().dump();
  lastPublishUs_ = ctx_.loop.NowUs();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    latest_ = std::move(json);
    ++sequence_;
  }
  changed_.notify_all();
}

bool ReadingsFeed::WaitNext(uint64_t& afterSequence, std::string& json, int timeoutMs) {
  std::unique_lock<std::mutex> lock(mutex_);
  bool ready = changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                 [&] { return closed_ || sequence_ > afterSequence; });
  if (!ready || closed_) return false;
  afterSequence = sequence_;
  json = latest_;
  return true;
}

void ReadingsFeed::Close() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
}

bool ReadingsFeed::Closed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return closed_;
}

uint64_t ReadingsFeed::Sequence() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return sequence_;
}

}  // namespace tavkelo
