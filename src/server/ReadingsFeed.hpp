#pragma once
// The readings store as JSON for the dashboard: a snapshot built on the loop after every completed
// poll cycle (and once a second while no cycle completes), which any number of server-sent-event
// streams wait for on their own threads.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

#include "runtime/LoopTimer.hpp"

namespace tavkelo {

class KeloContext;
class PortMap;

class ReadingsFeed {
 public:
  ReadingsFeed(KeloContext& ctx, PortMap* ports);
  ~ReadingsFeed();

  // Builds the snapshot now (loop thread).
  nlohmann::json Snapshot() const;
  // Adds fields of other parts (the open calibration form) to every snapshot (loop thread).
  void SetDecorator(std::function<void(nlohmann::json&)> decorate) {
    decorate_ = std::move(decorate);
  }
  // Publishes a fresh snapshot to the streams (loop thread).
  void Publish();

  // For stream threads: waits until a snapshot newer than `afterSequence` is published or
  // `timeoutMs` passes. Returns true with the snapshot; false on time-out or when closed.
  bool WaitNext(uint64_t& afterSequence, std::string& json, int timeoutMs);
  // Ends every wait (server stop).
  void Close();
  bool Closed() const;
  uint64_t Sequence() const;

 private:
  KeloContext& ctx_;
  PortMap* ports_;
  std::function<void(nlohmann::json&)> decorate_;
  LoopTimer idleTimer_;
  int64_t lastPublishUs_ = 0;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string latest_;
  uint64_t sequence_ = 0;
  bool closed_ = false;
};

// The name of each of the 16 status bits, as the dashboard shows them.
const char* StatusBitName(int bit);

}  // namespace tavkelo
