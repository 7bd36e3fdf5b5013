#include "server/ServerAssembly.hpp"

#include <cstdio>
#include <cstring>

#include "host/clsIniProfile.hpp"
#include "platform/NamedSemaphore.hpp"

namespace tavkelo {

ServerAssembly::ServerAssembly(EventLoop& loop, ServerOptions options) {
  host_ = std::make_unique<HostContext>(loop, std::move(options.host));
  engine_ = std::make_unique<KeloEngine>(*host_);
  entry_ = std::make_unique<modMain>(*host_);
  switch (entry_->Main(options.commandLine, engine_->StartupHooks())) {
    case MainOutcome::Serving:
      break;
    case MainOutcome::AlreadyRunning:
      outcome_ = Outcome::AlreadyRunning;
      error_ = "another instance is already running";
      return;
    case MainOutcome::LockUnavailable: {
      const SingleInstanceLock& lock = *entry_->InstanceLock();
      outcome_ = Outcome::LockUnavailable;
      error_ = "cannot take the one-instance lock " + lock.Path() + ": " + lock.ErrorText();
      return;
    }
    case MainOutcome::RegistrationSwitch:
      outcome_ = Outcome::RegistrationSwitch;
      error_ = "the command line holds a registration switch";
      return;
  }
  ports_ = std::make_unique<PortMap>(loop, options.simulate, std::move(options.sim));
  for (const std::string& mapping : options.portMappings) {
    if (!ports_->AddMapping(mapping, error_)) {
      outcome_ = Outcome::BadPortMapping;
      return;
    }
  }
  engine_->Context().openPort = [ports = ports_.get()](int16_t port) { return ports->Open(port); };
  engine_->Context().recovery.SetEnabled(options.reconnect);
  // Names left by a process that died are stale, but only the holder of the lock may say so.
  RemoveSemaphoreNames();
  // The audit trail lies beside the diagnostic log.
  if (options.http.security.auditFolder.empty())
    options.http.security.auditFolder = host_->log.LogFolder();
#if TAVKELO_HAS_HISTORY
  OpenHistory(options);
#endif
  server_ =
      std::make_unique<AutomationServer>(loop, *engine_, ports_.get(), std::move(options.http));
#if TAVKELO_HAS_HISTORY
  server_->AddHistory(History(), schedule_.get());
#endif
#if TAVKELO_HAS_MQTT
  if (!options.mqtt.url.empty()) StartMqtt(std::move(options.mqtt));
#endif
}

#if TAVKELO_HAS_MQTT
void ServerAssembly::StartMqtt(MqttOptions options) {
  OutboxJournal* journal = nullptr;
#if TAVKELO_HAS_HISTORY
  if (History() != nullptr) outbox_ = std::make_unique<HistoryOutbox>(*History());
  journal = outbox_.get();
#endif
  mqtt_ =
      std::make_unique<MqttTelemetry>(host_->loop, server_->Monitor(), std::move(options), journal);
  if (mqtt_->RestoredEvents() > 0) {
    host_->log.WriteLog("MQTT: " + std::to_string(mqtt_->RestoredEvents()) +
                        " event(s) the broker had not acknowledged before the last stop are "
                        "sent first");
  }
#if TAVKELO_HAS_HISTORY
  if (schedule_) {
    // Read on the publisher's thread: the history's reads never run on the loop.
    mqtt_->AddStatePart("schedule", [schedule = schedule_.get()](double loopNow) {
      return schedule->StateJson(LocalOleToUnix(loopNow));
    });
  }
#endif
  if (!mqtt_->Start(error_)) {
    outcome_ = Outcome::BadMqttOptions;
    return;
  }
  server_->Metrics().AddSource([mqtt = mqtt_.get()](MetricsText& out) { mqtt->WriteMetrics(out); });
}
#endif

ServerAssembly::~ServerAssembly() {
#if TAVKELO_HAS_HISTORY
  if (schedule_) CalibrationSchedule::Uninstall(engine_->Context());
  // The recorder before the store: a run still open is written as interrupted.
  recorder_.reset();
#endif
}

#if TAVKELO_HAS_HISTORY

std::string ServerAssembly::DefaultHistoryPath(const std::string& iniFile) {
  const size_t slash = iniFile.rfind('/');
  return (slash == std::string::npos ? std::string() : iniFile.substr(0, slash + 1)) +
         "TavKeloASM.history.sqlite";
}

void ServerAssembly::OpenHistory(const ServerOptions& options) {
  if (!options.history) return;
  const std::string path = options.historyPath.empty()
                               ? DefaultHistoryPath(clsIniProfile(host_->profile).FileName())
                               : options.historyPath;
  history_ = std::make_unique<HistoryStore>();
  EventLoop& loop = host_->loop;
  DiagnosticLog& log = host_->log;
  // The writer's failures reach the log on the loop; they never stop a run.
  auto onError = [&loop, &log](const std::string& message) {
    std::fprintf(stderr, "TavKeloASM: %s\n", message.c_str());
    loop.Post([&log, message] { log.WriteLog(message); });
  };
  std::string error;
  if (!history_->Open(path, onError, error)) {
    std::fprintf(stderr, "TavKeloASM: history off: %s\n", error.c_str());
    log.WriteLog("History off: " + error);
    history_.reset();
    return;
  }
  if (history_->InterruptedAtOpen() > 0) {
    log.WriteLog("History: " + std::to_string(history_->InterruptedAtOpen()) +
                 " run(s) left in progress by the last process marked interrupted");
  }
  const ScheduleConfig config = ScheduleConfig::Load(host_->profile);
  recorder_ = std::make_unique<HistoryRecorder>(engine_->Context(), *history_,
                                                PassRules{config.coastdownTolerancePercent});
  recorder_->ImportIniCoastdown();
  schedule_ = std::make_unique<CalibrationSchedule>(*history_, config);
  schedule_->Install(engine_->Context());
}
#endif

bool ServerAssembly::ConnectConsole(int16_t port) {
  clsKeloInterface& console = server_->Console();
  console.Init(true, port, 9600, "N");
  return console.Connect();
}

void ServerAssembly::Release() {
  server_->ReleaseAll();
  // Nothing of this process holds the semaphores any more: leave no names behind.
  RemoveSemaphoreNames();
}

void ServerAssembly::RemoveSemaphoreNames() {
  const SingleInstanceLock* lock = entry_->InstanceLock();
  if (lock == nullptr || !lock->Held()) return;
  NamedSemaphore::Remove(engine_->Context().SemaphoreName("KeloReadingsLock"));
  NamedSemaphore::Remove(engine_->Context().SemaphoreName("KeloInterfaceLock"));
}

}  // namespace tavkelo
