#include "support/LinkFixture.hpp"

#include <sstream>

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

std::string StripStamp(const std::string& line) {
  if (line.size() < 10) return line;
  bool stamp = line[6] == '.' && line[9] == '-';
  for (int i : {0, 1, 2, 3, 4, 5, 7, 8})
    stamp = stamp && line[static_cast<size_t>(i)] >= '0' && line[static_cast<size_t>(i)] <= '9';
  bool blank = line.compare(0, 10, std::string(10, ' ')) == 0;
  return (stamp || blank) ? line.substr(10) : line;
}

std::string LinkFixture::LogText() const {
  if (host->log.LogFileName().empty()) return "";
  return ReadFile(host->log.LogFileName()).substr(logStart_);
}

std::vector<std::string> LinkFixture::LogLines() const {
  std::vector<std::string> lines;
  std::string text = LogText();
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find("\r\n", pos);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(pos, end - pos);
    lines.push_back(StripStamp(line));
    pos = end + 2;
  }
  return lines;
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
