// The type library this program carries (resource 1 TYPELIB, from tavkelo_com_typelib), read back
// through ITypeLib/ITypeInfo and held against the member description: the library, class and
// interface identities, every member with its dispatch id, invoke kind, parameters, by-reference
// flags and result, and every enumeration member's name and value. A member added to the
// description and missing from the type library (or the other way round) fails here.
#include <gtest/gtest.h>

#include <windows.h>

#include <oleauto.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "TavKeloASM.h"
#include "members/KeloEnums.hpp"
#include "members/MemberTable.hpp"

namespace {

using tavkelo::MemberInfo;
using tavkelo::MemberKind;

std::string Narrow(BSTR text) {
  std::string out;
  for (UINT i = 0; text != nullptr && i < SysStringLen(text); ++i) {
    out += text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
  }
  SysFreeString(text);
  return out;
}

std::string NameOf(ITypeInfo* info, MEMBERID id) {
  BSTR name = nullptr;
  if (FAILED(info->GetDocumentation(id, &name, nullptr, nullptr, nullptr))) return "(no name)";
  return Narrow(name);
}

// The automation name of a type as the description writes it ("Single", ..., an enumeration's
// name), prefixed "ByRef " for a pointer.
std::string TypeName(ITypeInfo* info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_PTR:
      return "ByRef " + TypeName(info, *type.lptdesc);
    case VT_VOID:
      return "Void";
    case VT_BOOL:
      return "Boolean";
    case VT_UI1:
      return "Byte";
    case VT_I2:
      return "Integer";
    case VT_I4:
      return "Long";
    case VT_R4:
      return "Single";
    case VT_BSTR:
      return "String";
    case VT_USERDEFINED: {
      ITypeInfo* ref = nullptr;
      if (FAILED(info->GetRefTypeInfo(type.hreftype, &ref))) return "(unresolved)";
      TYPEATTR* attr = nullptr;
      std::string name = NameOf(ref, MEMBERID_NIL);
      if (SUCCEEDED(ref->GetTypeAttr(&attr))) {
        if (attr->typekind != TKIND_ENUM) name += " (not an enumeration)";
        ref->ReleaseTypeAttr(attr);
      }
      ref->Release();
      return name;
    }
    default:
      return "VARTYPE " + std::to_string(type.vt);
  }
}

std::string KindName(MemberKind kind) {
  switch (kind) {
    case MemberKind::Method:
      return "method";
    case MemberKind::PropertyGet:
      return "get";
    case MemberKind::PropertyPut:
      return "put";
  }
  return "?";
}

// One member as a line: kind, name, dispatch id, parameters, result. A put's right-hand value is
// unnamed: its name cannot be read back apart from the get's, which shares the dispatch id.
std::string Described(const MemberInfo& m) {
  std::string line =
      KindName(m.kind) + " " + m.name + " #" + std::to_string(tavkelo::DispatchId(m.name)) + "(";
  for (size_t i = 0; i < m.params.size(); ++i) {
    line += (i > 0 ? ", " : "") + std::string(m.params[i].byRef ? "ByRef " : "") +
            tavkelo::AutoTypeName(m.params[i].type);
    if (m.kind != MemberKind::PropertyPut) line += " " + m.params[i].name;
  }
  return line + ") As " + tavkelo::AutoTypeName(m.result);
}

std::string Read(ITypeInfo* info, const FUNCDESC& f, MemberKind kind) {
  BSTR names[32] = {};
  UINT count = 0;
  info->GetNames(f.memid, names, 32, &count);
  std::vector<std::string> name;
  for (UINT i = 0; i < count; ++i) name.push_back(Narrow(names[i]));
  name.resize(static_cast<size_t>(f.cParams) + 1, "(no name)");
  std::string line = KindName(kind) + " " + name[0] + " #" + std::to_string(f.memid) + "(";
  for (SHORT i = 0; i < f.cParams; ++i) {
    const ELEMDESC& p = f.lprgelemdescParam[i];
    USHORT flags = p.paramdesc.wParamFlags;
    USHORT expected = p.tdesc.vt == VT_PTR ? PARAMFLAG_FIN | PARAMFLAG_FOUT : PARAMFLAG_FIN;
    line += (i > 0 ? ", " : "") + TypeName(info, p.tdesc);
    if (flags != expected) line += " [flags " + std::to_string(flags) + "]";
    if (kind != MemberKind::PropertyPut) line += " " + name[static_cast<size_t>(i) + 1];
  }
  if (f.funckind != FUNC_DISPATCH) line += " [not a dispatch member]";
  return line + ") As " + TypeName(info, f.elemdescFunc.tdesc);
}

MemberKind KindOf(INVOKEKIND kind) {
  if (kind == INVOKE_PROPERTYGET) return MemberKind::PropertyGet;
  if (kind == INVOKE_PROPERTYPUT) return MemberKind::PropertyPut;
  return MemberKind::Method;
}

class TypeLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    wchar_t path[MAX_PATH] = {};
    ASSERT_GT(GetModuleFileNameW(nullptr, path, MAX_PATH), 0u);
    ASSERT_EQ(LoadTypeLibEx(path, REGKIND_NONE, &lib_), S_OK) << "no TYPELIB resource";
  }
  void TearDown() override {
    if (lib_ != nullptr) lib_->Release();
  }

  // The type named `name` and its kind.
  ITypeInfo* Find(const std::string& name, TYPEKIND* kind) {
    for (UINT i = 0; i < lib_->GetTypeInfoCount(); ++i) {
      BSTR found = nullptr;
      lib_->GetDocumentation(static_cast<INT>(i), &found, nullptr, nullptr, nullptr);
      if (Narrow(found) != name) continue;
      ITypeInfo* info = nullptr;
      lib_->GetTypeInfoType(i, kind);
      lib_->GetTypeInfo(i, &info);
      return info;
    }
    return nullptr;
  }

  ITypeLib* lib_ = nullptr;
};

TEST_F(TypeLibrary, HoldsTheClassItsInterfaceAndTheEnumerationsOfTheDescription) {
  TLIBATTR* libAttr = nullptr;
  ASSERT_EQ(lib_->GetLibAttr(&libAttr), S_OK);
  EXPECT_TRUE(IsEqualGUID(libAttr->guid, LIBID_TavKeloASM));
  lib_->ReleaseTLibAttr(libAttr);
  BSTR libName = nullptr;
  lib_->GetDocumentation(-1, &libName, nullptr, nullptr, nullptr);
  EXPECT_EQ(Narrow(libName), "TavKeloASM");
  // The enumerations, the interface and the class: nothing else.
  EXPECT_EQ(lib_->GetTypeInfoCount(), tavkelo::Enumerations().size() + 2);

  // The class: creatable, its default interface the dispatch interface.
  ITypeInfo* coclass = nullptr;
  ASSERT_EQ(lib_->GetTypeInfoOfGuid(CLSID_clsKeloInterface, &coclass), S_OK);
  EXPECT_EQ(NameOf(coclass, MEMBERID_NIL), tavkelo::kPublishedClass);
  TYPEATTR* classAttr = nullptr;
  ASSERT_EQ(coclass->GetTypeAttr(&classAttr), S_OK);
  EXPECT_EQ(classAttr->typekind, TKIND_COCLASS);
  EXPECT_TRUE(classAttr->wTypeFlags & TYPEFLAG_FCANCREATE);
  ASSERT_EQ(classAttr->cImplTypes, 1);
  coclass->ReleaseTypeAttr(classAttr);
  INT implFlags = 0;
  HREFTYPE implRef = 0;
  ITypeInfo* iface = nullptr;
  ASSERT_EQ(coclass->GetImplTypeFlags(0, &implFlags), S_OK);
  EXPECT_TRUE(implFlags & IMPLTYPEFLAG_FDEFAULT);
  ASSERT_EQ(coclass->GetRefTypeOfImplType(0, &implRef), S_OK);
  ASSERT_EQ(coclass->GetRefTypeInfo(implRef, &iface), S_OK);
  coclass->Release();

  TYPEATTR* attr = nullptr;
  ASSERT_EQ(iface->GetTypeAttr(&attr), S_OK);
  EXPECT_EQ(NameOf(iface, MEMBERID_NIL), tavkelo::kPublishedInterface);
  EXPECT_TRUE(IsEqualGUID(attr->guid, DIID__clsKeloInterface));
  EXPECT_EQ(attr->typekind, TKIND_DISPATCH);
  // Every described member, read back by name and invoke kind.
  std::map<std::pair<std::string, MemberKind>, std::string> read;
  for (UINT i = 0; i < attr->cFuncs; ++i) {
    FUNCDESC* f = nullptr;
    ASSERT_EQ(iface->GetFuncDesc(i, &f), S_OK);
    MemberKind kind = KindOf(f->invkind);
    read[{NameOf(iface, f->memid), kind}] = Read(iface, *f, kind);
    iface->ReleaseFuncDesc(f);
  }
  EXPECT_EQ(attr->cFuncs, tavkelo::MemberTable().size()) << "members the description lacks";
  iface->ReleaseTypeAttr(attr);
  iface->Release();
  for (const MemberInfo& m : tavkelo::MemberTable()) {
    auto found = read.find({m.name, m.kind});
    EXPECT_EQ(found != read.end() ? found->second : "(missing)", Described(m));
  }

  for (const tavkelo::EnumerationInfo& e : tavkelo::Enumerations()) {
    TYPEKIND kind = TKIND_MAX;
    ITypeInfo* info = Find(e.name, &kind);
    ASSERT_NE(info, nullptr) << e.name << " missing";
    EXPECT_EQ(kind, TKIND_ENUM) << e.name;
    TYPEATTR* enumAttr = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&enumAttr), S_OK);
    std::vector<std::pair<std::string, int32_t>> members;
    for (UINT i = 0; i < enumAttr->cVars; ++i) {
      VARDESC* v = nullptr;
      ASSERT_EQ(info->GetVarDesc(i, &v), S_OK);
      VARIANT value;
      VariantInit(&value);
      bool isConstant =
          v->varkind == VAR_CONST && VariantChangeType(&value, v->lpvarValue, 0, VT_I4) == S_OK;
      members.emplace_back(NameOf(info, v->memid), isConstant ? V_I4(&value) : -1);
      info->ReleaseVarDesc(v);
    }
    info->ReleaseTypeAttr(enumAttr);
    info->Release();
    EXPECT_EQ(members, e.members) << e.name;
  }
}

}  // namespace
