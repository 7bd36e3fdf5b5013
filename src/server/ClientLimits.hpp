// What one client address may hold of the server at once: requests in progress (each holds one of
// the HTTP worker threads, an event stream for as long as it is open) and interface objects
// created in the last minute. A client over either limit is answered 429 with Retry-After, so a
// misbehaving program cannot starve the station's own clients of threads or objects.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace tavkelo {

class ClientLimits {
 public:
  using Clock = std::chrono::steady_clock;

  struct Limits {
    int requestsPerClient = 16;  // in progress at once, per address; 0: no limit
    int objectsPerMinute = 60;   // object creations per address in any 60 s; 0: no limit
  };
  struct Refusal {
    bool refused = false;
    int retryAfterSeconds = 0;
    std::string message;
  };

  explicit ClientLimits(Limits limits) : limits_(limits) {}

  // A request from `address` arrives on this worker thread; `createsObject` for the creation of an
  // interface object. When it is admitted it holds its place until Finished() on the same thread
  // (or the thread's next Arrive, should a request end without reaching Finished()).
  Refusal Arrive(const std::string& address, bool createsObject, Clock::time_point now);
  // The request on this worker thread is answered.
  void Finished();

  int InProgress(const std::string& address);

 private:
  void ReleaseHeld();

  Limits limits_;
  std::mutex mutex_;
  std::map<std::string, int> inProgress_;
  std::map<std::string, std::deque<Clock::time_point>> creations_;
};

}  // namespace tavkelo
