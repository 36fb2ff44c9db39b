#pragma once

#include <string>

/// A complete description, small enough to compare what is made of it with a text.
inline const std::string kSmallDescription = R"(// not for clients
/// A colour.
enum Colour { RED = 1, BLUE = -2 };
/// A pair.
///
/// Of two.
struct Pair { unsigned short Left; BSTR Right; Colour* Shade; };
[uuid(01234567-89AB-CDEF-0123-456789ABCDEF), helpstring("IFirst Interface")]
interface IFirst : IUnknown
{
    /// Does it.
    HRESULT Do([in] long number, [in, out] Pair* pPair, byte** ppBytes);
    HRESULT Rest();
};
[uuid(11234567-89AB-CDEF-0123-456789ABCDEF), helpstring("ISecond Interface")]
interface ISecond : IFirst { HRESULT More([out] BOOL* pYes); };
[uuid(21234567-89AB-CDEF-0123-456789ABCDEF), version(2.3), lcid(0x409), helpstring("Small Library")]
library SmallLib
{
    importlib("stdole2.tlb");
    [uuid(31234567-89AB-CDEF-0123-456789ABCDEF), helpstring("Small Class")]
    coclass Small { [default] interface ISecond; };
    interface ISecond;
    interface IFirst;
    struct Pair;
    enum Colour;
};
)";
