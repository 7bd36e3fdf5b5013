// LateBoundClient: a C++ inspection program's use of TavKeloASM through COM. Late-bound calls go
// through IDispatch (names to ids at run time, as scripts and most programs do); early-bound calls
// take the ids and the enumerations from the registered type library and its header
// (TavKeloASM.h, made by widl), as a program compiled against the library does.
//   LateBoundClient [PORT] [--hold FILE]
// With --hold, the object stays connected (reading live values) until FILE exists, so that a
// second client can share the server meanwhile. Ends with "N passed, N failed".
#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include "TavKeloASM.h"

namespace {

int passed = 0;
int failed = 0;

void Check(bool ok, const std::string& what) {
  if (ok) {
    ++passed;
  } else {
    ++failed;
    std::printf("FAIL %s\n", what.c_str());
  }
}

// One argument as a Variant: an integer, a float, a text or a Variant reference.
VARIANT Long(LONG value) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_I4;
  V_I4(&v) = value;
  return v;
}
VARIANT Real(double value) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_R8;
  V_R8(&v) = value;
  return v;
}
VARIANT Bool(bool value) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BOOL;
  V_BOOL(&v) = value ? VARIANT_TRUE : VARIANT_FALSE;
  return v;
}
VARIANT Text(const wchar_t* value) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BSTR;
  V_BSTR(&v) = SysAllocString(value);
  return v;
}
VARIANT RefTo(VARIANT* target) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&v) = target;
  return v;
}

// Invoke by id, the arguments given first to last; the result converted to `type`.
HRESULT Invoke(IDispatch* object, DISPID id, WORD flags, std::vector<VARIANT> args,
               VARIANT& result) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS params{reversed.data(), flags == DISPATCH_PROPERTYPUT ? &put : nullptr,
                    static_cast<UINT>(reversed.size()), flags == DISPATCH_PROPERTYPUT ? 1u : 0u};
  VariantInit(&result);
  HRESULT hr = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, &result, nullptr,
                              nullptr);
  for (VARIANT& v : reversed) {
    if (!(V_VT(&v) & VT_BYREF)) VariantClear(&v);
  }
  return hr;
}

// Late-bound: the name looked up on the object first.
HRESULT Call(IDispatch* object, const wchar_t* name, WORD flags, std::vector<VARIANT> args,
             VARIANT& result) {
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR names = const_cast<LPOLESTR>(name);
  HRESULT hr = object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  if (FAILED(hr)) return hr;
  return Invoke(object, id, flags, std::move(args), result);
}

LONG AsLong(const VARIANT& v) {
  VARIANT converted;
  VariantInit(&converted);
  if (FAILED(VariantChangeType(&converted, const_cast<VARIANT*>(&v), 0, VT_I4))) return -99999;
  return V_I4(&converted);
}

std::string Narrow(const wchar_t* text) {
  std::string out;
  for (; text != nullptr && *text != 0; ++text) out += static_cast<char>(*text);
  return out;
}

}  // namespace

