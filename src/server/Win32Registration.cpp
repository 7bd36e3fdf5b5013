// Registration on Windows: "/REG" starts the server at the user's logon, with the other arguments
// given, through the per-user Run key; "/UNREG" removes that entry.
#include <windows.h>

#include <cstdio>
#include <string>

#include "server/Registration.hpp"

namespace tavkelo {

namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kValueName[] = L"TavKeloASM";

std::wstring Wide(const std::string& text) {
  const int size =
      ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

}  // namespace

std::string RegistrationUnitPath() {
  return "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run\\TavKeloASM";
}

int PerformRegistration(const std::string& registrationSwitch, const std::string& exePath,
                        const std::string& extraArguments) {
  const std::string entry = RegistrationUnitPath();
  HKEY key = nullptr;
  LSTATUS status = ::RegCreateKeyExW(HKEY_CURRENT_USER, kRunKey, 0, nullptr, 0,
                                     KEY_SET_VALUE | KEY_QUERY_VALUE, nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) {
    std::fprintf(stderr, "TavKeloASM: cannot open %s (system error %ld)\n", entry.c_str(),
                 static_cast<long>(status));
    return 1;
  }
  int result = 0;
  if (registrationSwitch.find("UNREG") != std::string::npos) {
    status = ::RegDeleteValueW(key, kValueName);
    std::printf("TavKeloASM: %s %s\n", status == ERROR_SUCCESS ? "removed" : "no entry at",
                entry.c_str());
    result = status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? 0 : 1;
  } else {
    // The path quoted: the folder may hold blanks.
    const std::wstring command =
        Wide("\"" + exePath + "\"" + (extraArguments.empty() ? "" : " " + extraArguments));
    status =
        ::RegSetValueExW(key, kValueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(command.c_str()),
                         static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t)));
    if (status == ERROR_SUCCESS) {
      std::printf("TavKeloASM: installed %s (the server starts at the next logon)\n",
                  entry.c_str());
    } else {
      std::fprintf(stderr, "TavKeloASM: cannot write %s (system error %ld)\n", entry.c_str(),
                   static_cast<long>(status));
      result = 1;
    }
  }
  ::RegCloseKey(key);
  return result;
}

}  // namespace tavkelo
