#include "com/KeloDispatch.hpp"

#include <windows.h>
// after windows.h
#include <oleauto.h>

#include <cwctype>
#include <string>
#include <vector>

#include "automation/MemberBinding.hpp"
#include "automation/clsKeloInterface.hpp"
#include "members/MemberTable.hpp"
#include "platform/Win32Text.hpp"

namespace tavkelo {

namespace {

// The description's member names by dispatch id (id 1 is index 0).
const std::vector<std::string>& NamesById() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> byId;
    for (const MemberInfo& m : MemberTable()) {
      int32_t id = DispatchId(m.name);
      if (static_cast<size_t>(id) > byId.size()) byId.resize(static_cast<size_t>(id));
      byId[static_cast<size_t>(id) - 1] = m.name;
    }
    return byId;
  }();
  return names;
}

bool SameName(const std::wstring& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::towlower(a[i]) != std::towlower(static_cast<unsigned char>(b[i]))) return false;
  }
  return true;
}

VARTYPE DeclaredType(const AutoTypeRef& type) {
  switch (type.type) {
    case AutoType::Boolean:
      return VT_BOOL;
    case AutoType::Byte:
      return VT_UI1;
    case AutoType::Integer:
      return VT_I2;
    case AutoType::Long:
    case AutoType::Enum:
      return VT_I4;
    case AutoType::Single:
      return VT_R4;
    case AutoType::String:
      return VT_BSTR;
    case AutoType::Void:
      break;
  }
  return VT_EMPTY;
}

// A value of the declared type, as the binding takes it.
AutoValue FromVariant(const VARIANT& v) {
  switch (V_VT(&v)) {
    case VT_BOOL:
      return V_BOOL(&v) != VARIANT_FALSE;
    case VT_UI1:
      return static_cast<uint8_t>(V_UI1(&v));
    case VT_I2:
      return static_cast<int16_t>(V_I2(&v));
    case VT_I4:
      return static_cast<int32_t>(V_I4(&v));
    case VT_R4:
      return V_R4(&v);
    case VT_BSTR:
      return Utf8FromWide(V_BSTR(&v) != nullptr ? std::wstring(V_BSTR(&v), SysStringLen(V_BSTR(&v)))
                                                : std::wstring());
    default:
      return {};
  }
}

// A binding's value as a Variant of its declared type (Empty for none).
void ToVariant(const AutoValue& value, VARIANT& out) {
  VariantInit(&out);
  if (auto* b = std::get_if<bool>(&value)) {
    V_VT(&out) = VT_BOOL;
    V_BOOL(&out) = *b ? VARIANT_TRUE : VARIANT_FALSE;
  } else if (auto* u = std::get_if<uint8_t>(&value)) {
    V_VT(&out) = VT_UI1;
    V_UI1(&out) = *u;
  } else if (auto* i = std::get_if<int16_t>(&value)) {
    V_VT(&out) = VT_I2;
    V_I2(&out) = *i;
  } else if (auto* l = std::get_if<int32_t>(&value)) {
    V_VT(&out) = VT_I4;
    V_I4(&out) = *l;
  } else if (auto* f = std::get_if<float>(&value)) {
    V_VT(&out) = VT_R4;
    V_R4(&out) = *f;
  } else if (auto* s = std::get_if<std::string>(&value)) {
    std::wstring wide = WideFromUtf8(*s);
    V_VT(&out) = VT_BSTR;
    V_BSTR(&out) = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  }
}

bool LeftOut(const VARIANT* v) {
  return v == nullptr || (V_VT(v) == VT_ERROR && V_ERROR(v) == DISP_E_PARAMNOTFOUND);
}

