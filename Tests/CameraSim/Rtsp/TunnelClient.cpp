#include "Rtsp/TunnelClient.h"

#include "CameraSim/Text/Ascii.h"
#include "CameraSim/Text/Base64.h"

#include <atomic>

namespace
{

std::string NewCookie()
{
    static std::atomic<unsigned> count{0};
    return "cookie" + std::to_string(++count);
}

unsigned Byte(char c)
{
    return static_cast<unsigned char>(c);
}

} // namespace

std::string RtspAnswer::Header(std::string_view name) const
{
    const std::string start = "\r\n" + std::string(name) + ": ";
    const auto at = head.find(start);
    if (at == head.npos)
        return "";
    const auto begin = at + start.size();
    return head.substr(begin, head.find("\r\n", begin) - begin);
}

CTunnelClient::CTunnelClient(std::uint16_t port) : CTunnelClient(port, NewCookie())
{
    OpenGet();
    OpenPost();
}

CTunnelClient::CTunnelClient(std::uint16_t port, std::string cookie) : m_port(port), m_cookie(std::move(cookie)) {}

std::string CTunnelClient::OpenGet(bool waits)
{
    m_get = std::make_unique<CTestClient>(m_port);
    m_get->SendRequest("GET", kTarget, "x-sessioncookie:" + m_cookie + "\r\nCache-Control: no-cache\r\n");
    if (!waits)
        return "";
    const auto deadline = std::chrono::steady_clock::now() + CTestClient::kPatience;
    while (m_buffer.find("\r\n\r\n") == m_buffer.npos && ReadMore(deadline))
    {
    }
    const auto end = m_buffer.find("\r\n\r\n");
    if (end == m_buffer.npos)
        return "";
    const std::string head = m_buffer.substr(0, end + 4);
    m_buffer.erase(0, end + 4);
    return head;
}

void CTunnelClient::OpenPost()
{
    m_post = std::make_unique<CTestClient>(m_port);
    m_post->SendRequest("POST", kTarget,
                        "x-sessioncookie:" + m_cookie +
                            "\r\nContent-Type: application/x-rtsp-tunnelled\r\nContent-Length: 32767\r\n");
}

void CTunnelClient::CloseGet()
{
    m_get->Close();
}

void CTunnelClient::ClosePost()
{
    m_post->Close();
}

std::string CTunnelClient::Url() const
{
    return "rtsp://127.0.0.1:" + std::to_string(m_port) + kTarget;
}

std::string CTunnelClient::Track(unsigned number) const
{
    return "rtsp://127.0.0.1:" + std::to_string(m_port) + "/axis-media/media.amp/trackID=" + std::to_string(number) +
           "?videocodec=h264&audio=1";
}

void CTunnelClient::Send(std::string_view method, std::string_view url, std::string_view headers, std::string_view body)
{
    std::string text = std::string(method) + " " + std::string(url) + " RTSP/1.0\r\nCSeq: " + std::to_string(++m_cseq) +
                       "\r\n" + std::string(headers);
    if (!body.empty())
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    SendText(text + "\r\n" + std::string(body));
}

void CTunnelClient::SendText(std::string_view text)
{
    SendRaw(Base64Text::Encode(text));
}

void CTunnelClient::SendRaw(std::string_view bytes)
{
    m_post->Send(bytes);
}

RtspAnswer CTunnelClient::Receive(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    RtspAnswer answer;
    bool more = true;
    while (more)
    {
        while (TakePacket())
        {
        }
        if (TakeAnswer(answer))
            return answer;
        more = ReadMore(deadline);
    }
    return {};
}

RtspAnswer CTunnelClient::Request(std::string_view method, std::string_view url, std::string_view headers,
                                  std::string_view body)
{
    Send(method, url, headers, body);
    return Receive();
}

RtspAnswer CTunnelClient::Setup(unsigned track, std::string_view transport)
{
    const RtspAnswer answer =
        Request("SETUP", Track(track), SessionHeader() + "Transport: " + std::string(transport) + "\r\n");
    const std::string session = answer.Header("Session");
    if (answer.status == 200)
        m_session = session.substr(0, session.find(';'));
    return answer;
}

std::string CTunnelClient::SessionHeader() const
{
    return m_session.empty() ? "" : "Session: " + m_session + "\r\n";
}

std::vector<InterleavedPacket> CTunnelClient::Packets(std::size_t count, std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    bool more = true;
    while (m_packets.size() < count && more)
    {
        if (!TakePacket())
            more = ReadMore(deadline);
    }
    const auto end = m_packets.begin() + static_cast<std::ptrdiff_t>(std::min(count, m_packets.size()));
    std::vector<InterleavedPacket> result(m_packets.begin(), end);
    m_packets.erase(m_packets.begin(), end);
    return result;
}

std::string CTunnelClient::Rest(std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (ReadMore(deadline))
    {
    }
    return std::exchange(m_buffer, {});
}

std::string CTunnelClient::Some()
{
    ReadMore(std::chrono::steady_clock::now() + CTestClient::kPatience);
    return std::exchange(m_buffer, {});
}

bool CTunnelClient::WaitForGetClose()
{
    return m_get->WaitForClose();
}

bool CTunnelClient::WaitForPostClose()
{
    return m_post->WaitForClose();
}

bool CTunnelClient::TakePacket()
{
    if (m_buffer.size() < 4 || m_buffer[0] != '$')
        return false;
    const std::size_t length = (Byte(m_buffer[2]) << 8) | Byte(m_buffer[3]);
    if (m_buffer.size() < 4 + length)
        return false;
    m_packets.push_back({Byte(m_buffer[1]), m_buffer.substr(4, length)});
    m_buffer.erase(0, 4 + length);
    return true;
}

bool CTunnelClient::TakeAnswer(RtspAnswer& answer)
{
    const auto end = m_buffer.find("\r\n\r\n");
    if (!m_buffer.starts_with("RTSP/1.0 ") || end == m_buffer.npos)
        return false;
    RtspAnswer taken;
    taken.head = m_buffer.substr(0, end + 4);
    taken.status = Ascii::Number<unsigned>(taken.head.substr(9, 3)).value_or(0);
    const auto length = Ascii::Number<std::size_t>(taken.Header("Content-Length")).value_or(0);
    if (m_buffer.size() < taken.head.size() + length)
        return false;
    taken.body = m_buffer.substr(taken.head.size(), length);
    m_buffer.erase(0, taken.head.size() + length);
    answer = std::move(taken);
    return true;
}

bool CTunnelClient::ReadMore(std::chrono::steady_clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const std::string piece = left.count() > 0 ? m_get->ReceiveSome(left) : std::string();
    m_buffer += piece;
    return !piece.empty();
}
