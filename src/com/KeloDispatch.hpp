#pragma once
// The automation object a COM client holds: IDispatch over one clsKeloInterface, late-bound by
// the member description. Names resolve case-insensitively to the description's dispatch ids
// (a property's get and put share one); parameter names resolve to their positions, for named
// arguments. Invoke converts each argument to its declared type with the classic coercion rules
// (VariantChangeTypeEx, locale-independent), takes by-reference arguments as VT_BYREF of any type
// or VT_BYREF|VT_VARIANT (what scripts pass) and writes the results back in the caller's type
// (the declared type into a Variant), lets by-reference arguments be left out, and reports what
// cannot be converted as DISP_E_TYPEMISMATCH or DISP_E_OVERFLOW with the argument's index. The
// members themselves never raise: they return their documented failure values.

#include <windows.h>
// after windows.h
#include <oaidl.h>

#include <functional>
#include <memory>

namespace tavkelo {

class clsKeloInterface;

class KeloDispatch final : public IDispatch {
 public:
  // `typeInfo` (may be null) is the dispatch interface's description from the type library;
  // `onFinalRelease` runs after the last reference has gone and the object is destroyed.
  KeloDispatch(std::unique_ptr<clsKeloInterface> object, ITypeInfo* typeInfo,
               std::function<void()> onFinalRelease);
  KeloDispatch(const KeloDispatch&) = delete;
  KeloDispatch& operator=(const KeloDispatch&) = delete;

  clsKeloInterface& Object() { return *object_; }

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags,
                                   DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                   UINT* argumentError) override;

 private:
  ~KeloDispatch();

  LONG references_ = 1;
  std::unique_ptr<clsKeloInterface> object_;
  ITypeInfo* typeInfo_;
  std::function<void()> onFinalRelease_;
};

}  // namespace tavkelo
