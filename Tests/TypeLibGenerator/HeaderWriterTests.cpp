#include "Descriptions.h"
#include "HeaderWriter.h"
#include "InterfaceParser.h"

#include <gtest/gtest.h>

namespace
{
TEST(HeaderWriter, WritesTheWholeHeader)
{
    EXPECT_EQ(R"(// Generated from small.idl; change that file, not this one.
// For C++ clients; link the GUIDs with the source file generated beside it.
#pragma once

#include <windows.h>

#include <oleauto.h>
#include <unknwn.h>

/// A colour.
enum Colour : int
{
    RED = 1,
    BLUE = -2,
};

/// A pair.
///
/// Of two.
struct Pair
{
    unsigned short Left;
    BSTR Right;
    Colour* Shade;
};

MIDL_INTERFACE("01234567-89AB-CDEF-0123-456789ABCDEF")
IFirst : public IUnknown
{
public:
    /// Does it.
    virtual HRESULT STDMETHODCALLTYPE Do(/* [in] */ long number, /* [in, out] */ Pair* pPair,
                                         unsigned char** ppBytes) = 0;
    virtual HRESULT STDMETHODCALLTYPE Rest() = 0;
};
#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(IFirst, 0x01234567, 0x89AB, 0xCDEF, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF)
#endif

MIDL_INTERFACE("11234567-89AB-CDEF-0123-456789ABCDEF")
ISecond : public IFirst
{
public:
    virtual HRESULT STDMETHODCALLTYPE More(/* [out] */ BOOL* pYes) = 0;
};
#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(ISecond, 0x11234567, 0x89AB, 0xCDEF, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF)
#endif

extern "C"
{
extern const GUID LIBID_SmallLib; // {21234567-89AB-CDEF-0123-456789ABCDEF}
extern const GUID CLSID_Small; // {31234567-89AB-CDEF-0123-456789ABCDEF}
extern const GUID IID_IFirst; // {01234567-89AB-CDEF-0123-456789ABCDEF}
extern const GUID IID_ISecond; // {11234567-89AB-CDEF-0123-456789ABCDEF}
}
)",
              HeaderWriter::WriteHeader(ParseInterfaceDescription(kSmallDescription, "small.idl"), "small.idl"));
}

TEST(HeaderWriter, WritesTheWholeGuidSource)
{
    EXPECT_EQ(R"(// Generated from small.idl; change that file, not this one.
// The GUIDs that Small.h declares. Compiles as C and as C++.
#include <guiddef.h>

#ifdef __cplusplus
#define QUORVANE_GUID extern "C" const GUID
#else
#define QUORVANE_GUID const GUID
#endif

QUORVANE_GUID LIBID_SmallLib = {0x21234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
QUORVANE_GUID CLSID_Small = {0x31234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
QUORVANE_GUID IID_IFirst = {0x01234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
QUORVANE_GUID IID_ISecond = {0x11234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
)",
              HeaderWriter::WriteGuidSource(ParseInterfaceDescription(kSmallDescription, "small.idl"), "small.idl",
                                            "Small.h"));
}
} // namespace
