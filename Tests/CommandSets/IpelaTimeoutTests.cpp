#include "CgiCommandIpela.h"
#include "HttpRequest.h"
#include "Tests/Support/CapturingLogSink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

using testing::ElementsAre;

/// How long each request may take. The HTTP layer is left out: this program has a SendRequest of its own, which writes
/// down what it was asked for, so that no test has to wait for a camera that does not answer.
namespace
{
struct SentRequest
{
    std::wstring url;
    std::wstring verb;
    DWORD timeoutMs;

    bool operator==(const SentRequest&) const = default;
};
void PrintTo(const SentRequest& request, std::ostream* stream)
{
    *stream << testing::PrintToString(request.verb + L" " + request.url) << " " << request.timeoutMs << " ms";
}

std::vector<SentRequest> s_sent;
std::wstring s_reply;
HRESULT s_result = S_OK;

const std::wstring kCameraInquiry = L"command/inquiry.cgi?inq=camera";
const std::wstring kSystemInquiry = L"command/inquiry.cgi?inq=system";
} // namespace

HRESULT CAsyncHttpRequest::SendRequest(const std::wstring& url, DWORD& statusCode, std::wstring& response,
                                       const std::wstring& verb, DWORD timeoutMs) noexcept
{
    s_sent.push_back({url, verb, timeoutMs});
    statusCode = SUCCEEDED(s_result) ? 200 : static_cast<DWORD>(s_result);
    response = SUCCEEDED(s_result) ? s_reply : std::wstring();
    return s_result;
}

namespace
{
/// Exposes the inquiry that no operation needs.
class CInquirer : public CCgiCommandIpela
{
public:
    using CCgiCommandIpela::CCgiCommandIpela;
    using CCgiCommandIpela::QuerySystemSettings;
};

class IpelaTimeout : public testing::Test
{
protected:
    IpelaTimeout()
    {
        s_result = S_OK;
        s_reply = L"ModelName=SNC-EP580";
        s_sent.clear();
    }
    void Probe(const wchar_t* model)
    {
        s_reply = std::wstring(L"ModelName=") + model;
        ASSERT_EQ(S_OK, m_commandSet.TryTalkToCamera());
        s_sent.clear();
    }

    // Never constructed and never looked into: only the SendRequest above sees the address.
    alignas(CAsyncHttpRequest) unsigned char m_http[sizeof(CAsyncHttpRequest)] = {};
    CInquirer m_commandSet{reinterpret_cast<CAsyncHttpRequest*>(m_http)};
};
} // namespace

TEST_F(IpelaTimeout, ProbeMayTakeFourSeconds)
{
    EXPECT_EQ(S_OK, m_commandSet.TryTalkToCamera());
    EXPECT_THAT(s_sent, ElementsAre(SentRequest{kSystemInquiry, L"GET", 4000}));
}

TEST_F(IpelaTimeout, CameraInquiryMayTakeTenSecondsAndTheSetupFour)
{
    Probe(L"SNC-EP580");
    EXPECT_EQ(S_OK, m_commandSet.ConnectToCamera());
    EXPECT_THAT(s_sent, ElementsAre(SentRequest{kCameraInquiry, L"GET", 10000},
                                    SentRequest{L"command/camera.cgi?ImageCodec1=h264&AudioIn=on&AudInCodec=g711_64"
                                                L"&AutoRateCtrl1=off",
                                                L"GET", 4000}));
}

TEST_F(IpelaTimeout, ImageSizeMayTakeTenSecondsOnRz25AndFiveOnTheOthers)
{
    Probe(L"SNC-RZ25");
    EXPECT_EQ(S_OK, m_commandSet.SetImageSize(640, 480, 30, VC_MPEG4));
    Probe(L"SNC-RX550");
    EXPECT_EQ(S_OK, m_commandSet.SetImageSize(640, 480, 30, VC_MPEG4));
    EXPECT_THAT(s_sent, ElementsAre(SentRequest{L"command/camera.cgi?M4ImageSize=640,0&M4FrameRate=30", L"GET", 5000}));
    Probe(L"SNC-RZ25");
    EXPECT_EQ(S_OK, m_commandSet.SetImageSize(640, 480, 30, VC_MPEG4));
    EXPECT_THAT(s_sent, ElementsAre(SentRequest{L"command/camera.cgi?ImageSize=640,2&M4FrameRate=30", L"GET", 10000}));
}

TEST_F(IpelaTimeout, EveryOtherCommandMayTakeFourSeconds)
{
    const std::function<HRESULT(CCgiCommandBase&)> operations[] = {
        [](auto& set) { return set.SetBitRate(64); },
        [](auto& set) { return set.SetAudioInVolume(0); },
        [](auto& set) { return set.SendPTZCommand(PTZ_UPPER, PT_10); },
        [](auto& set) { return set.SendPTZAreaZoomCommand(1, 2, 3, 4); },
        [](auto& set) { return set.SendPTZStartCommand(PTZ_UPPER, 50); },
        [](auto& set) { return set.SendPTZStopCommand(PTZ_UPPER); },
        [](auto& set) { return set.StartVideo(true, 0); },
        [](auto& set) { return set.StartAudio(true, 0); },
    };
    for (const auto& operation : operations)
    {
        s_sent.clear();
        EXPECT_EQ(S_OK, operation(m_commandSet));
        ASSERT_EQ(1u, s_sent.size());
        SCOPED_TRACE(testing::PrintToString(s_sent[0].url));
        EXPECT_EQ(L"GET", s_sent[0].verb);
        EXPECT_EQ(4000u, s_sent[0].timeoutMs);
    }
}

TEST_F(IpelaTimeout, TimeoutOfTheTransportIsReturnedUnchanged)
{
    s_result = kRequestTimeout;
    EXPECT_EQ(kRequestTimeout, m_commandSet.TryTalkToCamera());
    EXPECT_EQ(kRequestTimeout, m_commandSet.ConnectToCamera());
    EXPECT_EQ(kRequestTimeout, m_commandSet.SetBitRate(64));
    EXPECT_EQ(3u, s_sent.size());
}

TEST_F(IpelaTimeout, SystemInquiryMustSaySomething)
{
    std::wstring content = L"untouched";
    const CLogCapture log;
    s_reply = L"";
    EXPECT_EQ(E_FAIL, m_commandSet.QuerySystemSettings(content));
    s_result = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, m_commandSet.QuerySystemSettings(content));
    EXPECT_EQ(L"untouched", content);
    EXPECT_THAT(log.Lines(),
                ElementsAre(L"8 CCgiCommandIpela::QuerySystemSettings, request (command/inquiry.cgi?inq=system) "
                            L"returns 0 byte",
                            L"1 CCgiCommandIpela::QuerySystemSettings, failed to send request "
                            L"(command/inquiry.cgi?inq=system), hr = 0x80070005"));
    s_result = S_OK;
    s_reply = L"ModelName=x";
    EXPECT_EQ(S_OK, m_commandSet.QuerySystemSettings(content));
    EXPECT_EQ(L"ModelName=x", content);
    EXPECT_EQ((SentRequest{kSystemInquiry, L"GET", 4000}), s_sent.back());
}
