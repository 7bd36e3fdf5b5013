#include "telemetry/MqttTelemetry.hpp"

#include <mosquitto.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <vector>

#include "runtime/EventLoop.hpp"
#include "telemetry/StationMonitor.hpp"

namespace tavkelo {

namespace {

// Events published and not yet acknowledged, at most.
constexpr size_t kInFlight = 100;
constexpr int kFirstBackOffMs = 250;
constexpr int kLongestBackOffMs = 8000;

}  // namespace

bool ParseMqttUrl(const std::string& url, MqttAddress& address, std::string& error) {
  std::string rest;
  if (url.rfind("mqtt://", 0) == 0) {
    address.tls = false;
    address.port = 1883;
    rest = url.substr(7);
  } else if (url.rfind("mqtts://", 0) == 0) {
    address.tls = true;
    address.port = 8883;
    rest = url.substr(8);
  } else {
    error = "the broker's URL must start with mqtt:// or mqtts://";
    return false;
  }
  if (!rest.empty() && rest.back() == '/') rest.pop_back();
  if (size_t at = rest.rfind('@'); at != std::string::npos) {
    address.user = rest.substr(0, at);
    rest = rest.substr(at + 1);
  }
  size_t colon = rest.rfind(':');
  if (colon != std::string::npos && rest.find(']') != std::string::npos && colon < rest.find(']'))
    colon = std::string::npos;  // a bracketed IPv6 address without a port
  if (colon != std::string::npos) {
    const std::string port = rest.substr(colon + 1);
    rest = rest.substr(0, colon);
    if (port.empty() || port.size() > 5 ||
        !std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; }) ||
        std::stoi(port) < 1 || std::stoi(port) > 65535) {
      error = "the broker's port must be a number from 1 to 65535";
      return false;
    }
    address.port = std::stoi(port);
  }
  if (rest.size() > 2 && rest.front() == '[' && rest.back() == ']')
    rest = rest.substr(1, rest.size() - 2);
  if (rest.empty() || rest.find('/') != std::string::npos) {
    error = "the broker's URL names no host";
    return false;
  }
  address.host = rest;
  return true;
}

MqttTelemetry::MqttTelemetry(EventLoop& loop, StationMonitor& monitor, MqttOptions options,
                             OutboxJournal* journal)
    : loop_(loop),
      monitor_(monitor),
      options_(std::move(options)),
      journal_(journal),
      readingsTimer_(loop),
      stateTimer_(loop) {
  if (journal_ != nullptr) {
    std::vector<OutboxEntry> left;
    nextSeq_ = journal_->Restore(left) + 1;
    for (OutboxEntry& e : left) outbox_.push_back(Event{e.seq, std::move(e.payload), -1});
    restored_ = outbox_.size();
    DropBeyondLimit();
  }
  listener_ = monitor_.AddEventListener([this](const nlohmann::json& event) { Enqueue(event); });
}

MqttTelemetry::~MqttTelemetry() {
  // A last look, so that a run that ended just before the stop is told (or kept for the next).
  monitor_.Observe();
  monitor_.RemoveEventListener(listener_);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

std::string MqttTelemetry::Topic(const std::string& leaf) const {
  return "tavkelo/" + options_.station + "/" + leaf;
}

bool MqttTelemetry::Start(std::string& error) {
  if (!ParseMqttUrl(options_.url, address_, error)) return false;
  if (options_.station.empty() || options_.station.find_first_of("/+#") != std::string::npos) {
    error = "--station must name the station, without '/', '+' or '#'";
    return false;
  }
  if (!options_.passwordFile.empty()) {
    std::ifstream file(options_.passwordFile);
    if (!file || !std::getline(file, password_)) {
      error = "cannot read the password from " + options_.passwordFile;
      return false;
    }
    if (!password_.empty() && password_.back() == '\r') password_.pop_back();
  }
  if (!(options_.readingsHz > 0.0 && options_.readingsHz <= 50.0)) {
    error = "--mqtt-rate must be above 0 and at most 50";
    return false;
  }
  const auto interval =
      static_cast<uint32_t>(std::max(1.0, std::round(1000.0 / options_.readingsHz)));
  readingsTimer_.SetHandler([this] { HandOverReadings(); });
  readingsTimer_.SetInterval(interval);
  readingsTimer_.SetEnabled(true);
  stateTimer_.SetHandler([this] { HandOverState(); });
  stateTimer_.SetInterval(200);
  stateTimer_.SetEnabled(true);
  HandOverState();
  // The network thread takes no signals: the process's signals are the loop's to handle.
  sigset_t all, previous;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &previous);
  thread_ = std::thread([this] { Run(); });
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return true;
}

// ---- the loop's side -----------------------------------------------------------------------

void MqttTelemetry::AddStatePart(std::string key, StatePart part) {
  stateParts_.emplace_back(std::move(key), std::move(part));
  partValues_.emplace_back(nullptr);
}