// Writes a by-reference result back through the caller's reference: into a Variant as the
// declared type, into a typed reference converted to that type.
HRESULT WriteBack(VARIANT& target, const AutoValue& value) {
  VARIANT result;
  ToVariant(value, result);
  HRESULT hr = S_OK;
  if (V_VT(&target) == (VT_BYREF | VT_VARIANT)) {
    VARIANT* inner = V_VARIANTREF(&target);
    VariantClear(inner);
    *inner = result;  // the Variant takes the result over
    return S_OK;
  }
  if (!(V_VT(&target) & VT_BYREF)) {
    VariantClear(&result);
    return S_OK;  // passed by value: nothing to give back
  }
  const VARTYPE wanted = static_cast<VARTYPE>(V_VT(&target) & ~VT_BYREF);
  VARIANT converted;
  VariantInit(&converted);
  hr = VariantChangeTypeEx(&converted, &result, LOCALE_INVARIANT, 0, wanted);
  VariantClear(&result);
  if (FAILED(hr)) return hr;
  switch (wanted) {
    case VT_BOOL:
      *V_BOOLREF(&target) = V_BOOL(&converted);
      break;
    case VT_UI1:
      *V_UI1REF(&target) = V_UI1(&converted);
      break;
    case VT_I2:
      *V_I2REF(&target) = V_I2(&converted);
      break;
    case VT_I4:
      *V_I4REF(&target) = V_I4(&converted);
      break;
    case VT_R4:
      *V_R4REF(&target) = V_R4(&converted);
      break;
    case VT_R8:
      *V_R8REF(&target) = V_R8(&converted);
      break;
    case VT_CY:
      *V_CYREF(&target) = V_CY(&converted);
      break;
    case VT_DATE:
      *V_DATEREF(&target) = V_DATE(&converted);
      break;
    case VT_BSTR:
      SysFreeString(*V_BSTRREF(&target));
      *V_BSTRREF(&target) = V_BSTR(&converted);
      return S_OK;  // the reference owns the string now
    default:
      VariantClear(&converted);
      return DISP_E_TYPEMISMATCH;
  }
  VariantClear(&converted);
  return S_OK;
}

const BoundMember* ChooseMember(const std::string& name, WORD flags) {
  if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF))
    return FindBoundMember(name, MemberKind::PropertyPut);
  const BoundMember* method =
      (flags & DISPATCH_METHOD) ? FindBoundMember(name, MemberKind::Method) : nullptr;
  if (method != nullptr) return method;
  if (flags & DISPATCH_PROPERTYGET) {
    if (const BoundMember* get = FindBoundMember(name, MemberKind::PropertyGet)) return get;
    return FindBoundMember(name, MemberKind::Method);  // a method read like a property
  }
  if (flags & DISPATCH_METHOD) return FindBoundMember(name, MemberKind::PropertyGet);
  return nullptr;
}

}  // namespace

KeloDispatch::KeloDispatch(std::unique_ptr<clsKeloInterface> object, ITypeInfo* typeInfo,
                           std::function<void()> onFinalRelease)
    : object_(std::move(object)), typeInfo_(typeInfo), onFinalRelease_(std::move(onFinalRelease)) {
  if (typeInfo_ != nullptr) typeInfo_->AddRef();
}

KeloDispatch::~KeloDispatch() {
  if (typeInfo_ != nullptr) typeInfo_->Release();
}

HRESULT KeloDispatch::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  bool ours = IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch);
  if (!ours && typeInfo_ != nullptr) {
    TYPEATTR* attributes = nullptr;
    if (SUCCEEDED(typeInfo_->GetTypeAttr(&attributes))) {
      ours = IsEqualIID(riid, attributes->guid);  // the dispatch interface _clsKeloInterface
      typeInfo_->ReleaseTypeAttr(attributes);
    }
  }
  if (!ours) return E_NOINTERFACE;
  *object = static_cast<IDispatch*>(this);
  AddRef();
  return S_OK;
}

ULONG KeloDispatch::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&references_));
}

ULONG KeloDispatch::Release() {
  LONG left = InterlockedDecrement(&references_);
  if (left == 0) {
    std::function<void()> released = std::move(onFinalRelease_);
    delete this;  // the interface object's termination runs here, on the calling thread
    if (released) released();
  }
  return static_cast<ULONG>(left);
}

HRESULT KeloDispatch::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = typeInfo_ != nullptr ? 1 : 0;
  return S_OK;
}

HRESULT KeloDispatch::GetTypeInfo(UINT index, LCID, ITypeInfo** info) {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  if (index != 0 || typeInfo_ == nullptr) return DISP_E_BADINDEX;
  typeInfo_->AddRef();
  *info = typeInfo_;
  return S_OK;
}

