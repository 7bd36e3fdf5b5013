#pragma once
// TavKeloASM assembled on one loop, in this order: the host services, the engine, the entry
// routine (which takes the one-instance lock), the port map, and the HTTP server. The process's
// entry point, the in-process test rig and the HTTP benchmark all build the server here.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/HostContext.hpp"
#include "host/modMain.hpp"
#include "server/AutomationServer.hpp"
#include "server/KeloEngine.hpp"
#include "server/PortMap.hpp"
#include "sim/KeloSimOptions.hpp"
// A build may leave out the history (SQLite) and the MQTT telemetry (libmosquitto).
#if TAVKELO_HAS_HISTORY
#include "history/CalibrationSchedule.hpp"
#include "history/HistoryRecorder.hpp"
#include "history/HistoryStore.hpp"
#endif
#if TAVKELO_HAS_MQTT
#include "telemetry/MqttTelemetry.hpp"
#endif
#if TAVKELO_HAS_HISTORY && TAVKELO_HAS_MQTT
#include "server/HistoryOutbox.hpp"
#endif

namespace tavkelo {

class EventLoop;

struct ServerOptions {
  HostOptions host;
  // The command line as the entry routine reads it.
  std::string commandLine;
  // Every port without a mapping is an in-process simulated controller.
  bool simulate = false;
  // Reopen the port and connect again when the device goes away (off: --no-reconnect).
  bool reconnect = true;
  KeloSimOptions sim;
  // "N=DEVICE" each (see PortMap::AddMapping).
  std::vector<std::string> portMappings;
  AutomationServer::Config http;
#if TAVKELO_HAS_MQTT
  // Telemetry to an MQTT broker when its URL is set.
  MqttOptions mqtt;
#endif
#if TAVKELO_HAS_HISTORY
  // The history file ("" for TavKeloASM.history.sqlite beside the INI file); no history at all
  // when `history` is false.
  std::string historyPath;
  bool history = true;
#endif
};

class ServerAssembly {
 public:
  enum class Outcome {
    Ready,               // assembled; Serve() starts the HTTP server
    AlreadyRunning,      // another instance holds the lock
    LockUnavailable,     // the lock cannot be taken at all; Error() names the file and why
    RegistrationSwitch,  // the command line holds /REG or /UNREG
    BadPortMapping,      // Error() says which and why
    BadMqttOptions,      // Error() says what is wrong
  };

  // Builds everything on the loop's thread; the parts after a refusal are not built.
  ServerAssembly(EventLoop& loop, ServerOptions options);
  ~ServerAssembly();
  ServerAssembly(const ServerAssembly&) = delete;
  ServerAssembly& operator=(const ServerAssembly&) = delete;

  Outcome Result() const { return outcome_; }
  const std::string& Error() const { return error_; }

  HostContext& Host() { return *host_; }
  KeloEngine& Engine() { return *engine_; }
  PortMap& Ports() { return *ports_; }
  AutomationServer& Server() { return *server_; }
#if TAVKELO_HAS_MQTT
  // nullptr without --mqtt.
  MqttTelemetry* Mqtt() {
    return mqtt_.get();
  }
#endif
#if TAVKELO_HAS_HISTORY
  // nullptr when the history is off or its file could not be opened.
  HistoryStore* History() {
    return history_ && history_->IsOpen() ? history_.get() : nullptr;
  }
  CalibrationSchedule* Schedule() {
    return schedule_.get();
  }
  HistoryRecorder* Recorder() {
    return recorder_.get();
  }
  // The history file beside an INI file: its folder, "TavKeloASM.history.sqlite".
  static std::string DefaultHistoryPath(const std::string& iniFile);
#endif

  // Connects the dashboard's console to the port, as a client's Init and Connect would (loop
  // thread, top level). False when it could not connect.
  bool ConnectConsole(int16_t port);
  // Binds and starts the HTTP server; false with `error` set when the address cannot be bound.
  bool Serve(std::string& error) {
    return server_->Start(error);
  }

  // Stopping, in three steps: BeginStop (loop thread); keep the loop running until
  // ListenerDone(), as requests in progress need it; then Release (loop thread, top level), which
  // releases every object and removes the named semaphores of this process.
  void BeginStop() {
    server_->BeginStop();
  }
  bool ListenerDone() const {
    return server_->ListenerDone();
  }
  void Release();

 private:
  void RemoveSemaphoreNames();
#if TAVKELO_HAS_HISTORY
  void OpenHistory(const ServerOptions& options);
#endif
#if TAVKELO_HAS_MQTT
  void StartMqtt(MqttOptions options);
#endif

  Outcome outcome_ = Outcome::Ready;
  std::string error_;
  std::unique_ptr<HostContext> host_;
  std::unique_ptr<KeloEngine> engine_;
  std::unique_ptr<modMain> entry_;
#if TAVKELO_HAS_HISTORY
  std::unique_ptr<HistoryStore> history_;
  std::unique_ptr<HistoryRecorder> recorder_;
  std::unique_ptr<CalibrationSchedule> schedule_;
#endif
  std::unique_ptr<PortMap> ports_;
  std::unique_ptr<AutomationServer> server_;
#if TAVKELO_HAS_HISTORY && TAVKELO_HAS_MQTT
  std::unique_ptr<HistoryOutbox> outbox_;  // the MQTT outbox in the history file
#endif
#if TAVKELO_HAS_MQTT
  std::unique_ptr<MqttTelemetry> mqtt_;  // after the server: it listens to the server's monitor
#endif
};

}  // namespace tavkelo
