#pragma once
// The one way the program reads and writes its INI file. Every typed read passes its default
// through as text, and a key that is missing or empty is written back with that default, so the
// file fills itself with every key the program has asked for.

#include <cstdint>
#include <string>
#include <variant>

#include "host/ProfileEnvironment.hpp"

namespace tavkelo {

// An OLE date kept apart from a plain double so GetValue can tell the two apart.
struct ProfileDate {
  double value = 0.0;
};

// The value kinds GetValue dispatches on; std::monostate stands for "empty".
using ProfileVariant =
    std::variant<std::monostate, int16_t, int32_t, float, double, std::string, bool, ProfileDate>;

class clsIniProfile {
 public:
  explicit clsIniProfile(const ProfileEnvironment& env);

  void WriteText(const std::string& Section, const std::string& Keyword, const std::string& v);
  void GetValue(const std::string& Section, const std::string& Keyword,
                ProfileVariant& DestinationVariable, const ProfileVariant& DefaultValue);
  std::string GetText(const std::string& Section, const std::string& Keyword,
                      const std::string& Default);
  bool GetBoolean(const std::string& Section, const std::string& Keyword, bool Default);
  int16_t GetInteger(const std::string& Section, const std::string& Keyword, int16_t Default);
  int32_t GetLong(const std::string& Section, const std::string& Keyword, int32_t Default);
  double GetReal(const std::string& Section, const std::string& Keyword, double Default);
  double GetDate(const std::string& Section, const std::string& Keyword, double Default);
  void SetFile(const std::string& fname);

  const std::string& FileName() const { return fileName_; }

  // The path pieces of SplitProfilePath.
  struct PathParts {
    std::string drive, directory, baseName, extension;
  };
  std::string ResolveProfilePath(const std::string& name,
                                 const std::string& defaultExtension) const;
  static PathParts SplitProfilePath(const std::string& path);
  static bool ParseProfileBoolean(const std::string& text);

 private:
  const ProfileEnvironment& env_;
  std::string fileName_;
};

}  // namespace tavkelo
