#pragma once
// The platform's profile functions, reproduced for a file system without them: sections and keys
// compared without regard to case, values trimmed of blanks (and of one pair of enclosing
// quotes), a missing file, section or key created on write, CR LF line ends, single-byte text.
// Every call reads or rewrites the file; nothing is cached.

#include <cstddef>
#include <string>

namespace tavkelo {

// Copies the value of [section] key into `out`, at most bufferSize - 1 characters, and returns
// the number copied. A missing file, section or key copies `defaultValue` instead.
size_t GetPrivateProfileString(const std::string& section, const std::string& key,
                               const std::string& defaultValue, std::string& out, size_t bufferSize,
                               const std::string& fileName);

// Writes key=value into [section], creating what is missing. Returns false when the file could
// not be written.
bool WritePrivateProfileString(const std::string& section, const std::string& key,
                               const std::string& value, const std::string& fileName);

}  // namespace tavkelo
