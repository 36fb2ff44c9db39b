#pragma once

#include <winsock2.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

/// What the tunnels are opened to.
inline constexpr wchar_t kMediaPath[] = L"/axis-media/media.amp";

/// The two HTTP requests of a tunnel.
enum class TunnelSide
{
    Get,
    Post,
    Both
};

/// What the camera does with one RTSP request, in this order.
struct TunnelReply
{
    std::string bytes;                       ///< sent on the GET as they are; empty: no reply
    std::size_t pieceBytes = 0;              ///< when not 0, the bytes go out in pieces of this size
    std::chrono::milliseconds pause{0};      ///< ... with this pause between two pieces
    bool held = false;                       ///< kept back until ReleaseHeld; later requests are answered meanwhile
    bool close = false;                      ///< closes the side behind the bytes
    bool reset = false;                      ///< ... abortively
    TunnelSide closedSide = TunnelSide::Get; ///< which side `close` and `reset` mean
};

/// "RTSP/1.0 <status> Scripted", the CSeq of `request`, `headers` (complete lines, CRLF included), Content-Length when
/// there is a body.
std::string RtspReply(const std::string& request, int statusCode, const std::string& headers = {},
                      const std::string& body = {});

/// A loopback camera that speaks RTSP through HTTP (a GET for its replies, a POST with base64 requests, tied by
/// x-sessioncookie) and lets the test decide about every reply. Accepts any number of tunnels, also one after another;
/// the actions concern the newest. Keeps the exact bytes of all request heads and RTSP requests.
/// When the client closes a GET, the camera closes its POST, as real ones do, unless told otherwise.
/// Destroying it closes all connections and ends its threads. Every wait of its methods is limited.
class CTunnelCamera
{
public:
    /// Called on a thread of the camera, one call at a time, with each complete RTSP request.
    using Handler = std::function<TunnelReply(const std::string& request)>;

    /// Without a handler each request is answered by RtspReply(request, 200).
    explicit CTunnelCamera(Handler handler = {});
    /// The n-th request gets the n-th reply, later ones none.
    explicit CTunnelCamera(std::vector<TunnelReply> script);
    ~CTunnelCamera();
    CTunnelCamera(const CTunnelCamera&) = delete;
    CTunnelCamera& operator=(const CTunnelCamera&) = delete;

    WORD Port() const noexcept;

    // What has come, in order of arrival.
    std::vector<std::string> Heads() const;        ///< of all HTTP requests
    std::vector<std::string> RtspRequests() const; ///< decoded
    std::string PostBody() const;                  ///< the newest tunnel's, still in base64
    std::size_t TunnelCount() const;               ///< how many GETs

    bool WaitForHeads(std::size_t count, DWORD limitMs = 5000) const;
    bool WaitForRtspRequests(std::size_t count, DWORD limitMs = 5000) const;
    /// The newest tunnel has ended on this side, whoever has closed it.
    bool WaitForEnd(TunnelSide side, DWORD limitMs = 5000) const;

    // How the next tunnels are treated.
    /// The answer to the GET; empty: none. Starts as "HTTP/1.0 200 OK" without a length, as tunnels are answered.
    void SetGetAnswer(std::string bytes);
    /// The answer to the POST; starts as none.
    void SetPostAnswer(std::string bytes);
    /// A POST outlives its GET.
    void KeepPosts();
    /// ... until now.
    void ReleasePosts();

    // Actions on the newest tunnel.
    void Send(std::string_view bytes);
    void ReleaseHeld();
    /// Ends the side, or with `reset` breaks it off, within some 10 ms.
    void Close(TunnelSide side, bool reset = false);

private:
    /// One of the two connections of a tunnel.
    struct Side
    {
        SOCKET socket = INVALID_SOCKET;
        bool arrived = false;
        bool ended = false;
        bool close = false;
        bool reset = false;
    };
    struct Tunnel
    {
        std::string cookie;
        Side get;
        Side post;
        std::string postBody;
    };
    struct HeldReply
    {
        Tunnel* tunnel;
        TunnelReply reply;
    };

    struct Server
    {
        std::thread thread;
        std::atomic<bool> finished{false};
    };

    void Start();
    void Accept();
    void JoinFinished();
    void Serve(SOCKET connection);
    std::string ReadHead(SOCKET connection, std::string& received);
    /// Returns what the client sent instead of closing: its next request.
    std::string ServeGet(SOCKET connection, const std::string& head);
    void ServePost(SOCKET connection, const std::string& head, std::string& received);
    void Answer(Tunnel& tunnel, const std::string& request);
    void SendReply(Tunnel& tunnel, const TunnelReply& reply);
    void SendOnGet(Tunnel& tunnel, std::string_view bytes);
    Tunnel& TunnelOf(const std::string& head, bool isGet);
    bool IsOver(const Side& side) const;
    bool IsStopping() const;
    void End(Side& side, bool closeSocket);
    static void RequestClose(Tunnel& tunnel, TunnelSide side, bool reset);

    Handler m_handler;
    SOCKET m_listener = INVALID_SOCKET;
    WORD m_port = 0;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::mutex m_handlerMutex;
    std::list<Tunnel> m_tunnels; // a list: the threads keep references
    std::vector<std::string> m_heads;
    std::vector<std::string> m_requests;
    std::vector<HeldReply> m_held;
    std::string m_getAnswer;
    std::string m_postAnswer;
    bool m_keepPosts = false;
    bool m_stopping = false;
    std::list<Server> m_servers; // the acceptor's; many tunnels must not leave as many threads behind
    std::thread m_acceptor;
};
