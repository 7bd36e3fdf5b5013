// A COM client's late-bound calls on the automation object, made in-process the way the
// marshaller hands them over: names to ids, arguments last to first, scripts' by-reference
// Variants and typed references, named and left-out arguments, and what cannot be converted.
#include <windows.h>
// after windows.h
#include <gtest/gtest.h>
#include <oleauto.h>

#include <string>
#include <vector>

#include "automation/clsKeloInterface.hpp"
#include "com/KeloDispatch.hpp"
#include "members/MemberTable.hpp"
#include "platform/Win32Text.hpp"
#include "support/InterfaceFixture.hpp"

namespace tavkelo {
namespace {

VARIANT Bstr(const wchar_t* text) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_BSTR;
  V_BSTR(&v) = SysAllocString(text);
  return v;
}

template <class T>
VARIANT Of(VARTYPE type, T value) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = type;
  if (type == VT_I2) V_I2(&v) = static_cast<SHORT>(value);
  if (type == VT_I4) V_I4(&v) = static_cast<LONG>(value);
  if (type == VT_R8) V_R8(&v) = static_cast<double>(value);
  if (type == VT_BOOL) V_BOOL(&v) = value ? VARIANT_TRUE : VARIANT_FALSE;
  return v;
}

VARIANT LeftOut() {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_ERROR;
  V_ERROR(&v) = DISP_E_PARAMNOTFOUND;
  return v;
}

// One late-bound call: `args` in the order of the member's parameters (reversed here as COM
// passes them), `names` the ids of the first named arguments.
struct Call {
  HRESULT hr = E_FAIL;
  VARIANT result{};
  UINT argumentError = 9999;
};

Call Invoke(IDispatch* d, const wchar_t* member, WORD flags, std::vector<VARIANT> args,
            std::vector<DISPID> named = {}) {
  Call call;
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR name = const_cast<LPOLESTR>(member);
  if (FAILED(d->GetIDsOfNames(IID_NULL, &name, 1, 0, &id))) return call;
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params{reversed.data(), named.data(), static_cast<UINT>(reversed.size()),
                    static_cast<UINT>(named.size())};
  VariantInit(&call.result);
  call.hr = d->Invoke(id, IID_NULL, 0, flags, &params, &call.result, nullptr, &call.argumentError);
  for (VARIANT& v : reversed) {
    if (!(V_VT(&v) & VT_BYREF)) VariantClear(&v);
  }
  return call;
}