void MqttTelemetry::Enqueue(const nlohmann::json& event) {
  nlohmann::json numbered = event;
  numbered["station"] = options_.station;
  std::lock_guard<std::mutex> lock(mutex_);
  const uint64_t seq = nextSeq_++;
  numbered["seq"] = seq;
  std::string payload = numbered.dump();
  // Told under the lock: the acknowledgement's removal cannot overtake the addition.
  if (journal_ != nullptr) journal_->Added(seq, payload);
  outbox_.push_back(Event{seq, std::move(payload), -1});
  DropBeyondLimit();
}

void MqttTelemetry::DropBeyondLimit() {
  // A full outbox makes room by dropping its oldest events, in the journal too.
  while (outbox_.size() > options_.outboxLimit) {
    if (journal_ != nullptr) journal_->Removed(outbox_.front().seq);
    outbox_.pop_front();
    ++dropped_;
  }
}

void MqttTelemetry::HandOverReadings() {
  // At most once per poll cycle: between cycles the readings have not changed.
  if (monitor_.PollCycles() == readingsCycle_) return;
  readingsCycle_ = monitor_.PollCycles();
  std::string payload = monitor_.Readings().dump();
  std::lock_guard<std::mutex> lock(mutex_);
  readings_ = std::move(payload);
  readingsPending_ = true;
}

void MqttTelemetry::HandOverState() {
  loopNow_ = loop_.Now();
  std::string state = monitor_.State().dump();
  if (state == lastState_) return;
  lastState_ = state;
  std::lock_guard<std::mutex> lock(mutex_);
  state_ = std::move(state);
  statePending_ = true;
}

// ---- the network thread --------------------------------------------------------------------

void MqttTelemetry::Run() {
  static std::once_flag once;
  std::call_once(once, [] { mosquitto_lib_init(); });
  const std::string clientId = "tavkelo-" + options_.station;
  mosq_ = mosquitto_new(clientId.c_str(), true, this);
  if (mosq_ == nullptr) return;
  mosquitto_int_option(mosq_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
  mosquitto_connect_callback_set(mosq_, [](mosquitto*, void* self, int rc) {
    static_cast<MqttTelemetry*>(self)->OnConnect(rc);
  });
  mosquitto_disconnect_callback_set(mosq_, [](mosquitto*, void* self, int) {
    static_cast<MqttTelemetry*>(self)->OnDisconnect();
  });
  mosquitto_publish_callback_set(mosq_, [](mosquitto*, void* self, int mid) {
    static_cast<MqttTelemetry*>(self)->OnPublish(mid);
  });
  const std::string status = Topic("status");
  mosquitto_will_set(mosq_, status.c_str(), 7, "offline", 1, true);
  if (!address_.user.empty()) {
    mosquitto_username_pw_set(mosq_, address_.user.c_str(),
                              options_.passwordFile.empty() ? nullptr : password_.c_str());
  }
  if (address_.tls) {
    if (options_.caFile.empty()) {
      mosquitto_int_option(mosq_, MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    } else {
      mosquitto_tls_set(mosq_, options_.caFile.c_str(), nullptr, nullptr, nullptr, nullptr);
    }
  }

  int backOffMs = kFirstBackOffMs;
  bool socketOpen = false;
  auto waitBackOff = [&] {
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_for(lock, std::chrono::milliseconds(backOffMs), [&] { return stop_; });
    backOffMs = std::min(backOffMs * 2, kLongestBackOffMs);
  };
  auto stopping = [&] {
    std::lock_guard<std::mutex> lock(mutex_);
    return stop_;
  };
  while (!stopping()) {
    if (!socketOpen) {
      if (mosquitto_connect(mosq_, address_.host.c_str(), address_.port,
                            options_.keepAliveSeconds) != MOSQ_ERR_SUCCESS) {
        waitBackOff();
        continue;
      }
      socketOpen = true;
    }
    if (mosquitto_loop(mosq_, 50, 1) != MOSQ_ERR_SUCCESS) {
      socketOpen = false;
      OnDisconnect();
      waitBackOff();
      continue;
    }
    if (connected_) {
      backOffMs = kFirstBackOffMs;
      PublishPending();
    }
  }
  if (connected_) {
    // A clean stop leaves no last will behind: say it ourselves.
    int mid = 0;
    Publish("status", "offline", 1, true, &mid);
    for (int i = 0; i < 20 && mosquitto_want_write(mosq_); ++i) mosquitto_loop(mosq_, 50, 1);
    mosquitto_disconnect(mosq_);
    mosquitto_loop(mosq_, 50, 1);
  }
  mosquitto_destroy(mosq_);
  mosq_ = nullptr;
}

bool MqttTelemetry::Publish(const std::string& leaf, const std::string& payload, int qos,
                            bool retain, int* mid) {
  const std::string topic = Topic(leaf);
  return mosquitto_publish(mosq_, mid, topic.c_str(), static_cast<int>(payload.size()),
                           payload.data(), qos, retain) == MOSQ_ERR_SUCCESS;
}

void MqttTelemetry::PublishPending() {
  std::string readings;
  bool stateChanged = false;
  std::vector<std::pair<uint64_t, std::string>> events;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (readingsPending_) readings.swap(readings_);
    readingsPending_ = false;
    if (statePending_) {
      loopState_ = state_;
      stateChanged = true;
    }
    statePending_ = false;
    size_t inFlight = 0;
    for (const Event& e : outbox_) {
      if (e.mid != -1) {
        ++inFlight;
      } else if (inFlight + events.size() < kInFlight) {
        events.emplace_back(e.seq, e.payload);
      }
    }
  }
  // Published without the lock: the library may call back from inside a publish.
  if (onlinePending_ && Publish("status", "online", 1, true, nullptr)) onlinePending_ = false;
  PublishState(stateChanged);
  if (!readings.empty() && Publish("readings", readings, 0, false, nullptr)) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++readingsSent_;
  }
  for (const auto& [seq, payload] : events) {
    int mid = 0;
    if (!Publish("events", payload, 1, false, &mid)) break;
    std::lock_guard<std::mutex> lock(mutex_);
    for (Event& e : outbox_) {
      if (e.seq == seq) e.mid = mid;
    }
  }
}

