// Writes TavKeloASM.idl: the type library of the COM automation class, made from the member
// description. Library TavKeloASM holds the eight enumerations, the dispatch interface
// _clsKeloInterface with every member (property gets and puts as properties, by-reference
// parameters as [in, out] pointers) and the creatable class clsKeloInterface. widl compiles it
// into the .tlb, a header and the GUIDs.
// Usage: GenerateIdl OUTPUT_FILE

#include <fstream>
#include <iostream>
#include <string>

#include "members/KeloEnums.hpp"
#include "members/MemberTable.hpp"

using namespace tavkelo;

namespace {

// The published identities: fixed for good, so registrations and early-bound clients stay valid
// from one version to the next.
constexpr const char* kLibraryGuid = "8694772F-205D-4676-88D8-CDB928B7E86A";
constexpr const char* kInterfaceGuid = "F0DD11B9-9B67-47AE-AAAA-B5279723850C";
constexpr const char* kClassGuid = "4CD467F0-3609-446F-9061-CB82BC90D4B2";
constexpr const char* kLibraryName = "TavKeloASM";

std::string IdlType(const AutoTypeRef& t) {
  switch (t.type) {
    case AutoType::Void:
      return "void";
    case AutoType::Boolean:
      return "VARIANT_BOOL";
    case AutoType::Byte:
      return "unsigned char";
    case AutoType::Integer:
      return "short";
    case AutoType::Long:
      return "long";
    case AutoType::Single:
      return "float";
    case AutoType::String:
      return "BSTR";
    case AutoType::Enum:
      return t.enumName;
  }
  return "void";
}

std::string Parameter(const ParamInfo& p) {
  if (p.byRef) return "[in, out] " + IdlType(p.type) + "* " + p.name;
  return "[in] " + IdlType(p.type) + " " + p.name;
}

std::string Attributes(const MemberInfo& m) {
  std::string attributes = "[id(" + std::to_string(DispatchId(m.name)) + ")";
  if (m.kind == MemberKind::PropertyGet) attributes += ", propget";
  if (m.kind == MemberKind::PropertyPut) attributes += ", propput";
  return attributes + "]";
}

void WriteIdl(std::ostream& out) {
  out << "// Generated from the member description by GenerateIdl; do not edit.\n"
         "import \"oaidl.idl\";\n\n"
      << "[uuid(" << kLibraryGuid << "), version(1.0), helpstring(\"" << kLibraryName
      << "\")]\nlibrary " << kLibraryName << " {\n  importlib(\"stdole2.tlb\");\n";
  for (const EnumerationInfo& e : Enumerations()) {
    out << "\n  typedef enum " << e.name << " {\n";
    for (size_t i = 0; i < e.members.size(); ++i) {
      out << "    " << e.members[i].first << " = " << e.members[i].second
          << (i + 1 < e.members.size() ? ",\n" : "\n");
    }
    out << "  } " << e.name << ";\n";
  }
  out << "\n  [uuid(" << kInterfaceGuid << ")]\n  dispinterface " << kPublishedInterface
      << " {\n  properties:\n  methods:\n";
  for (const MemberInfo& m : MemberTable()) {
    out << "    " << Attributes(m) << " " << IdlType(m.result) << " " << m.name << "(";
    for (size_t i = 0; i < m.params.size(); ++i) {
      out << (i > 0 ? ", " : "") << Parameter(m.params[i]);
    }
    out << ");\n";
  }
  out << "  };\n\n  [uuid(" << kClassGuid << ")]\n  coclass " << kPublishedClass
      << " {\n    [default] dispinterface " << kPublishedInterface << ";\n  };\n};\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: GenerateIdl OUTPUT_FILE\n";
    return 2;
  }
  std::ofstream out(argv[1], std::ios::binary);
  WriteIdl(out);
  out.close();
  if (!out) {
    std::cerr << "GenerateIdl: cannot write " << argv[1] << "\n";
    return 1;
  }
  return 0;
}
