#pragma once

#include <winsock2.h>

#include <windows.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// What the scripted camera does with one request.
struct ScriptedReply
{
    std::string bytes;          ///< sent as they are
    bool closeAfter = false;    ///< the connection is closed behind the last byte
    bool reset = false;         ///< ... and abortively, so that the client sees a reset
    bool held = false;          ///< nothing is sent before ReleaseHeld
    bool silentAfter = false;   ///< nothing more is sent, the connection stays open until the client closes it
    std::size_t pieceBytes = 0; ///< when not 0, the bytes go out in pieces of this size, one send each
    unsigned pauseMs = 0;       ///< ... with this pause between two pieces
    std::size_t wholeBytes = 0; ///< ... behind these, which go out at once
};

/// A reply with a status line, Content-Length and body; the connection is kept.
ScriptedReply HttpAnswer(int statusCode, const std::string& body, const std::string& extraHeaders = {});

/// A loopback HTTP server that plays a script: the n-th request, on whichever connection, gets the n-th reply; later
/// ones get the last reply again. Keeps the exact bytes of every request head.
/// Destroying it closes all connections and ends its threads. Every wait of its methods is limited.
class CScriptedCamera
{
public:
    explicit CScriptedCamera(std::vector<ScriptedReply> script);
    ~CScriptedCamera();
    CScriptedCamera(const CScriptedCamera&) = delete;
    CScriptedCamera& operator=(const CScriptedCamera&) = delete;

    WORD Port() const noexcept;
    std::vector<std::string> Requests() const;
    std::size_t ConnectionCount() const;

    /// Appends to the script; a request that comes later gets it.
    void Enqueue(ScriptedReply reply);
    /// True when at least `count` request heads have arrived, within `limitMs`.
    bool WaitForRequests(std::size_t count, DWORD limitMs = 5000) const;
    /// Lets the held replies go out.
    void ReleaseHeld();
    /// Closes every connection that is open now, as a camera that is switched off.
    void DropConnections();

private:
    void Accept();
    void Serve(SOCKET connection, unsigned dropCount);
    bool IsStopping() const;
    bool IsDropped(unsigned dropCount) const;
    bool Send(SOCKET connection, const ScriptedReply& reply);
    ScriptedReply NextReply(const std::string& head);

    SOCKET m_listener = INVALID_SOCKET;
    WORD m_port = 0;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_arrived;
    std::deque<ScriptedReply> m_script;
    ScriptedReply m_lastReply;
    std::vector<std::string> m_requests;
    unsigned m_dropCount = 0; ///< a connection that was accepted under a lower count is to be closed
    std::size_t m_connectionCount = 0;
    std::vector<std::thread> m_servers;
    bool m_stopping = false;
    bool m_released = false;
    std::thread m_acceptor;
};

/// The value of a header in a request head, empty when absent. The name is compared without regard to case.
std::string HeaderValue(const std::string& head, const std::string& name);
/// The first line of a request head.
std::string RequestLine(const std::string& head);