void MqttTelemetry::PublishState(bool changed) {
  const auto now = std::chrono::steady_clock::now();
  if (loopState_.empty() || (!changed && now < nextStateLook_)) return;
  nextStateLook_ = now + std::chrono::seconds(1);
  std::string state = loopState_;
  if (!stateParts_.empty()) {
    nlohmann::json whole = nlohmann::json::parse(loopState_, nullptr, false);
    const double loopNow = loopNow_.load();
    for (size_t i = 0; i < stateParts_.size(); ++i) {
      // A part that cannot answer now keeps its last answer.
      try {
        partValues_[i] = stateParts_[i].second(loopNow);
      } catch (const std::exception&) {
      }
      whole[stateParts_[i].first] = partValues_[i];
    }
    state = whole.dump();
  }
  if (state != publishedState_ && Publish("state", state, 1, true, nullptr))
    publishedState_ = std::move(state);
}

void MqttTelemetry::OnConnect(int rc) {
  if (rc != 0) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    ++connects_;
    // A new session: whatever was not acknowledged goes again, in order, and the state too.
    for (Event& e : outbox_) e.mid = -1;
    if (!state_.empty()) statePending_ = true;
  }
  publishedState_.clear();
  // Published after the callback: publishing from inside it takes the library's own locks in
  // an order that its other paths reverse.
  onlinePending_ = true;
  connected_ = true;
}

void MqttTelemetry::OnDisconnect() {
  connected_ = false;
  std::lock_guard<std::mutex> lock(mutex_);
  for (Event& e : outbox_) e.mid = -1;
}

void MqttTelemetry::OnPublish(int mid) {
  std::lock_guard<std::mutex> lock(mutex_);
  auto it =
      std::find_if(outbox_.begin(), outbox_.end(), [&](const Event& e) { return e.mid == mid; });
  if (it != outbox_.end()) {
    if (journal_ != nullptr) journal_->Removed(it->seq);
    outbox_.erase(it);
    ++eventsAcked_;
  }
}

void MqttTelemetry::WriteMetrics(MetricsText& out) const {
  using T = MetricsText::Type;
  std::lock_guard<std::mutex> lock(mutex_);
  out.Family("tavkelo_mqtt_connected", "1 while the MQTT broker has accepted the connection",
             T::Gauge);
  out.Sample("tavkelo_mqtt_connected", connected_ ? 1 : 0);
  out.Family("tavkelo_mqtt_connects_total", "Connections the MQTT broker accepted", T::Counter);
  out.Sample("tavkelo_mqtt_connects_total", static_cast<double>(connects_));
  out.Family("tavkelo_mqtt_outbox_events",
             "Events waiting for the broker's acknowledgement (kept in the history file when there "
             "is one)",
             T::Gauge);
  out.Sample("tavkelo_mqtt_outbox_events", static_cast<double>(outbox_.size()));
  out.Family("tavkelo_mqtt_events_acknowledged_total", "Events the broker acknowledged",
             T::Counter);
  out.Sample("tavkelo_mqtt_events_acknowledged_total", static_cast<double>(eventsAcked_));
  out.Family("tavkelo_mqtt_events_dropped_total",
             "Events dropped unsent because the outbox was full", T::Counter);
  out.Sample("tavkelo_mqtt_events_dropped_total", static_cast<double>(dropped_));
  out.Family("tavkelo_mqtt_readings_published_total", "Readings messages published", T::Counter);
  out.Sample("tavkelo_mqtt_readings_published_total", static_cast<double>(readingsSent_));
}

}  // namespace tavkelo
