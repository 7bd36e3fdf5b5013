#include "host/DiagnosticLog.hpp"

#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/Notices.hpp"
#include "host/ProfileEnvironment.hpp"
#include "host/ProgramFile.hpp"
#include "host/clsIniProfile.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "runtime/EventLoop.hpp"

namespace tavkelo {

namespace {
constexpr char kSep = kPathSeparator;
// The temporary log folder of this platform.
#ifdef _WIN32
constexpr const char* kTempFolder = "C:\\TMP";
#else
constexpr const char* kTempFolder = "/tmp";
#endif

bool IsDirectory(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool FileExists(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string DefaultEnv(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  return value != nullptr ? value : "";
}
}  // namespace

DiagnosticLog::DiagnosticLog(EventLoop& loop, const ProfileEnvironment& profile, Notices& notices)
    : loop_(loop), profile_(profile), notices_(notices), env_(DefaultEnv) {}

void DiagnosticLog::SetLogControlValue(int16_t value) {
  logControlValue_ = value;
  clsCal_ = (value & 1) != 0;
  comErr_ = (value & 2) != 0;
  misCmd_ = (value & 4) != 0;
  dynTst_ = (value & 8) != 0;
  rawCom_ = (value & 16) != 0;
  getVar_ = (value & 32) != 0;
}

void DiagnosticLog::LoadLogControl(bool readSettings) {
  int16_t value = 0;
  if (readSettings) {
    clsIniProfile ini(profile_);
    value = ini.GetInteger("LogControl", "RawSetting", 0);
  }
  SetLogControlValue(value);
}

std::string DiagnosticLog::LogFolder() const {
  // 1. A LOGS folder beside the executable's folder, in its parent.
  std::string folder;
  if (programFilePath_.size() > 3 && programFilePath_.find(kSep) != std::string::npos) {
    std::string exeFolder = programFilePath_.substr(0, programFilePath_.rfind(kSep));
    size_t last = exeFolder.rfind(kSep);
    if (last != std::string::npos) {
      std::string candidate = exeFolder.substr(0, last + 1) + "LOGS";
      if (IsDirectory(candidate)) folder = candidate;
    }
  }
  // 2. The DATA folder, not tested for existence.
  if (folder.size() < 3) folder = env_("DATA");
  // 3. The temporary folder, created when missing.
  if (folder.empty()) {
    folder = kTempFolder;
    std::error_code ignored;  // a folder that cannot be made shows when the log is opened
    if (!IsDirectory(folder)) std::filesystem::create_directory(folder, ignored);
  }
  return folder;
}

void DiagnosticLog::OpenLogFile() {
  const double now = loop_.Now();
  const std::string timePart = VbFormatDate(now, "HHMMSS");
  const std::string datePart = VbFormatDate(now, "YYYYMMDD");

  const std::string folder = LogFolder();
  logFileName_ = folder + kSep + "KELO_" + datePart + ".LOG";

  std::string error;
  {
    std::ofstream out(logFileName_, std::ios::binary | std::ios::app);
    if (!out) {
      error = std::strerror(errno != 0 ? errno : ENOENT);
    } else {
      out << "\r\n"
          << std::string(59, '-') << "\r\n"
          << "Kelo Dyne Log Data - " << datePart << "_" << timePart << "\r\n"
          << "\r\n";
      if (!out) error = "write failed";
    }
  }
  if (!error.empty()) {
    notices_.MessageBox("Error Opening '" + logFileName_ + "'  (" + error + ")", 0);
    logFileName_.clear();
    LoadLogControl(false);
  }
}

std::string DiagnosticLog::Stamp(double now, double timerSeconds) {
  double fraction = timerSeconds - std::floor(timerSeconds);
  // Never let the two-place format print 1.00.
  if (fraction >= 0.995) fraction = 0.0;
  return VbFormatDate(now, "HHMMSS") + VbFormat(fraction, ".00") + "-";
}

void DiagnosticLog::WriteLog(std::string_view message) {
  if (logFileName_.empty() || logControlValue_ == 0) return;
  // Two separate clock readings, as the stamp has always been made.
  const double now = loop_.Now();
  std::string stamp = Stamp(now, loop_.Timer());
  std::string text(message);
  auto startsWithTag = [&](char tag) {
    return text.size() >= 2 && text[0] == '~' &&
           std::toupper(static_cast<unsigned char>(text[1])) == tag;
  };
  if (startsWithTag('B')) {
    stamp = std::string(stamp.size(), ' ');
    text = text.substr(2);
  }
  if (startsWithTag('R')) stamp.clear();  // the tag stays in the text

  if (!FileExists(logFileName_)) {
    // Appending never creates the file: a vanished file loses the line.
    return;
  }
  std::ofstream out(logFileName_, std::ios::binary | std::ios::app);
  if (!out) return;
  if (text.empty()) {
    out << "\r\n";
  } else {
    out << stamp << text << "\r\n";
  }
}

void DiagnosticLog::LogException(const std::exception& e, std::string_view where, int16_t options) {
  if (const auto* vb = dynamic_cast<const VbRuntimeError*>(&e)) {
    LogError(vb->Number(), vb->Description(), where, options);
  } else {
    LogError(51, e.what(), where, options);
  }
}

void DiagnosticLog::LogError(int32_t number, std::string_view description, std::string_view where,
                             int16_t options) {
  std::string line1 = std::string(where) + "-ERROR-Code:" + std::to_string(number);
  std::string line2 = std::string(where.size(), ' ') + "      -Desc:" + std::string(description);
  if (logControlValue_ != 0) {
    WriteLog(line1);
    WriteLog("~B" + line2);
  }
  if ((options & 16) != 0) notices_.MessageBox(line1 + "\r\n" + line2, 0);
}

}  // namespace tavkelo
