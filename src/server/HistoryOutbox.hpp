#pragma once
// The MQTT publisher's outbox kept in the history file: what the broker has not acknowledged when
// the process ends is sent first by the next start, which numbers on from the highest number the
// file ever held. The store's writer thread does the writing; nothing here waits for the disk.

#include <cstdint>
#include <string>
#include <vector>

#include "history/HistoryStore.hpp"
#include "telemetry/OutboxJournal.hpp"

namespace tavkelo {

class HistoryOutbox final : public OutboxJournal {
 public:
  explicit HistoryOutbox(HistoryStore& store) : store_(store) {}

  uint64_t Restore(std::vector<OutboxEntry>& events) override {
    std::vector<StoredEvent> stored;
    const int64_t last = store_.TakeOutbox(stored);
    events.clear();
    for (StoredEvent& e : stored)
      events.push_back(OutboxEntry{static_cast<uint64_t>(e.seq), std::move(e.payload)});
    return static_cast<uint64_t>(last);
  }
  void Added(uint64_t seq, const std::string& payload) override {
    store_.AddOutboxEvent(static_cast<int64_t>(seq), payload);
  }
  void Removed(uint64_t seq) override { store_.RemoveOutboxEvent(static_cast<int64_t>(seq)); }

 private:
  HistoryStore& store_;
};

}  // namespace tavkelo
