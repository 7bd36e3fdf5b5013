#include "support/LinkFixture.hpp"

namespace tavkelo::test {

LinkFixture::LinkFixture(int16_t logControl) {
  dir.MakeDir("app/bin");
  dir.MakeDir("app/LOGS");
  HostOptions options;
  options.programFilePath = dir.File("app/bin/TavKeloASM");
  options.instanceLockPath = dir.File("TavKeloASM.lock");
  options.semaphoreSuffix = UniqueSuffix();
  options.echoNotices = false;
  host = std::make_unique<HostContext>(loop, options);
  host->log.SetLogControlValue(logControl);
  if (logControl != 0) host->log.OpenLogFile();
  logStart_ = ReadFile(host->log.LogFileName()).size();
  ctx = std::make_unique<KeloContext>(*host);
  line = std::make_unique<InProcessLine>(loop, 9600);
}

LinkFixture::~LinkFixture() {
  ctx.reset();
  NamedSemaphore::Remove("KeloReadingsLock" + host->options.semaphoreSuffix);
  NamedSemaphore::Remove("KeloInterfaceLock" + host->options.semaphoreSuffix);
}

void LinkFixture::ConnectLink() {
  ctx->comm.AttachPort(line->HostPort());
  ctx->comm.KeloComm()->Open();
  ctx->polling.SetConnected(true);
}

std::string LinkFixture::LogText() const {
  if (host->log.LogFileName().empty()) return "";
  return ReadFile(host->log.LogFileName()).substr(logStart_);
}

bool LinkFixture::LogContains(const std::string& text) const {
  return LogText().find(text) != std::string::npos;
}

int LinkFixture::LogCount(const std::string& text) const {
  std::string all = LogText();
  int count = 0;
  for (size_t pos = all.find(text); pos != std::string::npos; pos = all.find(text, pos + 1))
    ++count;
  return count;
}

}  // namespace tavkelo::test
