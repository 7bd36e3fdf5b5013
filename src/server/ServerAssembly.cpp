#include "server/ServerAssembly.hpp"

#include <cstring>

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
      error_ =
          "cannot take the one-instance lock " + lock.Path() + ": " + std::strerror(lock.Error());
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
  server_ =
      std::make_unique<AutomationServer>(loop, *engine_, ports_.get(), std::move(options.http));
  if (!options.mqtt.url.empty()) {
    mqtt_ = std::make_unique<MqttTelemetry>(loop, server_->Monitor(), std::move(options.mqtt));
    if (!mqtt_->Start(error_)) {
      outcome_ = Outcome::BadMqttOptions;
      return;
    }
    server_->Metrics().AddSource(
        [mqtt = mqtt_.get()](MetricsText& out) { mqtt->WriteMetrics(out); });
  }
}

ServerAssembly::~ServerAssembly() = default;

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
