// The type library as the DLL carries it, read back through ITypeLib. Its types, members, sizes, flags and ids are
// written out as text and compared with the text below, so that anything more, less or different shows.

#include "Tests/Support/ComponentLibrary.h"
#include "Win32/ComMemory.h"

#include <gtest/gtest.h>
#include <oleauto.h>

#include <filesystem>
#include <sstream>
#include <string>

namespace
{
// In the library's order. An interface shows flags, base and size of its table in bytes; a method its member id, its
// offset in the table and its parameters: direction ("-" for none), type, name. What is the same for all of a kind
// (versions, alignments, flags and member ids of data) is checked against the usual value and shown where it differs.
// The library's flag is the system's own: it says that there is a file.
constexpr char kExpected[] =
    R"(QUORVANELib "Quorvane 1.0 Type Library" {FFF2981C-9D4E-4360-B19B-57118EF4C2E4} 1.0 lcid 409 system 1 flags 8
coclass AVCommand "AVCommand Class" {ACA3DFFE-7AEB-4932-BED8-EBB773D8ABC4} flags 2
  default IAVCommand5
interface IAVCommand5 "IAVCommand4 Interface" {8027FFEE-FA59-44EE-9D07-6EF5B48B91D9} flags 0 : IAVCommand4, 132 bytes
  60050000 112 GetCameraSettings3(out CameraSettings3* pSettings)
  60050001 116 GetH264Parameters(out H264Parameters* pParameters)
  60050002 120 PauseStreaming()
  60050003 124 StopStreaming()
  60050004 128 ConnectToRtspServer(- i4 joinRtspSession)
interface IAVCommand4 "IAVCommand4 Interface" {7FA01544-AA1D-42DF-B894-26610BC9C6D5} flags 0 : IAVCommand3, 112 bytes
  60040000 104 SetupTransport(in i4 streamId, inout TransportParameters* pParameters)
  60040001 108 GetCameraImageSize(out ImageSize2* pImageSize)
interface IAVCommand3 "IAVCommand3 Interface" {543EBC86-0785-4089-A3F4-BDBBBD235953} flags 0 : IAVCommand2, 104 bytes
  60030000 88 GetCameraSettings2(out CameraSettings2* pSettings)
  60030001 92 GetSupportedImageSizes2(out ImageSize2** ppSizes, - i4* pCount)
  60030002 96 IsImageSizeSupported2(in i4 width, in i4 height, in i4 FrameRate, in VideoCodec VideoEncoding)
  60030003 100 SetImageSize2(in i4 width, in i4 height, in i4 FrameRate, in VideoCodec VideoEncoding)
interface IAVCommand2 "IAVCommand2 Interface" {F22A0E5B-0C03-4C91-9E73-BFF230671472} flags 0 : IAVCommand, 88 bytes
  60020000 72 StartMpeg4Video2(in i4 bMulticast, in ui2 udpPort)
  60020001 76 StartAudio2(in i4 bMulticast, in ui2 udpPort)
  60020002 80 GetSupportedFrameRates(out i4** ppFrameRate, - i4* pCount)
  60020003 84 SetAudioInVolume(in i4 volume)
interface IAVCommand "IAVCommand Interface" {D2613B40-2570-41FE-8954-9156D4A697F5} flags 0 : IUnknown, 72 bytes
  60010000 12 OpenConnection(in bstr serverName, in ui2 port, in bstr userName, in bstr password)
  60010001 16 CloseConnection()
  60010002 20 IsConnected()
  60010003 24 ConnectToCamera()
  60010004 28 StartMpeg4Video()
  60010005 32 StartAudio()
  60010006 36 GetSupportedImageSizes(out ImageSize** ppSizes, - i4* pCount)
  60010007 40 IsImageSizeSupported(in i4 width, in i4 height, in i4 FrameRate)
  60010008 44 GetCameraSettings(out CameraSettings* pSettings)
  60010009 48 SetImageSize(in i4 width, in i4 height, in i4 FrameRate)
  6001000A 52 SetBitRate(- i4 BitRate)
  6001000B 56 SendPTZCommand(in PTZCommand command, in PTDistance distance)
  6001000C 60 SendPTZAreaZoomCommand(in i4 x, in i4 y, in i4 width, in i4 height)
  6001000D 64 SendPTZStartCommand(in PTZCommand command, in i4 speed)
  6001000E 68 SendPTZStopCommand(in PTZCommand command)
enum PTZCommand
  PTZ_None = 0
  PTZ_LOWER_LEFT = 1
  PTZ_LOWER = 2
  PTZ_LOWER_RIGHT = 3
  PTZ_LEFT = 4
  PTZ_RIGHT = 6
  PTZ_UPPER_LEFT = 7
  PTZ_UPPER = 8
  PTZ_UPPER_RIGHT = 9
  PTZ_ZOOM_WIDE = 10
  PTZ_ZOOM_TELE = 11
enum PTDistance
  PT_10 = 1
  PT_15 = 2
  PT_20 = 3
  PT_25 = 4
  PT_30 = 5
  PT_40 = 6
  PT_60 = 7
  PT_667 = 8
  PT_833 = 9
  PT_100 = 10
enum VideoCodec
  VC_None = 0
  VC_MPEG4 = 1
  VC_H264 = 2
record ImageSize, 12 bytes
  0 i4 ImageWidth
  4 i4 ImageHeight
  8 i4 FrameRate
record ImageSize2, 16 bytes
  0 i4 ImageWidth
  4 i4 ImageHeight
  8 i4 FrameRate
  12 VideoCodec VideoEncoding
record CameraSettings, 32 bytes
  0 bstr MulticastAddress
  4 ui2 MulticastVideoPort
  6 ui2 MulticastAudioPort
  8 i4 ImageWidth
  12 i4 ImageHeight
  16 i4 FrameRate
  20 i4 BitRate
  24 ui2 UnicastVideoPort
  26 ui2 UnicastAudioPort
  28 i4 AudioInVolume
record CameraSettings2, 36 bytes
  0 bstr MulticastAddress
  4 ui2 MulticastVideoPort
  6 ui2 MulticastAudioPort
  8 i4 ImageWidth
  12 i4 ImageHeight
  16 i4 FrameRate
  20 i4 BitRate
  24 ui2 UnicastVideoPort
  26 ui2 UnicastAudioPort
  28 i4 AudioInVolume
  32 VideoCodec VideoEncoding
record CameraSettings3, 36 bytes
  0 bstr MulticastAddress
  4 ui2 MulticastVideoPort
  6 ui2 MulticastAudioPort
  8 i4 ImageWidth
  12 i4 ImageHeight
  16 i4 FrameRate
  20 i4 BitRate
  24 ui2 UnicastVideoPort
  26 ui2 UnicastAudioPort
  28 i4 AudioInVolume
  32 VideoCodec VideoEncoding
record TransportParameters, 28 bytes
  0 bstr Protocol
  4 i4 Multicast
  8 ui2 ClientPort
  12 bstr MulticastAddress
  16 ui2 RtpPort
  18 ui2 RtcpPort
  20 ui2 Ttl
  24 bstr Ssrc
record H264Parameters, 20 bytes
  0 bstr ProfileLeveId
  4 i4 PacketizationMode
  8 i4 ParameterSet1Size
  12 i4 ParameterSet2Size
  16 ui1* ParameterSets
)";

