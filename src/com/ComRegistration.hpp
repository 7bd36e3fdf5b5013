#pragma once
// Registration of the automation class with COM, machine-wide under HKLM\Software\Classes (wine's
// COM reads no per-user classes): the class id with its name, its local server (the executable,
// quoted, with the server's arguments), its ProgID and type library; the ProgID
// "TavKeloASM.clsKeloInterface" with its class id; and the type library embedded in the executable,
// which also registers the dispatch interface for the type-library marshaller. Unregistering
// removes all of it.

#include <windows.h>
// after windows.h
#include <oaidl.h>

#include <string>

namespace tavkelo {

struct ComClassIdentity {
  CLSID clsid{};
  GUID libid{};
  const wchar_t* progId = L"TavKeloASM.clsKeloInterface";
  const wchar_t* className = L"clsKeloInterface";
};

// Reads the class and library ids from the type library embedded in the executable, and, when
// `dispatch` is not null, gives the dispatch interface's type information (AddRef'd). Returns an
// empty text on success, else what failed.
std::string ReadComIdentity(const std::wstring& exePath, ComClassIdentity& identity,
                            ITypeInfo** dispatch);

// Both return an empty text on success, else what failed in the system's words.
// `arguments` follow the quoted executable in LocalServer32: COM starts the server with them (and
// "-Embedding").
std::string RegisterComServer(const ComClassIdentity& identity, const std::wstring& exePath,
                              const std::wstring& arguments);
std::string UnregisterComServer(const ComClassIdentity& identity, const std::wstring& exePath);

}  // namespace tavkelo
