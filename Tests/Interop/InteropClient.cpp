#include "InteropClient.h"

#include "Tests/Support/ComponentLibrary.h"
#include "TextEncoding/Encoding.h"
#include "Win32/ComMemory.h"

#include <Quorvane.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string_view>
#include <utility>

namespace
{
std::wstring ToWide(std::string_view utf8)
{
    return CUTF8Encoding().DecodeString(utf8);
}

/// A number of the script; throws std::exception when it is none.
int ToNumber(const std::string& text)
{
    return std::stoi(text);
}

std::string ToText(const CBstr& text)
{
    return CUTF8Encoding().EncodeString({text.get(), ::SysStringLen(text.get())});
}

std::string ToHex(const unsigned char* bytes, long lengthBytes)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (long index = 0; index < lengthBytes; ++index)
    {
        hex += kDigits[bytes[index] >> 4];
        hex += kDigits[bytes[index] & 15];
    }
    return hex;
}

std::vector<std::string> SplitAtTabs(std::string_view line)
{
    std::vector<std::string> words(1);
    for (const char c : line)
    {
        if (c == '\t')
            words.emplace_back();
        else if (c != '\r')
            words.back() += c;
    }
    return words;
}
} // namespace

CInteropClient::CInteropClient(const CComponentLibrary& library) : m_factory(library.Factory(CLSID_AVCommand)) {}

CInteropClient::~CInteropClient() = default;

std::string CInteropClient::Answer(std::string_view line)
{
    const std::vector<std::string> words = SplitAtTabs(line);
    if (words.size() < 2)
        return R"({"error":"a line is OBJECT <tab> CALL <tab> ARGUMENTS"})";
    m_facts.clear();
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr = Run(words[0], words[1], {words.begin() + 2, words.end()});
    const auto duration =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    char code[11];
    std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(hr));
    return R"({"hresult":")" + std::string(code) + R"(","ms":)" + std::to_string(duration.count()) + m_facts + "}";
}

HRESULT CInteropClient::Run(const std::string& object, const std::string& call, const Arguments& arguments)
{
    if (call == "release")
        return m_objects.erase(object) != 0 ? S_OK : S_FALSE;
    CComPointer<IAVCommand5>& camera = m_objects[object];
    if (!camera)
    {
        const HRESULT hr = m_factory->CreateInstance(nullptr, __uuidof(IAVCommand5), camera.putVoid());
        if (FAILED(hr))
            return hr;
    }
    if (call == "open")
        return Open(*camera.get(), arguments);
    if (call == "connect")
        return camera->ConnectToCamera();
    if (call == "set-size")
        return camera->SetImageSize2(ToNumber(arguments.at(0)), ToNumber(arguments.at(1)), ToNumber(arguments.at(2)),
                                     VC_H264);
    if (call == "size")
        return GetSize(*camera.get());
    if (call == "rtsp")
        return camera->ConnectToRtspServer(ToNumber(arguments.at(0)));
    if (call == "h264")
        return GetH264(*camera.get());
    if (call == "setup")
        return Setup(*camera.get(), arguments);
    if (call == "play")
        return camera->StartMpeg4Video2(FALSE, 0);
    if (call == "pause")
        return camera->PauseStreaming();
    if (call == "stop")
        return camera->StopStreaming();
    if (call == "close")
        return camera->CloseConnection();
    return E_NOTIMPL;
}

HRESULT CInteropClient::Open(IAVCommand5& camera, const Arguments& arguments)
{
    const CBstr host = MakeBstr(ToWide(arguments.at(0)));
    const CBstr user = MakeBstr(ToWide(arguments.at(2)));
    const CBstr password = MakeBstr(ToWide(arguments.at(3)));
    return camera.OpenConnection(host.get(), static_cast<unsigned short>(ToNumber(arguments.at(1))), user.get(),
                                 password.get());
}

HRESULT CInteropClient::GetSize(IAVCommand5& camera)
{
    ImageSize2 size{};
    const HRESULT hr = camera.GetCameraImageSize(&size);
    Tell("width", size.ImageWidth);
    Tell("height", size.ImageHeight);
    Tell("rate", size.FrameRate);
    return hr;
}

HRESULT CInteropClient::GetH264(IAVCommand5& camera)
{
    H264Parameters record{};
    const HRESULT hr = camera.GetH264Parameters(&record);
    const CBstr profile(record.ProfileLeveId);
    const CTaskMemory<unsigned char> sets(record.ParameterSets);
    if (FAILED(hr))
        return hr;
    Tell("profileLevelId", ToText(profile));
    Tell("packetizationMode", record.PacketizationMode);
    Tell("parameterSet1", ToHex(sets.get(), record.ParameterSet1Size));
    Tell("parameterSet2", ToHex(sets.get() + record.ParameterSet1Size, record.ParameterSet2Size));
    return hr;
}

HRESULT CInteropClient::Setup(IAVCommand5& camera, const Arguments& arguments)
{
    TransportParameters record{};
    record.Protocol = MakeBstr(L"RTP/AVP").release();
    record.ClientPort = static_cast<unsigned short>(ToNumber(arguments.at(1)));
    const HRESULT hr = camera.SetupTransport(ToNumber(arguments.at(0)), &record);
    const CBstr protocol(record.Protocol);
    const CBstr address(record.MulticastAddress);
    const CBstr ssrc(record.Ssrc);
    Tell("protocol", ToText(protocol));
    Tell("clientPort", record.ClientPort);
    Tell("rtpPort", record.RtpPort);
    Tell("rtcpPort", record.RtcpPort);
    Tell("ssrc", ToText(ssrc));
    return hr;
}

void CInteropClient::Tell(std::string_view name, long value)
{
    m_facts += ",\"" + std::string(name) + "\":" + std::to_string(value);
}

void CInteropClient::Tell(std::string_view name, std::string_view text)
{
    // Only tokens and hexadecimal digits come here: nothing to escape.
    m_facts += ",\"" + std::string(name) + "\":\"" + std::string(text) + "\"";
}

int main()
{
    if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
        return 1;
    try
    {
        const CComponentLibrary library;
        CInteropClient client(library);
        std::string line;
        while (std::getline(std::cin, line))
            std::cout << client.Answer(line) << std::endl;
    }
    catch (const std::exception& failure)
    {
        std::cerr << "InteropClient: " << failure.what() << std::endl;
        return 1;
    }
    ::CoUninitialize();
    return 0;
}