void Check(HRESULT result, const char* step)
{
    if (result != S_OK)
        throw std::runtime_error(std::string(step) + " failed");
}

std::string Narrow(const wchar_t* text)
{
    std::string result;
    for (; text != nullptr && *text != L'\0'; ++text)
        result += static_cast<char>(*text);
    return result;
}

std::string GuidText(REFGUID guid)
{
    wchar_t text[40] = {};
    ::StringFromGUID2(guid, text, 40);
    return Narrow(text);
}

/// What ITypeInfo lends, given back.
template <class T, void (STDMETHODCALLTYPE ITypeInfo::*Release)(T*)>
class CLent
{
public:
    explicit CLent(ITypeInfo& owner) : m_owner(owner) {}
    ~CLent()
    {
        if (m_lent != nullptr)
            (m_owner.*Release)(m_lent);
    }
    CLent(const CLent&) = delete;
    CLent& operator=(const CLent&) = delete;
    T** put()
    {
        return &m_lent;
    }
    T& operator*() const
    {
        return *m_lent;
    }
    T* operator->() const
    {
        return m_lent;
    }

private:
    ITypeInfo& m_owner;
    T* m_lent = nullptr;
};

using CTypeAttributes = CLent<TYPEATTR, &ITypeInfo::ReleaseTypeAttr>;
using CFunction = CLent<FUNCDESC, &ITypeInfo::ReleaseFuncDesc>;
using CVariable = CLent<VARDESC, &ITypeInfo::ReleaseVarDesc>;

std::string NameOf(ITypeInfo& type, MEMBERID member = MEMBERID_NIL)
{
    CBstr name;
    Check(type.GetDocumentation(member, name.put(), nullptr, nullptr, nullptr), "GetDocumentation");
    return Narrow(name.get());
}

std::string HelpOf(ITypeInfo& type)
{
    CBstr help;
    Check(type.GetDocumentation(MEMBERID_NIL, nullptr, help.put(), nullptr, nullptr), "GetDocumentation");
    return help ? " \"" + Narrow(help.get()) + "\"" : "";
}

