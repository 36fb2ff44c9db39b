#pragma once

#include "InterfaceModel.h"

#include <stdexcept>
#include <string_view>

/// A description that cannot be understood; what() names file, line and what was expected.
class CInterfaceParseError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads the part of IDL that an interface of records, enumerations and HRESULT methods needs:
///
///     enum Name { Member = number, ... };
///     struct Name { type field; ... };
///     [uuid(...), helpstring("...")] interface Name : Base { HRESULT Method([in] type name, ...); ... };
///     [uuid(...), version(1.0), lcid(0x409), helpstring("...")] library Name
///     {
///         importlib("stdole2.tlb");
///         [uuid(...), helpstring("...")] coclass Name { [default] interface Name; };
///         interface Name; enum Name; struct Name;      // these lines give the library its order
///     };
///
/// Types: BSTR, BOOL, byte, long, unsigned short, declared names, and pointers to them. Comments: // and ///, the
/// latter belonging to the declaration that follows. Names must be declared before they are used.
/// Throws CInterfaceParseError.
InterfaceModel::Description ParseInterfaceDescription(std::string_view text, std::string_view fileName);
