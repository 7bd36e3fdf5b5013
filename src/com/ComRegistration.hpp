#pragma once
// Registration of the automation class with COM, machine-wide under HKLM\Software\Classes (wine's
// COM reads no per-user classes): the class id with its name, its local server (the executable,
// quoted), its ProgID and type library; the ProgID "TavKeloASM.clsKeloInterface" with its class
// id; and the type library embedded in the executable, which also registers the dispatch
// interface for the type-library marshaller. Unregistering removes all of it.

#include <windows.h>

#include <string>

namespace tavkelo {

struct ComClassIdentity {
  CLSID clsid;
  GUID libid;
  const wchar_t* progId;     // "TavKeloASM.clsKeloInterface"
  const wchar_t* className;  // "clsKeloInterface"
};

// Both return an empty text on success, else what failed in the system's words.
std::string RegisterComServer(const ComClassIdentity& identity, const std::wstring& exePath);
std::string UnregisterComServer(const ComClassIdentity& identity, const std::wstring& exePath);

}  // namespace tavkelo