CComPointer<ITypeInfo> Referred(ITypeInfo& type, HREFTYPE reference)
{
    CComPointer<ITypeInfo> referred;
    Check(type.GetRefTypeInfo(reference, referred.put()), "GetRefTypeInfo");
    return referred;
}

std::string TypeText(ITypeInfo& owner, const TYPEDESC& type)
{
    switch (type.vt)
    {
    case VT_PTR:
        return TypeText(owner, *type.lptdesc) + "*";
    case VT_USERDEFINED:
        return NameOf(*Referred(owner, type.hreftype).get());
    case VT_BSTR:
        return "bstr";
    case VT_I4:
        return "i4";
    case VT_UI1:
        return "ui1";
    case VT_UI2:
        return "ui2";
    default:
        return "type" + std::to_string(type.vt);
    }
}

std::string DirectionText(USHORT flags)
{
    switch (flags)
    {
    case PARAMFLAG_NONE:
        return "-";
    case PARAMFLAG_FIN:
        return "in";
    case PARAMFLAG_FOUT:
        return "out";
    case PARAMFLAG_FIN | PARAMFLAG_FOUT:
        return "inout";
    default:
        return "flags" + std::to_string(flags);
    }
}

class CLibraryText
{
public:
    std::string Write(ITypeLib& library)
    {
        TLIBATTR* attributes = nullptr;
        Check(library.GetLibAttr(&attributes), "GetLibAttr");
        CBstr name;
        CBstr help;
        Check(library.GetDocumentation(-1, name.put(), help.put(), nullptr, nullptr), "GetDocumentation");
        m_out << Narrow(name.get()) << " \"" << Narrow(help.get()) << "\" " << GuidText(attributes->guid) << ' '
              << attributes->wMajorVerNum << '.' << attributes->wMinorVerNum << " lcid " << std::hex << attributes->lcid
              << std::dec << " system " << attributes->syskind << " flags " << attributes->wLibFlags << '\n';
        library.ReleaseTLibAttr(attributes);
        for (UINT i = 0; i < library.GetTypeInfoCount(); ++i)
        {
            CComPointer<ITypeInfo> type;
            Check(library.GetTypeInfo(i, type.put()), "GetTypeInfo");
            WriteType(*type.get());
        }
        return m_out.str();
    }

private:
    void WriteType(ITypeInfo& type)
    {
        CTypeAttributes attributes(type);
        Check(type.GetTypeAttr(attributes.put()), "GetTypeAttr");
        switch (attributes->typekind)
        {
        case TKIND_COCLASS:
            m_out << "coclass " << NameOf(type) << HelpOf(type) << ' ' << GuidText(attributes->guid) << " flags "
                  << attributes->wTypeFlags;
            WriteUnusual(*attributes, attributes->wTypeFlags);
            WriteImplemented(type, attributes->cImplTypes);
            break;
        case TKIND_INTERFACE:
            m_out << "interface " << NameOf(type) << HelpOf(type) << ' ' << GuidText(attributes->guid) << " flags "
                  << attributes->wTypeFlags << " : ";
            WriteBase(type, attributes->cImplTypes);
            m_out << ", " << attributes->cbSizeVft << " bytes";
            WriteUnusual(*attributes, attributes->wTypeFlags);
            for (UINT i = 0; i < attributes->cFuncs; ++i)
                WriteMethod(type, i);
            break;
        case TKIND_ENUM:
            m_out << "enum " << NameOf(type) << HelpOf(type);
            WriteUnusual(*attributes, 0);
            break;
        case TKIND_RECORD:
            m_out << "record " << NameOf(type) << HelpOf(type) << ", " << attributes->cbSizeInstance << " bytes";
            WriteUnusual(*attributes, 0);
            break;
        default:
            m_out << "kind " << attributes->typekind << ' ' << NameOf(type) << '\n';
        }
        for (UINT i = 0; i < attributes->cVars; ++i)
            WriteVariable(type, i);
    }

    /// The end of a type's line.
    void WriteUnusual(const TYPEATTR& attributes, WORD usualFlags)
    {
        constexpr WORD kAlignment = 4;
        if (attributes.cbAlignment != kAlignment)
            m_out << ", alignment " << attributes.cbAlignment;
        if (attributes.wMajorVerNum != 0 || attributes.wMinorVerNum != 0)
            m_out << ", version " << attributes.wMajorVerNum << '.' << attributes.wMinorVerNum;
        if (attributes.wTypeFlags != usualFlags)
            m_out << ", flags " << attributes.wTypeFlags;
        m_out << '\n';
    }

