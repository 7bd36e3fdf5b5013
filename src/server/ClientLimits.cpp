#include "server/ClientLimits.hpp"

#include <algorithm>

namespace tavkelo {

namespace {

// The address whose place this worker thread holds, if any, and the limits it was taken from.
thread_local std::string heldAddress;
thread_local ClientLimits* heldBy = nullptr;

constexpr auto kWindow = std::chrono::seconds(60);

}  // namespace

void ClientLimits::ReleaseHeld() {
  if (heldBy != this) return;
  auto it = inProgress_.find(heldAddress);
  if (it != inProgress_.end() && --it->second <= 0) inProgress_.erase(it);
  heldBy = nullptr;
  heldAddress.clear();
}

ClientLimits::Refusal ClientLimits::Arrive(const std::string& address, bool createsObject,
                                           Clock::time_point now) {
  std::lock_guard<std::mutex> lock(mutex_);
  ReleaseHeld();
  Refusal refusal;
  int& count = inProgress_[address];
  if (limits_.requestsPerClient > 0 && count >= limits_.requestsPerClient) {
    if (count == 0) inProgress_.erase(address);
    refusal = {true, 1,
               "this client already has " + std::to_string(limits_.requestsPerClient) +
                   " requests in progress; try again when one has been answered"};
    return refusal;
  }
  if (createsObject && limits_.objectsPerMinute > 0) {
    auto& times = creations_[address];
    while (!times.empty() && now - times.front() >= kWindow) times.pop_front();
    if (static_cast<int>(times.size()) >= limits_.objectsPerMinute) {
      if (count == 0) inProgress_.erase(address);
      const auto wait = std::chrono::ceil<std::chrono::seconds>(times.front() + kWindow - now);
      refusal = {true, std::max(1, static_cast<int>(wait.count())),
                 "this client created " + std::to_string(limits_.objectsPerMinute) +
                     " objects in the last minute; release the ones it no longer uses"};
      return refusal;
    }
    times.push_back(now);
  }
  ++count;
  heldBy = this;
  heldAddress = address;
  // Addresses that created nothing for a minute are forgotten, so the table stays small.
  if (creations_.size() > 256) {
    for (auto it = creations_.begin(); it != creations_.end();) {
      if (it->second.empty() || now - it->second.back() >= kWindow)
        it = creations_.erase(it);
      else
        ++it;
    }
  }
  return refusal;
}

void ClientLimits::Finished() {
  std::lock_guard<std::mutex> lock(mutex_);
  ReleaseHeld();
}

int ClientLimits::InProgress(const std::string& address) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it = inProgress_.find(address);
  return it == inProgress_.end() ? 0 : it->second;
}

}  // namespace tavkelo
