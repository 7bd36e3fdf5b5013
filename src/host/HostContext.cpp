#include "host/HostContext.hpp"

#include "host/ProgramFile.hpp"
#include "runtime/EventLoop.hpp"

namespace tavkelo {

namespace {
std::string FolderOf(const std::string& path) {
  size_t sep = path.rfind(kPathSeparator);
  if (sep == std::string::npos) return ".";
  return sep == 0 ? std::string(1, kPathSeparator) : path.substr(0, sep);
}
}  // namespace

HostContext::HostContext(EventLoop& loopRef, HostOptions opts)
    : loop(loopRef), options(std::move(opts)), log(loopRef, profile, notices) {
  profile.appPath = FolderOf(options.programFilePath);
  if (!options.iniPath.empty()) profile.defaultFileName = options.iniPath;
  profile.notices = &notices;
  notices.SetEchoToStderr(options.echoNotices);
  log.SetProgramFilePath(options.programFilePath);
  // A message box has no screen here: its text also goes to the log, word for word.
  notices.AddListener([this](const Notice& notice) {
    if (log.LoggingOn()) log.WriteLog("MessageBox: " + notice.text);
  });
}

MsgEvents& HostContext::Events() {
  if (!ProcessEvent) ProcessEvent = std::make_unique<MsgEvents>(loop);
  return *ProcessEvent;
}

}  // namespace tavkelo