TEST(KeloDispatch, LateBoundCallsConvertTheirArgumentsAndWriteByReferenceResultsBack) {
  test::InterfaceFixture f;
  bool released = false;
  IDispatch* d = new KeloDispatch(f.NewInterface(), nullptr, [&] { released = true; });
  clsKeloInterface direct(*f.ctx);  // the same process state, called directly for comparison

  // Names resolve whatever their case; an unknown one is refused.
  for (const wchar_t* spelling : {L"Connect", L"CONNECT", L"connect"}) {
    DISPID id = 0;
    LPOLESTR name = const_cast<LPOLESTR>(spelling);
    EXPECT_EQ(d->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), S_OK);
    EXPECT_EQ(id, DispatchId("Connect"));
  }
  DISPID unknown = 0;
  LPOLESTR bogus = const_cast<LPOLESTR>(L"NoSuchMember");
  EXPECT_EQ(d->GetIDsOfNames(IID_NULL, &bogus, 1, 0, &unknown), DISP_E_UNKNOWNNAME);

  Call connect = Invoke(d, L"Connect", DISPATCH_METHOD | DISPATCH_PROPERTYGET, {});
  ASSERT_EQ(connect.hr, S_OK);
  EXPECT_EQ(V_VT(&connect.result), VT_BOOL);
  EXPECT_EQ(V_BOOL(&connect.result), VARIANT_TRUE);

  // Property reads come back in their declared types.
  struct Read {
    const wchar_t* name;
    VARTYPE type;
  };
  for (Read r : {Read{L"SerialPort", VT_I2}, Read{L"BaudRate", VT_I4}, Read{L"Parity", VT_BSTR},
                 Read{L"Connected", VT_BOOL}, Read{L"ASMTestMode", VT_UI1},
                 Read{L"PrimarySpeedMPH", VT_R4}}) {
    Call read = Invoke(d, r.name, DISPATCH_PROPERTYGET, {});
    EXPECT_EQ(read.hr, S_OK);
    EXPECT_EQ(V_VT(&read.result), r.type);
    VariantClear(&read.result);
  }

  // A property put takes the classic coercions: a text "False", then the number -1 (True).
  for (auto [value, expected] :
       {std::pair{Bstr(L"False"), false}, std::pair{Of(VT_I2, -1), true}}) {
    EXPECT_EQ(
        Invoke(d, L"AutoUpdateEnabled", DISPATCH_PROPERTYPUT, {value}, {DISPID_PROPERTYPUT}).hr,
        S_OK);
    EXPECT_EQ(direct.AutoUpdateEnabled(), expected);
  }

  // A text argument for a Long enumeration, converted without regard to the locale.
  Call text = Invoke(d, L"ErrorConstantToString", DISPATCH_METHOD, {Bstr(L"200")});
  ASSERT_EQ(text.hr, S_OK);
  ASSERT_EQ(V_VT(&text.result), VT_BSTR);
  EXPECT_EQ(std::wstring(V_BSTR(&text.result)),
            std::wstring(WideFromUtf8(direct.ErrorConstantToString(gQRTXErrNoLinkToDevice))));
  VariantClear(&text.result);

  // By reference: a script's Variant gets the declared Single, a typed Double reference its own
  // type; the two left out are allowed. The values are the ones a direct call reads.
  float twd = 0, fwd = 0, twdUnseen = 0, fwdUnseen = 0;
  QRTXErrorConstants expectedError =
      direct.GetParasiticsAtSpeed(15.0f, twd, fwd, twdUnseen, fwdUnseen);
  VARIANT scriptVariable;
  VariantInit(&scriptVariable);
  double typedDouble = -1;
  VARIANT byVariant, byDouble;
  V_VT(&byVariant) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&byVariant) = &scriptVariable;
  V_VT(&byDouble) = VT_BYREF | VT_R8;
  V_R8REF(&byDouble) = &typedDouble;
  Call parasitics = Invoke(d, L"GetParasiticsAtSpeed", DISPATCH_METHOD,
                           {Bstr(L"15"), byVariant, byDouble, LeftOut(), LeftOut()});
  ASSERT_EQ(parasitics.hr, S_OK);
  EXPECT_EQ(V_I4(&parasitics.result), expectedError);
  ASSERT_EQ(V_VT(&scriptVariable), VT_R4);
  EXPECT_EQ(V_R4(&scriptVariable), twd);
  EXPECT_EQ(typedDouble, static_cast<double>(fwd));

  // Named arguments, in any order, by their parameter names.
  std::vector<const wchar_t*> names = {L"GetParasiticsAtSpeed", L"fwdrawpara", L"TheSpeed"};
  std::vector<DISPID> ids(names.size());
  ASSERT_EQ(d->GetIDsOfNames(IID_NULL, const_cast<LPOLESTR*>(names.data()),
                             static_cast<UINT>(names.size()), 0, ids.data()),
            S_OK);
  EXPECT_EQ(ids[1], 2);
  EXPECT_EQ(ids[2], 0);
  typedDouble = -1;
  std::vector<VARIANT> namedArgs = {byDouble, Of(VT_R8, 15.0)};
  DISPPARAMS params{namedArgs.data(), &ids[1], 2, 2};
  VARIANT result;
  VariantInit(&result);
  EXPECT_EQ(d->Invoke(ids[0], IID_NULL, 0, DISPATCH_METHOD, &params, &result, nullptr, nullptr),
            S_OK);
  EXPECT_EQ(typedDouble, static_cast<double>(fwd));

  // What cannot be converted names its argument (as COM counts them: last first); a value
  // argument may not be left out; too many arguments are refused.
  struct Bad {
    const wchar_t* member;
    std::vector<VARIANT> args;
    HRESULT hr;
    UINT argumentError;
  };
  for (Bad& bad : std::vector<Bad>{
           {L"ErrorConstantToString", {Bstr(L"abc")}, DISP_E_TYPEMISMATCH, 0},
           {L"Init",
            {Of(VT_BOOL, true), Of(VT_I4, 40000), Of(VT_I4, 9600), Bstr(L"N")},
            DISP_E_OVERFLOW,
            2},
           {L"ErrorConstantToString", {LeftOut()}, DISP_E_PARAMNOTOPTIONAL, 9999},
           {L"ErrorConstantToString", {Of(VT_I4, 1), Of(VT_I4, 2)}, DISP_E_BADPARAMCOUNT, 9999}}) {
    Call call = Invoke(d, bad.member, DISPATCH_METHOD, bad.args);
    EXPECT_EQ(call.hr, bad.hr) << std::string(bad.member, bad.member + wcslen(bad.member));
    EXPECT_EQ(call.argumentError, bad.argumentError);
  }

  EXPECT_EQ(Invoke(d, L"DisConnect", DISPATCH_METHOD, {}).hr, S_OK);
  EXPECT_FALSE(released);
  d->Release();
  EXPECT_TRUE(released);
}

}  // namespace
}  // namespace tavkelo
