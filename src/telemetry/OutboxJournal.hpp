#pragma once
// Where the MQTT publisher's outbox outlives the process: a keeper of the events not yet
// acknowledged (the server keeps them in the history file). The publisher tells it each event
// that enters and each that leaves the outbox; the keeper writes on a thread of its own, in the
// order of the calls, so that no call waits for a disk.

#include <cstdint>
#include <string>
#include <vector>

namespace tavkelo {

struct OutboxEntry {
  uint64_t seq = 0;
  std::string payload;
};

class OutboxJournal {
 public:
  virtual ~OutboxJournal() = default;
  // The events the last process left unacknowledged into `events`, oldest first; returns the
  // highest number an event ever had (0: none). Asked once, before the first event.
  virtual uint64_t Restore(std::vector<OutboxEntry>& events) = 0;
  // Any thread; they return at once.
  virtual void Added(uint64_t seq, const std::string& payload) = 0;
  virtual void Removed(uint64_t seq) = 0;
};

}  // namespace tavkelo