    void WriteImplemented(ITypeInfo& type, UINT count)
    {
        for (UINT i = 0; i < count; ++i)
        {
            HREFTYPE reference = 0;
            INT flags = 0;
            Check(type.GetRefTypeOfImplType(i, &reference), "GetRefTypeOfImplType");
            Check(type.GetImplTypeFlags(i, &flags), "GetImplTypeFlags");
            m_out << (flags == IMPLTYPEFLAG_FDEFAULT ? "  default " : "  other ")
                  << NameOf(*Referred(type, reference).get()) << '\n';
        }
    }

    void WriteBase(ITypeInfo& type, UINT count)
    {
        HREFTYPE reference = 0;
        Check(type.GetRefTypeOfImplType(0, &reference), "GetRefTypeOfImplType");
        m_out << NameOf(*Referred(type, reference).get()) << (count == 1 ? "" : " and more");
    }

    void WriteMethod(ITypeInfo& type, UINT index)
    {
        CFunction function(type);
        Check(type.GetFuncDesc(index, function.put()), "GetFuncDesc");
        BSTR names[8] = {};
        UINT nameCount = 0;
        Check(type.GetNames(function->memid, names, 8, &nameCount), "GetNames");
        m_out << "  " << std::hex << std::uppercase << function->memid << std::dec << ' ' << function->oVft << ' '
              << Narrow(names[0]) << '(';
        for (int i = 0; i < function->cParams; ++i)
        {
            const ELEMDESC& parameter = function->lprgelemdescParam[i];
            m_out << (i == 0 ? "" : ", ") << DirectionText(parameter.paramdesc.wParamFlags) << ' '
                  << TypeText(type, parameter.tdesc) << ' ' << Narrow(names[i + 1]);
        }
        m_out << ')';
        for (UINT i = 0; i < nameCount; ++i)
            ::SysFreeString(names[i]);
        // What all methods have in common is shown only where it differs.
        if (function->elemdescFunc.tdesc.vt != VT_HRESULT || function->callconv != CC_STDCALL ||
            function->funckind != FUNC_PUREVIRTUAL || function->invkind != INVOKE_FUNC || function->wFuncFlags != 0 ||
            function->cParamsOpt != 0)
            m_out << " is no HRESULT method of the standard calling convention";
        m_out << '\n';
    }

    void WriteVariable(ITypeInfo& type, UINT index)
    {
        CVariable variable(type);
        Check(type.GetVarDesc(index, variable.put()), "GetVarDesc");
        m_out << "  ";
        if (variable->memid != static_cast<MEMBERID>(0x40000000 + index) || variable->wVarFlags != 0)
            m_out << std::hex << variable->memid << " flags " << variable->wVarFlags << std::dec << ' ';
        if (variable->varkind == VAR_CONST)
            m_out << NameOf(type, variable->memid) << " = "
                  << (variable->lpvarValue->vt == VT_I4 ? variable->lpvarValue->lVal : -1) << '\n';
        else
            m_out << variable->oInst << ' ' << TypeText(type, variable->elemdescVar.tdesc) << ' '
                  << NameOf(type, variable->memid) << '\n';
    }

    std::ostringstream m_out;
};

std::string ReadLibrary(const std::wstring& path)
{
    CComPointer<ITypeLib> library;
    Check(::LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()), "LoadTypeLibEx");
    return CLibraryText().Write(*library.get());
}

TEST(TypeLibrary, ResourceDescribesThePublishedContract)
{
    EXPECT_EQ(kExpected, ReadLibrary(ComponentPath() + L"\\1"));
}

TEST(TypeLibrary, FileBesideTheLibrarySaysTheSame)
{
    std::filesystem::path file(ComponentPath());
    EXPECT_EQ(kExpected, ReadLibrary(file.replace_extension(L".tlb").wstring()));
}

TEST(TypeLibrary, IUnknownIsThatOfTheStandardLibrary)
{
    CComPointer<ITypeLib> library;
    Check(::LoadTypeLibEx(ComponentPath().c_str(), REGKIND_NONE, library.put()), "LoadTypeLibEx");
    constexpr UINT kOldestInterface = 5;
    CComPointer<ITypeInfo> type;
    Check(library->GetTypeInfo(kOldestInterface, type.put()), "GetTypeInfo");
    HREFTYPE reference = 0;
    Check(type->GetRefTypeOfImplType(0, &reference), "GetRefTypeOfImplType");
    CComPointer<ITypeLib> owner;
    UINT index = 0;
    Check(Referred(*type.get(), reference)->GetContainingTypeLib(owner.put(), &index), "GetContainingTypeLib");
    TLIBATTR* attributes = nullptr;
    Check(owner->GetLibAttr(&attributes), "GetLibAttr");
    EXPECT_EQ("{00020430-0000-0000-C000-000000000046}", GuidText(attributes->guid)) << "stdole2";
    owner->ReleaseTLibAttr(attributes);
}
} // namespace
