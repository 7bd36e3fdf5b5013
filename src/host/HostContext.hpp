#pragma once
// The host services of one server process: program identity, INI access, the diagnostic log,
// message-box notices and the process-wide wait object, plus the few process-wide values that
// the entry routine sets.

#include <cstdint>
#include <memory>
#include <string>

#include "host/DiagnosticLog.hpp"
#include "host/MsgEvents.hpp"
#include "host/Notices.hpp"
#include "host/ProfileEnvironment.hpp"

namespace tavkelo {

class EventLoop;

struct HostOptions {
  // Full path of the running executable; its folder is the application folder.
  std::string programFilePath;
  // The INI file to use instead of "TavKeloASM.INI" beside the executable ("" for that default).
  std::string iniPath;
  // Appended to the names of the named semaphores, so that test processes do not share them.
  std::string semaphoreSuffix;
  // Where the one-instance lock lives ("" for the machine-wide default, /run/lock or /var/tmp).
  std::string instanceLockPath;
  // Echo message boxes on stderr.
  bool echoNotices = true;
};

class HostContext {
 public:
  HostContext(EventLoop& loop, HostOptions options);

  EventLoop& loop;
  HostOptions options;
  ProfileEnvironment profile;
  Notices notices;
  DiagnosticLog log;
  // Created by the entry routine (step 4); the command exchange pauses with it.
  std::unique_ptr<MsgEvents> ProcessEvent;

  std::string ProgramVersionText;
  std::string ProgramFilePath;
  std::string ProgramFileDate;
  bool ZeroFillVariableNumber = true;
  int32_t TestTimeStartTick = 0;
  int32_t LastUpdateTick = 0;

  // The process-wide wait object, created on first use when the entry routine has not run.
  MsgEvents& Events();
};

// Milliseconds from `since` to `now` on the 32-bit tick count, wrap included.
inline int32_t TickDiff(int32_t now, int32_t since) {
  return static_cast<int32_t>(static_cast<uint32_t>(now) - static_cast<uint32_t>(since));
}

}  // namespace tavkelo
