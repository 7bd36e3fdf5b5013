#pragma once
// The station's telemetry to an MQTT broker (libmosquitto):
//   tavkelo/<station>/status    "online" at connect; "offline" as the last will (retained, QoS 1)
//   tavkelo/<station>/state     the station's state, whenever it changes (retained, QoS 1)
//   tavkelo/<station>/readings  the readings at the set rate, at most once per poll cycle (QoS 0)
//   tavkelo/<station>/events    the station's events, numbered, from an outbox (QoS 1)
//
// The loop never waits for the broker. The loop thread only hands messages over: the latest
// readings and state into one slot each, events into the outbox. A network thread of its own
// connects (with back-off), publishes, and takes an event out of the outbox when the broker has
// acknowledged it; after an outage it sends what is left, in order. The outbox is bounded: when it
// is full the oldest event makes room and is counted as dropped. With a journal (OutboxJournal)
// the outbox also outlives the process: the next start sends what was left first and numbers on.
// Parts of the state that are not the loop's to know (the calibration schedule) are asked for on
// the network thread. Nothing from the broker reaches the engine: the client subscribes to
// nothing.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "runtime/LoopTimer.hpp"
#include "telemetry/MetricsText.hpp"
#include "telemetry/OutboxJournal.hpp"

struct mosquitto;

namespace tavkelo {

class StationMonitor;

struct MqttOptions {
  // mqtt://[user@]host[:port] or mqtts://[user@]host[:port]
  std::string url;
  std::string caFile;        // mqtts: the CA certificate that signed the broker's
  std::string passwordFile;  // its first line is the password of the URL's user
  std::string station;
  double readingsHz = 1.0;
  size_t outboxLimit = 10000;
  int keepAliveSeconds = 10;
};

struct MqttAddress {
  bool tls = false;
  std::string user;
  std::string host;
  int port = 1883;
};
// Parses the URL; false with `error` set when it is not one.
bool ParseMqttUrl(const std::string& url, MqttAddress& address, std::string& error);

class MqttTelemetry {
 public:
  // Loop thread. Takes back what `journal` kept (when there is one; it must outlive this) and
  // listens to the monitor's events at once; nothing is sent before Start.
  MqttTelemetry(EventLoop& loop, StationMonitor& monitor, MqttOptions options,
                OutboxJournal* journal = nullptr);
  // Publishes "offline", disconnects and ends the network thread.
  ~MqttTelemetry();
  MqttTelemetry(const MqttTelemetry&) = delete;
  MqttTelemetry& operator=(const MqttTelemetry&) = delete;

  // Checks the options and starts the network thread; false with `error` set when the options
  // are wrong. An unreachable broker is no error: the thread keeps trying.
  bool Start(std::string& error);
  // Before Start: the state's member `key` is what `part` answers, asked on the network thread
  // with the loop's clock (EventLoop::Now) at most once a second and whenever the rest of the
  // state changes; the state is published again when the answer changes.
  using StatePart = std::function<nlohmann::json(double loopNow)>;
  void AddStatePart(std::string key, StatePart part);
  // Events the last process left in the journal, sent before any new one.
  size_t RestoredEvents() const { return restored_; }
  std::string Topic(const std::string& leaf) const;

  // Any thread.
  void WriteMetrics(MetricsText& out) const;
  bool BrokerConnected() const { return connected_.load(); }

 private:
  struct Event {
    uint64_t seq = 0;
    std::string payload;
    int mid = -1;  // the message id while published and not yet acknowledged
  };

  void Enqueue(const nlohmann::json& event);
  void DropBeyondLimit();  // under mutex_ (or before the network thread starts)
  void HandOverReadings();
  void HandOverState();
  void Run();
  void PublishPending();
  void PublishState(bool changed);
  bool Publish(const std::string& leaf, const std::string& payload, int qos, bool retain, int* mid);
  void OnConnect(int rc);
  void OnDisconnect();
  void OnPublish(int mid);

  EventLoop& loop_;
  StationMonitor& monitor_;
  MqttOptions options_;
  MqttAddress address_;
  OutboxJournal* journal_;
  size_t restored_ = 0;
  std::vector<std::pair<std::string, StatePart>> stateParts_;
  int listener_ = 0;
  std::string password_;
  LoopTimer readingsTimer_;
  LoopTimer stateTimer_;
  uint64_t readingsCycle_ = UINT64_MAX;
  std::string lastState_;

  // Shared between the loop thread and the network thread.
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Event> outbox_;
  uint64_t nextSeq_ = 1;
  std::string readings_;
  bool readingsPending_ = false;
  std::string state_;
  bool statePending_ = false;
  bool stop_ = false;
  uint64_t dropped_ = 0;
  uint64_t eventsAcked_ = 0;
  uint64_t readingsSent_ = 0;
  uint64_t connects_ = 0;
  std::atomic<bool> connected_{false};
  std::atomic<double> loopNow_{0.0};  // the loop's clock at its last look at the state

  // The network thread's own.
  mosquitto* mosq_ = nullptr;
  bool onlinePending_ = false;  // "online" to publish, after a connect
  std::string loopState_;       // the state as the loop last handed it over
  std::string publishedState_;  // with its parts, as last published ("" after a connect)
  std::vector<nlohmann::json> partValues_;
  std::chrono::steady_clock::time_point nextStateLook_;
  std::thread thread_;
};

}  // namespace tavkelo
