#include "host/modMain.hpp"

#include <sys/stat.h>

#include <ctime>

#include "ProgramVersion.hpp"
#include "host/HostContext.hpp"
#include "host/clsIniProfile.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "runtime/EventLoop.hpp"
#include "runtime/OleDate.hpp"

namespace tavkelo {

std::string FindRegistrationSwitch(const std::string& commandLine) {
  const std::string upper = VbUCase(commandLine);
  for (const char* sw : {"/UNREG", "-UNREG", "/REG", "-REG"}) {
    if (upper.find(sw) != std::string::npos) return sw;
  }
  return "";
}

std::string MakeProgramVersionText(int major, int minor, int revision) {
  return VbFormat(major, "0") + "." + VbFormat(minor, "00") + "." + VbFormat(revision, "00");
}

namespace {
std::string FileDateText(const std::string& path) {
  if (path.empty()) return "";
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return "";
  std::tm local{};
  std::time_t t = st.st_mtime;
#ifdef _WIN32
  ::localtime_s(&local, &t);
#else
  ::localtime_r(&t, &local);
#endif
  double date = OleDateFromParts(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                 local.tm_hour, local.tm_min, local.tm_sec);
  return VbFormatDate(date, "yyyy-MM-dd HH:mm:ss");
}
}  // namespace

MainOutcome modMain::Main(const std::string& commandLine, const MainHooks& hooks) {
  // 1. A registration start does nothing more.
  if (!FindRegistrationSwitch(commandLine).empty()) return MainOutcome::RegistrationSwitch;

  // 2. One instance per machine: a second start ends at once, having written nothing.
  std::string lockPath = host_.options.instanceLockPath.empty()
                             ? SingleInstanceLock::DefaultPath("TavKeloASM")
                             : host_.options.instanceLockPath;
  lock_ = std::make_unique<SingleInstanceLock>(lockPath);
  if (!lock_->TryAcquire()) {
    return lock_->Error() == 0 ? MainOutcome::AlreadyRunning : MainOutcome::LockUnavailable;
  }

  // 3. Who we are.
  host_.ProgramVersionText =
      MakeProgramVersionText(kProgramVersionMajor, kProgramVersionMinor, kProgramVersionRevision);
  host_.ProgramFilePath = host_.options.programFilePath;
  host_.ProgramFileDate = FileDateText(host_.ProgramFilePath);

  // 4. The process-wide wait object.
  host_.Events();

  DiagnosticLog& log = host_.log;
  const std::string& ver = host_.ProgramVersionText;
  // A setting too large for its type raises overflow; the server starts all the same, with the
  // setting's default, and says why in a message box.
  auto readSetting = [&](const char* where, auto read) {
    try {
      read();
    } catch (const VbRuntimeError& e) {
      log.LogError(e.Number(), e.Description(), where, 16);
    }
  };

  // 5. The logging control and the start-up lines.
  readSetting("TavKeloASM: Main-LogControl", [&] { log.LoadLogControl(true); });
  if (log.LogControlValue() != 0) {
    log.OpenLogFile();
    int16_t value = log.LogControlValue();
    std::string hex = VbHex(static_cast<uint16_t>(value));
    while (hex.size() < 4) hex.insert(hex.begin(), '0');
    log.WriteLog("TavKeloASM: Main - Ver: " + ver + " - Logging Control[" + std::to_string(value) +
                 ", 0x" + hex + "]");
    auto f = [](bool flag) { return std::string(1, BoolText(flag)[0]); };
    log.WriteLog("TavKeloASM-Log-ClsCal:" + f(log.ClsCal()) + " ComErr:" + f(log.ComErr()) +
                 " MisCmd:" + f(log.MisCmd()) + " DynTst:" + f(log.DynTst()) +
                 " RawCom:" + f(log.RawCom()) + " GetVar:" + f(log.GetVar()));
    log.WriteLog("TavKeloASM-Me:'" + host_.ProgramFilePath + "'");
    log.WriteLog("              (" + host_.ProgramFileDate + ")");
    log.WriteLog("TavKeloASM-Log:'" + log.LogFileName() + "'");
  }

  // 6. How variable numbers are written in request frames.
  readSetting("TavKeloASM: Main-CommControl", [&] {
    clsIniProfile ini(host_.profile);
    host_.ZeroFillVariableNumber = ini.GetBoolean("CommControl", "ZeroFillVariableNumber", true);
  });
  log.WriteLog(std::string("TavKeloASM-ZeroFillVarNum:") + BoolText(host_.ZeroFillVariableNumber));

  // 7. The update ticks: the time since the last update reads at least 10 s until the first one.
  int32_t tick = static_cast<int32_t>(host_.loop.TickCount());
  host_.TestTimeStartTick = tick;
  host_.LastUpdateTick = tick;
  if (tick > 10000) host_.LastUpdateTick = tick - 10000;

  // 8. The stored coastdown results.
  if (hooks.loadCoastdownResults) {
    auto [hiDate, loDate] = hooks.loadCoastdownResults();
    log.WriteLog("TavKeloASM-LCDHi:" + VbFormatDate(hiDate, "yyyy-MM-dd HH:mm:ss"));
    log.WriteLog("TavKeloASM-LCDLo:" + VbFormatDate(loDate, "yyyy-MM-dd HH:mm:ss"));
  }

  // 9. The idle state of the shared test and sequence state.
  if (hooks.enterIdleState) hooks.enterIdleState();

  // 10. The end of the entry routine (not of the process).
  log.WriteLog("TavKeloASM: Main - Ver: " + ver + " - Exiting ...");
  return MainOutcome::Serving;
}

}  // namespace tavkelo
