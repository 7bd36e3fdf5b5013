#include "link/KeloContext.hpp"

#include "platform/SerialDevices.hpp"

namespace tavkelo {

KeloContext::KeloContext(HostContext& hostRef)
    : host(hostRef),
      loop(hostRef.loop),
      log(hostRef.log),
      comm(*this),
      exchange(*this),
      readings(*this),
      polling(*this),
      recovery(*this) {
  openPort = [this](int16_t port) { return OpenDefaultPort(loop, port); };
}

KeloContext::~KeloContext() = default;

std::string KeloContext::SemaphoreName(const std::string& base) const {
  return base + host.options.semaphoreSuffix;
}

void KeloContext::AcquireSemaphores() {
  if (semaphoreUsers_++ > 0) return;
  readingsLock_ = std::make_unique<NamedSemaphore>(SemaphoreName("KeloReadingsLock"), 1, 1);
  interfaceLock_ = std::make_unique<NamedSemaphore>(SemaphoreName("KeloInterfaceLock"), 1, 1);
}

void KeloContext::ReleaseSemaphores() {
  if (semaphoreUsers_ == 0 || --semaphoreUsers_ > 0) return;
  readingsLock_.reset();
  interfaceLock_.reset();
}

std::unique_ptr<SerialChannel> OpenDefaultPort(EventLoop& loop, int16_t port) {
  if (port < 1) return nullptr;
  return MakeSerialChannel(loop, PortDevice(port));
}

}  // namespace tavkelo
