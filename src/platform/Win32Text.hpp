#pragma once
// Text across the Win32 boundary: UTF-8 inside the program, UTF-16 for the wide API, and the
// system's own wording of an error code.

#include <string>

namespace tavkelo {

std::wstring WideFromUtf8(const std::string& text);
std::string Utf8FromWide(const std::wstring& text);
// "The system cannot find the file specified. (error 2)"
std::string Win32ErrorText(unsigned long code);

}  // namespace tavkelo
