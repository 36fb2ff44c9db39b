#pragma once

#include "Tests/Component/RtpReceiver.h"
#include "Tests/Component/SimulatedCameraFixture.h"
#include "Win32/Handles.h"

#include <string>
#include <vector>

/// What a client passes to SetupTransport; owns every text that it holds at the end.
class CTransport
{
public:
    explicit CTransport(WORD clientPort, bool isMulticast = false, const wchar_t* protocol = L"RTP/AVP")
        : m_parameters{MakeBstr(protocol).release(), isMulticast, clientPort, nullptr, 0, 0, kTtl, nullptr}
    {
    }
    ~CTransport()
    {
        for (const BSTR text : {m_parameters.Protocol, m_parameters.MulticastAddress, m_parameters.Ssrc})
            const CBstr owned(text);
    }
    CTransport(const CTransport&) = delete;
    CTransport& operator=(const CTransport&) = delete;

    TransportParameters* Record() noexcept
    {
        return &m_parameters;
    }
    const TransportParameters* operator->() const noexcept
    {
        return &m_parameters;
    }

    static constexpr WORD kTtl = 77; ///< as the client has set it

private:
    TransportParameters m_parameters;
};

/// The H.264 parameters that a client gets; owns what they hold.
struct CH264Parameters : H264Parameters
{
    CH264Parameters() : H264Parameters{} {}
    ~CH264Parameters()
    {
        const CBstr profile(ProfileLeveId);
        const CTaskMemory<BYTE> sets(ParameterSets);
    }
    CH264Parameters(const CH264Parameters&) = delete;
    CH264Parameters& operator=(const CH264Parameters&) = delete;

    std::string Set1() const
    {
        return {reinterpret_cast<const char*>(ParameterSets), static_cast<std::size_t>(ParameterSet1Size)};
    }
    std::string Set2() const
    {
        return {reinterpret_cast<const char*>(ParameterSets) + ParameterSet1Size,
                static_cast<std::size_t>(ParameterSet2Size)};
    }
};

inline constexpr LONG kVideo = 0;
inline constexpr LONG kAudio = 1;

/// A test with an Axis camera whose family is found and whose settings are right; no RTSP session yet.
class AxisStreamTest : public SimulatedCameraTest
{
protected:
    void SetUp() override
    {
        StartConnected(Small());
    }
    /// A camera with small pictures, because encoding them is most of what these tests cost.
    static CameraSimulatorOptions Small()
    {
        return {.model = "AXIS P5635-E"};
    }
    void StartConnected(CameraSimulatorOptions options)
    {
        SimulatedCameraTest::StartConnected(std::move(options));
        m_camera->SetSetting("Image.I0.Appearance.Resolution", "480x270");
    }

    /// Sent() without the keep-alive, which comes when it likes.
    std::vector<std::string> Requests()
    {
        std::vector<std::string> requests = Sent();
        std::erase_if(requests, [](const std::string& request) { return request.starts_with("OPTIONS "); });
        return requests;
    }
    /// How many requests since the start began so.
    std::size_t Count(const std::string& beginning) const
    {
        std::size_t count = 0;
        for (const std::string& head : RequestHeads(*m_camera))
            count += head.starts_with(beginning) ? 1 : 0;
        return count;
    }
    /// True as soon as the condition is, false when it is not within ten seconds.
    template <class Condition>
    static bool WaitFor(Condition condition)
    {
        const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        const ULONGLONG end = ::GetTickCount64() + 10'000;
        while (!condition())
        {
            if (::GetTickCount64() >= end)
                return false;
            ::WaitForSingleObject(never.get(), 10);
        }
        return true;
    }
    /// A POST is not answered: its connection may come after the call that has opened it.
    bool WaitForTunnels(std::size_t count) const
    {
        return WaitFor([&] { return Count("POST /axis-media/") >= count; });
    }
    /// The camera ends the sessions of a tunnel that is closed.
    bool WaitForNoSession() const
    {
        return WaitFor([this] { return m_camera->RtspSessions().empty(); });
    }
};
