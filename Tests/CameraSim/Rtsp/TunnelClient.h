#pragma once

#include "TestClient.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// An RTSP reply as it came.
struct RtspAnswer
{
    unsigned status = 0; ///< 0: none came in time
    std::string head;    ///< with the blank line
    std::string body;    ///< as long as Content-Length says

    /// The first header of that name, letter for letter, because clients look headers up so; empty when absent.
    std::string Header(std::string_view name) const;
};

struct InterleavedPacket
{
    unsigned channel = 0;
    std::string bytes;
};

/// A transport that third-party players ask for: media between the replies.
inline constexpr const char* kInterleaved = "RTP/AVP/TCP;unicast";

/// An RTSP client in an HTTP tunnel to a simulated camera on 127.0.0.1; every wait limited. One thread.
class CTunnelClient
{
public:
    static constexpr const char* kTarget = "/axis-media/media.amp?videocodec=h264&audio=1";

    /// Opens the GET, then the POST, as players do.
    explicit CTunnelClient(std::uint16_t port);
    /// Opens nothing.
    CTunnelClient(std::uint16_t port, std::string cookie);

    /// The head of the answer, empty when none came; with `waits` false it is not waited for.
    std::string OpenGet(bool waits = true);
    void OpenPost();
    void CloseGet();
    void ClosePost();

    /// The URL of the presentation, and of one of its streams.
    std::string Url() const;
    std::string Track(unsigned number) const;

    /// Numbered and in base64.
    void Send(std::string_view method, std::string_view url, std::string_view headers = {}, std::string_view body = {});
    /// In base64.
    void SendText(std::string_view text);
    /// As it is.
    void SendRaw(std::string_view bytes);
    RtspAnswer Receive(std::chrono::milliseconds patience = CTestClient::kPatience);
    RtspAnswer Request(std::string_view method, std::string_view url, std::string_view headers = {},
                       std::string_view body = {});
    /// SETUP of one stream; a session that the reply names is kept for `SessionHeader`.
    RtspAnswer Setup(unsigned track, std::string_view transport);
    /// "Session: ID", with its line end; empty before SETUP.
    std::string SessionHeader() const;

    /// So many packets, or fewer when the time is over.
    std::vector<InterleavedPacket> Packets(std::size_t count,
                                           std::chrono::milliseconds patience = CTestClient::kPatience);
    /// What came on the GET and belongs to no whole reply or packet, after waiting for more.
    std::string Rest(std::chrono::milliseconds patience);
    /// What comes next on the GET, however little.
    std::string Some();
    bool WaitForGetClose();
    bool WaitForPostClose();
    CTestClient& Post()
    {
        return *m_post;
    }

private:
    bool TakePacket();
    bool TakeAnswer(RtspAnswer& answer);
    bool ReadMore(std::chrono::steady_clock::time_point deadline);

    const std::uint16_t m_port;
    const std::string m_cookie;
    std::unique_ptr<CTestClient> m_get;
    std::unique_ptr<CTestClient> m_post;
    unsigned m_cseq = 0;
    std::string m_session;
    std::string m_buffer;
    std::deque<InterleavedPacket> m_packets;
};