HRESULT KeloDispatch::GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (!IsEqualIID(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  const std::wstring member = names[0] != nullptr ? names[0] : L"";
  const std::vector<std::string>& byId = NamesById();
  std::string name;
  for (size_t i = 0; i < byId.size(); ++i) {
    if (SameName(member, byId[i])) {
      ids[0] = static_cast<DISPID>(i + 1);
      name = byId[i];
      break;
    }
  }
  if (name.empty()) return DISP_E_UNKNOWNNAME;
  // Parameter names: their positions in the member (a method; properties take none by name).
  const MemberInfo* described = FindMember(name, MemberKind::Method);
  HRESULT hr = S_OK;
  for (UINT i = 1; i < count; ++i) {
    const std::wstring parameter = names[i] != nullptr ? names[i] : L"";
    if (described != nullptr) {
      for (size_t p = 0; p < described->params.size(); ++p) {
        if (SameName(parameter, described->params[p].name)) ids[i] = static_cast<DISPID>(p);
      }
    }
    if (ids[i] == DISPID_UNKNOWN) hr = DISP_E_UNKNOWNNAME;
  }
  return hr;
}

HRESULT KeloDispatch::Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS* params,
                             VARIANT* result, EXCEPINFO*, UINT* argumentError) {
  if (!IsEqualIID(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
  const std::vector<std::string>& byId = NamesById();
  if (id < 1 || static_cast<size_t>(id) > byId.size()) return DISP_E_MEMBERNOTFOUND;
  const BoundMember* member = ChooseMember(byId[static_cast<size_t>(id) - 1], flags);
  if (member == nullptr) return DISP_E_MEMBERNOTFOUND;
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  if (params == nullptr) params = &none;

  // Where each parameter's argument is: named ones by their ids, the rest by position (the
  // arguments come last to first).
  const size_t count = member->params.size();
  std::vector<VARIANT*> slots(count, nullptr);
  std::vector<UINT> slotIndex(count, 0);
  const UINT named = params->cNamedArgs;
  const UINT positional = params->cArgs - named;
  if (params->cArgs > count) return DISP_E_BADPARAMCOUNT;
  for (UINT n = 0; n < named; ++n) {
    DISPID target = params->rgdispidNamedArgs[n];
    if (member->kind == MemberKind::PropertyPut && target == DISPID_PROPERTYPUT) target = 0;
    if (target < 0 || static_cast<size_t>(target) >= count) return DISP_E_PARAMNOTFOUND;
    slots[static_cast<size_t>(target)] = &params->rgvarg[n];
    slotIndex[static_cast<size_t>(target)] = n;
  }
  if (member->kind == MemberKind::PropertyPut && named == 0) return DISP_E_PARAMNOTOPTIONAL;
  for (UINT p = 0; p < positional; ++p) {
    const UINT index = params->cArgs - 1 - p;
    if (slots[p] != nullptr) return DISP_E_PARAMNOTFOUND;  // given twice
    slots[p] = &params->rgvarg[index];
    slotIndex[p] = index;
  }

  std::vector<AutoValue> arguments(count);
  for (size_t p = 0; p < count; ++p) {
    const ParamInfo& parameter = member->params[p];
    const VARTYPE declared = DeclaredType(parameter.type);
    VARIANT converted;
    VariantInit(&converted);
    if (LeftOut(slots[p])) {
      // A by-reference argument may be left out: the member gets the type's zero value.
      if (!parameter.byRef) return DISP_E_PARAMNOTOPTIONAL;
      V_VT(&converted) = declared;
      if (declared == VT_BSTR) V_BSTR(&converted) = SysAllocString(L"");
    } else {
      HRESULT hr = VariantChangeTypeEx(&converted, slots[p], LOCALE_INVARIANT, 0, declared);
      if (FAILED(hr)) {
        if (argumentError != nullptr) *argumentError = slotIndex[p];
        return hr == DISP_E_OVERFLOW ? DISP_E_OVERFLOW : DISP_E_TYPEMISMATCH;
      }
    }
    arguments[p] = FromVariant(converted);
    VariantClear(&converted);
  }

  AutoValue value = member->invoke(*object_, arguments);

  for (size_t p = 0; p < count; ++p) {
    if (!member->params[p].byRef || LeftOut(slots[p])) continue;
    HRESULT hr = WriteBack(*slots[p], arguments[p]);
    if (FAILED(hr)) {
      if (argumentError != nullptr) *argumentError = slotIndex[p];
      return hr;
    }
  }
  if (result != nullptr) {
    VariantInit(result);
    ToVariant(value, *result);
  }
  return S_OK;
}

}  // namespace tavkelo