int main(int argc, char** argv) {
  LONG port = 1;
  std::string holdFile;
  for (int i = 1; i < argc; ++i) {
    if (std::string(argv[i]) == "--hold" && i + 1 < argc) {
      holdFile = argv[++i];
    } else {
      port = std::atol(argv[i]);
    }
  }
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  CLSID clsid{};
  IDispatch* k = nullptr;
  HRESULT hr = CLSIDFromProgID(L"TavKeloASM.clsKeloInterface", &clsid);
  if (SUCCEEDED(hr))
    hr = CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch,
                          reinterpret_cast<void**>(&k));
  Check(SUCCEEDED(hr) && k != nullptr, "CoCreateInstance: " + std::to_string(hr));
  if (k == nullptr) {
    std::printf("%d passed, %d failed\n", passed, failed);
    return 1;
  }
  Check(IsEqualCLSID(clsid, CLSID_clsKeloInterface), "the ProgID names the library's class");

  VARIANT r;
  Check(SUCCEEDED(Call(k, L"Init", DISPATCH_METHOD,
                       {Bool(true), Long(port), Long(9600), Text(L"N")}, r)),
        "Init");
  Check(SUCCEEDED(Call(k, L"Connect", DISPATCH_METHOD, {}, r)) && V_VT(&r) == VT_BOOL &&
            V_BOOL(&r) == VARIANT_TRUE,
        "Connect");

  // Property reads in their declared types.
  struct Read {
    const wchar_t* name;
    VARTYPE type;
  };
  for (Read read : {Read{L"SerialPort", VT_I2}, Read{L"BaudRate", VT_I4}, Read{L"Parity", VT_BSTR},
                    Read{L"Connected", VT_BOOL}, Read{L"PrimarySpeedMPH", VT_R4},
                    Read{L"ASMTestMode", VT_UI1}, Read{L"CurTest", VT_I4}}) {
    hr = Call(k, read.name, DISPATCH_PROPERTYGET, {}, r);
    Check(SUCCEEDED(hr) && V_VT(&r) == read.type, Narrow(read.name));
    VariantClear(&r);
  }

  // A command, a test-parameter setter and a by-reference result.
  Check(SUCCEEDED(Call(k, L"RaiseLifts", DISPATCH_METHOD, {Bool(true), Bool(false)}, r)) &&
            AsLong(r) == gQRTXErrNoError,
        "RaiseLifts");
  Check(SUCCEEDED(Call(k, L"SetWarmupTestParameters", DISPATCH_METHOD, {Real(30)}, r)) &&
            AsLong(r) == gQRTXErrNoError,
        "SetWarmupTestParameters");
  VARIANT twd, fwd, twdUnseen, fwdUnseen;
  for (VARIANT* v : {&twd, &fwd, &twdUnseen, &fwdUnseen}) VariantInit(v);
  Check(SUCCEEDED(Call(k, L"GetParasiticsAtSpeed", DISPATCH_METHOD,
                       {Real(15), RefTo(&twd), RefTo(&fwd), RefTo(&twdUnseen), RefTo(&fwdUnseen)},
                       r)) &&
            V_VT(&twd) == VT_R4 && V_VT(&fwdUnseen) == VT_R4,
        "GetParasiticsAtSpeed by reference");

  // Every error constant has its text.
  for (LONG e : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 200, 201, 202}) {
    hr = Call(k, L"ErrorConstantToString", DISPATCH_METHOD, {Long(e)}, r);
    Check(SUCCEEDED(hr) && V_VT(&r) == VT_BSTR && SysStringLen(V_BSTR(&r)) > 0,
          "ErrorConstantToString(" + std::to_string(e) + ")");
    VariantClear(&r);
  }

  // Early-bound: ids from the registered type library, the same the object gives.
  ITypeLib* library = nullptr;
  ITypeInfo* info = nullptr;
  hr = LoadRegTypeLib(LIBID_TavKeloASM, 1, 0, LOCALE_NEUTRAL, &library);
  if (SUCCEEDED(hr)) hr = library->GetTypeInfoOfGuid(DIID__clsKeloInterface, &info);
  Check(SUCCEEDED(hr) && info != nullptr, "the registered type library");
  for (const wchar_t* name : {L"Connected", L"PrimarySpeedMPH", L"StartTest", L"StopTest",
                              L"ErrorConstantToString", L"AutoUpdateEnabled"}) {
    DISPID fromLibrary = DISPID_UNKNOWN, fromObject = DISPID_UNKNOWN;
    LPOLESTR names = const_cast<LPOLESTR>(name);
    if (info != nullptr) info->GetIDsOfNames(&names, 1, &fromLibrary);
    k->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &fromObject);
    Check(fromLibrary != DISPID_UNKNOWN && fromLibrary == fromObject,
          "the library's id of " + Narrow(name));
  }
  if (info != nullptr) {
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR name = const_cast<LPOLESTR>(L"ErrorConstantToString");
    info->GetIDsOfNames(&name, 1, &id);
    Check(SUCCEEDED(Invoke(k, id, DISPATCH_METHOD, {Long(gQRTXErrCommError)}, r)) &&
              V_VT(&r) == VT_BSTR,
          "an early-bound call");
    VariantClear(&r);
    info->Release();
  }
  if (library != nullptr) library->Release();

  // Holding on: live values keep coming while another client uses the same server.
  if (!holdFile.empty()) {
    std::printf("holding\n");
    std::fflush(stdout);
    int reads = 0;
    while (GetFileAttributesA(holdFile.c_str()) == INVALID_FILE_ATTRIBUTES) {
      if (SUCCEEDED(Call(k, L"TimeSinceLastUpdate", DISPATCH_PROPERTYGET, {}, r))) ++reads;
      Sleep(200);
    }
    Check(reads > 0, "reads while holding");
  }

  Call(k, L"DisConnect", DISPATCH_METHOD, {}, r);
  k->Release();
  CoUninitialize();
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}
