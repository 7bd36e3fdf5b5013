#include "platform/Win32Text.hpp"

#include <windows.h>

namespace tavkelo {

std::wstring WideFromUtf8(const std::string& text) {
  if (text.empty()) return {};
  int n = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(n), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), n);
  return wide;
}

std::string Utf8FromWide(const std::wstring& text) {
  if (text.empty()) return {};
  int n = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0,
                                nullptr, nullptr);
  std::string narrow(static_cast<size_t>(n), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(), n,
                        nullptr, nullptr);
  return narrow;
}

std::string Win32ErrorText(unsigned long code) {
  wchar_t* buffer = nullptr;
  DWORD n = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, code, MAKELANGID(LANG_ENGLISH, SUBLANG_DEFAULT), reinterpret_cast<wchar_t*>(&buffer),
      0, nullptr);
  std::string text;
  if (n > 0 && buffer != nullptr) text = Utf8FromWide(std::wstring(buffer, n));
  if (buffer != nullptr) ::LocalFree(buffer);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
    text.pop_back();
  if (text.empty()) text = "Win32 error";
  return text + " (error " + std::to_string(code) + ")";
}

}  // namespace tavkelo
