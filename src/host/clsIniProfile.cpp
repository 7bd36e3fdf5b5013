#include "host/clsIniProfile.hpp"

#include "host/Notices.hpp"
#include "host/PrivateProfile.hpp"
#include "host/ProgramFile.hpp"
#include "platform/VbConvert.hpp"
#include "platform/VbError.hpp"
#include "platform/VbFormat.hpp"
#include "runtime/OleDate.hpp"

namespace tavkelo {

namespace {
// The directory separator of this platform's paths.
constexpr char kSep = kPathSeparator;
constexpr size_t kProfileBuffer = 200;
}  // namespace

clsIniProfile::clsIniProfile(const ProfileEnvironment& env) : env_(env) {
  SetFile(env.defaultFileName);
}

void clsIniProfile::WriteText(const std::string& Section, const std::string& Keyword,
                              const std::string& v) {
  WritePrivateProfileString(Section, Keyword, v, fileName_);
}

std::string clsIniProfile::GetText(const std::string& Section, const std::string& Keyword,
                                   const std::string& Default) {
  std::string buffer;
  size_t copied = GetPrivateProfileString(Section, Keyword, "", buffer, kProfileBuffer, fileName_);
  if (copied == 0) {
    // Missing or empty: the default goes into the file, deliberately.
    WritePrivateProfileString(Section, Keyword, Default, fileName_);
    return Default.substr(0, kProfileBuffer);
  }
  return buffer.substr(0, copied);
}

bool clsIniProfile::ParseProfileBoolean(const std::string& text) {
  if (VbVal(text) != 0.0) return true;
  const std::string upper = VbUCase(text);
  return upper == "YES" || upper == "Y" || upper == "TRUE" || upper == "T";
}

bool clsIniProfile::GetBoolean(const std::string& Section, const std::string& Keyword,
                               bool Default) {
  return ParseProfileBoolean(GetText(Section, Keyword, BoolText(Default)));
}

int16_t clsIniProfile::GetInteger(const std::string& Section, const std::string& Keyword,
                                  int16_t Default) {
  return VbCInt(VbVal(GetText(Section, Keyword, VbFormat(static_cast<int>(Default), "0"))));
}

int32_t clsIniProfile::GetLong(const std::string& Section, const std::string& Keyword,
                               int32_t Default) {
  return VbCLng(VbVal(GetText(Section, Keyword, VbFormat(static_cast<int>(Default), "0"))));
}

double clsIniProfile::GetReal(const std::string& Section, const std::string& Keyword,
                              double Default) {
  return VbVal(GetText(Section, Keyword, VbStr(Default)));
}

double clsIniProfile::GetDate(const std::string& Section, const std::string& Keyword,
                              double Default) {
  std::string text = GetText(Section, Keyword, VbFormatDate(Default, "yyyy-MM-dd HH:mm:ss"));
  std::optional<double> parsed = ParseOleDate(text);
  return parsed ? *parsed : Default;
}

void clsIniProfile::GetValue(const std::string& Section, const std::string& Keyword,
                             ProfileVariant& DestinationVariable,
                             const ProfileVariant& DefaultValue) {
  // The default is converted to the destination's type as the classic conversions do: a text
  // must be a whole number text (or "True"/"False" for a Boolean), anything else is a type
  // mismatch raised to the caller.
  auto defaultNumber = [&]() -> double {
    if (auto* i16 = std::get_if<int16_t>(&DefaultValue)) return *i16;
    if (auto* i32 = std::get_if<int32_t>(&DefaultValue)) return *i32;
    if (auto* f = std::get_if<float>(&DefaultValue)) return static_cast<double>(*f);
    if (auto* d = std::get_if<double>(&DefaultValue)) return *d;
    if (auto* b = std::get_if<bool>(&DefaultValue)) return *b ? -1.0 : 0.0;
    if (auto* date = std::get_if<ProfileDate>(&DefaultValue)) return date->value;
    if (auto* s = std::get_if<std::string>(&DefaultValue)) {
      std::optional<double> number = VbNumberText(*s);
      if (!number) throw VbRuntimeErrorTypeMismatch();
      return *number;
    }
    return 0.0;  // empty
  };
  auto defaultText = [&]() -> std::string {
    if (auto* s = std::get_if<std::string>(&DefaultValue)) return *s;
    if (auto* b = std::get_if<bool>(&DefaultValue)) return BoolText(*b);
    if (auto* date = std::get_if<ProfileDate>(&DefaultValue))
      return VbFormatDate(date->value, "yyyy-MM-dd HH:mm:ss");
    if (std::holds_alternative<std::monostate>(DefaultValue)) return "";
    if (auto* f = std::get_if<float>(&DefaultValue)) return VbStr(*f);
    if (auto* i16 = std::get_if<int16_t>(&DefaultValue)) return std::to_string(*i16);
    if (auto* i32 = std::get_if<int32_t>(&DefaultValue)) return std::to_string(*i32);
    return VbStr(defaultNumber());
  };
  auto defaultBool = [&]() -> bool {
    if (auto* b = std::get_if<bool>(&DefaultValue)) return *b;
    if (auto* s = std::get_if<std::string>(&DefaultValue)) {
      const std::string upper = VbUCase(*s);
      if (upper == "TRUE") return true;
      if (upper == "FALSE") return false;
    }
    return defaultNumber() != 0.0;
  };

  if (std::holds_alternative<int16_t>(DestinationVariable)) {
    DestinationVariable = GetInteger(Section, Keyword, VbCInt(defaultNumber()));
  } else if (std::holds_alternative<int32_t>(DestinationVariable)) {
    DestinationVariable = GetLong(Section, Keyword, VbCLng(defaultNumber()));
  } else if (std::holds_alternative<float>(DestinationVariable) ||
             std::holds_alternative<double>(DestinationVariable)) {
    DestinationVariable = GetReal(Section, Keyword, defaultNumber());  // stored back as a double
  } else if (std::holds_alternative<std::string>(DestinationVariable)) {
    DestinationVariable = GetText(Section, Keyword, defaultText());
  } else if (std::holds_alternative<bool>(DestinationVariable)) {
    DestinationVariable = ParseProfileBoolean(GetText(Section, Keyword, BoolText(defaultBool())));
  }
  // Dates and empty destinations are left alone, deliberately.
}

void clsIniProfile::SetFile(const std::string& fname) {
  fileName_ = ResolveProfilePath(fname, ".INI");
}

clsIniProfile::PathParts clsIniProfile::SplitProfilePath(const std::string& path) {
  PathParts parts;
  size_t colon = path.find(':');
  size_t afterDrive = 0;
  if (colon != std::string::npos) {
    parts.drive = path.substr(0, colon + 1);
    afterDrive = colon + 1;
  }
  size_t lastSep = path.rfind(kSep);
  size_t nameStart = afterDrive;
  if (lastSep != std::string::npos && lastSep >= afterDrive) {
    parts.directory = path.substr(afterDrive, lastSep + 1 - afterDrive);
    nameStart = lastSep + 1;
  }
  size_t dot = path.find('.', nameStart);
  if (dot == std::string::npos) {
    parts.baseName = path.substr(nameStart);
  } else {
    parts.baseName = path.substr(nameStart, dot - nameStart);
    parts.extension = path.substr(dot);
  }
  return parts;
}

std::string clsIniProfile::ResolveProfilePath(const std::string& name,
                                              const std::string& defaultExtension) const {
  // The runtime probe: a native build always has the facility, but the outcome of a failed
  // probe is kept reachable.
  if (env_.failRuntimeProbe) {
    if (env_.notices != nullptr) env_.notices->MessageBox("MSAFINX.DLL is missing", 4112);
    return "";
  }
  PathParts nameParts = SplitProfilePath(name);
  std::string folder = env_.appPath;
  if (!folder.empty() && folder.back() != kSep) folder.push_back(kSep);
  PathParts folderParts = SplitProfilePath(folder);

  std::string full = !nameParts.drive.empty() ? nameParts.drive : folderParts.drive;
  if (nameParts.directory.empty() || nameParts.directory.front() != kSep)
    full += folderParts.directory;
  full += nameParts.directory;
  if (full.empty() || full.back() != kSep) full.push_back(kSep);
  full += nameParts.baseName;
  full += !nameParts.extension.empty() ? nameParts.extension : defaultExtension;
  return full;
}

}  // namespace tavkelo
