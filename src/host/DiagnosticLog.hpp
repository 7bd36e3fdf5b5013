#pragma once
// The dated diagnostic log for service technicians. One file a day, opened at start when logging
// is on; every line is appended and the file closed again, so the file is complete up to the last
// line even when the process dies. Six flags, one per bit of the logging-control word, switch the
// families of lines on.

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <string_view>

namespace tavkelo {

class EventLoop;
class Notices;
struct ProfileEnvironment;

class DiagnosticLog {
 public:
  // Reads an environment variable (the "DATA" folder); replaceable for tests.
  using EnvLookup = std::function<std::string(const std::string&)>;

  DiagnosticLog(EventLoop& loop, const ProfileEnvironment& profile, Notices& notices);

  // The full path of the running executable, whose folder decides where LOGS is looked for.
  void SetProgramFilePath(std::string path) { programFilePath_ = std::move(path); }
  void SetEnvLookup(EnvLookup lookup) { env_ = std::move(lookup); }

  void LoadLogControl(bool readSettings);
  void OpenLogFile();
  // The folder of the log files: LOGS beside the executable's folder, else $DATA, else the
  // temporary folder (created when missing).
  std::string LogFolder() const;
  void WriteLog(std::string_view message);
  void LogError(int32_t number, std::string_view description, std::string_view where,
                int16_t options);
  // LogError for a caught failure: a run-time error's number and description, or 51 (internal
  // error) and the exception's text for anything else.
  void LogException(const std::exception& e, std::string_view where, int16_t options);

  int16_t LogControlValue() const { return logControlValue_; }
  // Sets the control word and its flags directly (the server's command line and tests).
  void SetLogControlValue(int16_t value);
  const std::string& LogFileName() const { return logFileName_; }
  bool LoggingOn() const { return logControlValue_ != 0; }

  bool ClsCal() const { return clsCal_; }
  bool ComErr() const { return comErr_; }
  bool MisCmd() const { return misCmd_; }
  bool DynTst() const { return dynTst_; }
  bool RawCom() const { return rawCom_; }
  bool GetVar() const { return getVar_; }

  // The 10-character stamp for a clock reading: "HHMMSS" + hundredths ".00" + "-".
  static std::string Stamp(double now, double timerSeconds);

 private:
  EventLoop& loop_;
  const ProfileEnvironment& profile_;
  Notices& notices_;
  EnvLookup env_;
  std::string programFilePath_;
  int16_t logControlValue_ = 0;
  bool clsCal_ = false, comErr_ = false, misCmd_ = false, dynTst_ = false, rawCom_ = false,
       getVar_ = false;
  std::string logFileName_;
};

}  // namespace tavkelo
