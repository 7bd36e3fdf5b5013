#include "com/ComRegistration.hpp"

// after windows.h
#include <oleauto.h>

#include "platform/Win32Text.hpp"

namespace tavkelo {

namespace {

std::wstring GuidText(const GUID& guid) {
  wchar_t text[40] = {};
  ::StringFromGUID2(guid, text, 40);
  return text;
}

std::string Failed(const char* what, long code) {
  return std::string(what) + ": " + Win32ErrorText(static_cast<unsigned long>(code));
}

// Sets the default value (name null) or a named value of HKLM\Software\Classes\<key>.
LSTATUS SetValue(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  HKEY handle = nullptr;
  LSTATUS status = ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, (L"Software\\Classes\\" + key).c_str(), 0,
                                     nullptr, 0, KEY_WRITE, nullptr, &handle, nullptr);
  if (status != ERROR_SUCCESS) return status;
  status = ::RegSetValueExW(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                            static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  ::RegCloseKey(handle);
  return status;
}

LSTATUS DeleteTree(const std::wstring& key) {
  LSTATUS status = ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, (L"Software\\Classes\\" + key).c_str());
  if (status == ERROR_SUCCESS) {
    status = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, (L"Software\\Classes\\" + key).c_str());
  }
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

}  // namespace

std::string ReadComIdentity(const std::wstring& exePath, ComClassIdentity& identity,
                            ITypeInfo** dispatch) {
  if (dispatch != nullptr) *dispatch = nullptr;
  ITypeLib* library = nullptr;
  HRESULT hr = ::LoadTypeLibEx(exePath.c_str(), REGKIND_NONE, &library);
  if (FAILED(hr)) return Failed("cannot load the type library from the executable", hr);
  TLIBATTR* attributes = nullptr;
  if (SUCCEEDED(library->GetLibAttr(&attributes))) {
    identity.libid = attributes->guid;
    library->ReleaseTLibAttr(attributes);
  }
  bool foundClass = false;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    TYPEKIND kind{};
    ITypeInfo* info = nullptr;
    if (FAILED(library->GetTypeInfoType(i, &kind)) || FAILED(library->GetTypeInfo(i, &info)))
      continue;
    TYPEATTR* type = nullptr;
    if (SUCCEEDED(info->GetTypeAttr(&type))) {
      if (kind == TKIND_COCLASS) {
        identity.clsid = type->guid;
        foundClass = true;
      } else if (kind == TKIND_DISPATCH && dispatch != nullptr && *dispatch == nullptr) {
        info->AddRef();
        *dispatch = info;
      }
      info->ReleaseTypeAttr(type);
    }
    info->Release();
  }
  library->Release();
  return foundClass ? std::string() : "the type library has no class";
}

std::string RegisterComServer(const ComClassIdentity& identity, const std::wstring& exePath,
                              const std::wstring& arguments) {
  const std::wstring clsid = L"CLSID\\" + GuidText(identity.clsid);
  const std::wstring progId = identity.progId;
  const struct {
    std::wstring key;
    const wchar_t* name;
    std::wstring value;
  } values[] = {
      {clsid, nullptr, identity.className},
      {clsid + L"\\LocalServer32", nullptr,
       L"\"" + exePath + L"\"" + (arguments.empty() ? L"" : L" " + arguments)},
      {clsid + L"\\ProgID", nullptr, progId},
      {clsid + L"\\TypeLib", nullptr, GuidText(identity.libid)},
      {progId, nullptr, progId},
      {progId + L"\\CLSID", nullptr, GuidText(identity.clsid)},
  };
  for (const auto& v : values) {
    if (LSTATUS status = SetValue(v.key, v.name, v.value); status != ERROR_SUCCESS)
      return Failed("cannot write HKLM\\Software\\Classes", status);
  }
  ITypeLib* library = nullptr;
  HRESULT hr = ::LoadTypeLibEx(exePath.c_str(), REGKIND_NONE, &library);
  if (FAILED(hr)) return Failed("cannot load the type library from the executable", hr);
  hr = ::RegisterTypeLib(library, const_cast<wchar_t*>(exePath.c_str()), nullptr);
  library->Release();
  if (FAILED(hr)) return Failed("cannot register the type library", hr);
  return {};
}

std::string UnregisterComServer(const ComClassIdentity& identity, const std::wstring& exePath) {
  std::string problem;
  ITypeLib* library = nullptr;
  if (SUCCEEDED(::LoadTypeLibEx(exePath.c_str(), REGKIND_NONE, &library))) {
    TLIBATTR* attributes = nullptr;
    if (SUCCEEDED(library->GetLibAttr(&attributes))) {
      HRESULT hr =
          ::UnRegisterTypeLib(attributes->guid, attributes->wMajorVerNum, attributes->wMinorVerNum,
                              attributes->lcid, attributes->syskind);
      if (FAILED(hr) && hr != TYPE_E_REGISTRYACCESS) problem = Failed("type library", hr);
      library->ReleaseTLibAttr(attributes);
    }
    library->Release();
  }
  // Whatever the type library left (an older version's keys, for one) goes with the rest.
  for (const std::wstring& key :
       {L"CLSID\\" + GuidText(identity.clsid), std::wstring(identity.progId),
        L"TypeLib\\" + GuidText(identity.libid)}) {
    if (LSTATUS status = DeleteTree(key); status != ERROR_SUCCESS && problem.empty())
      problem = Failed("cannot remove HKLM\\Software\\Classes keys", status);
  }
  return problem;
}

}  // namespace tavkelo
