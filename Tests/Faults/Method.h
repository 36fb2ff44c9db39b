#pragma once

#include "Tests/Faults/Misbehaviour.h"
#include "Win32/ComPointer.h"

#include <Quorvane.h>
#include <windows.h>

#include <vector>

/// The object under test and where its camera is.
struct Client
{
    CComPointer<IAVCommand5> command;
    WORD port = 0;
};

/// How far an object has come when a method is called.
enum class Stage
{
    Open,      ///< a new one; no family is chosen yet
    Connected, ///< ConnectToCamera; objects at this stage are used again for the next cell
    Session,   ///< a new one, with an RTSP session
    SetUp,     ///< ... and a transport
    Playing    ///< ... and playing
};

/// What a method may cost, in requests, because time limits are stated for one request.
struct Cost
{
    unsigned cgiRequests = 0;
    bool isProbe = false;       ///< both families, twice, with a pause
    unsigned tunnels = 0;       ///< opened by the method itself
    unsigned rtspExchanges = 0; ///< each may reopen the tunnel
    bool closes = false;        ///< waits for what dies

    bool operator==(const Cost&) const = default;
};

/// What the result of a method tells.
enum class Tells
{
    Reply,   ///< what became of the request that is spoiled
    Another, ///< what became of a later request
    Nothing  ///< it is the same whatever the camera does
};

/// One method of the interface, spoiled at one of the requests that it makes. Data, but for the call itself.
struct Method
{
    const char* name;
    const char* column; ///< methods that send the same request stand together
    unsigned spoiled;
    const char* path; ///< of the requests that are spoiled, as the simulator's faults name it
    Stage stage;
    Cost cost;
    HRESULT (*call)(Client& client);
    HRESULT well = S_OK;                 ///< from a camera that behaves
    const char* firstWaitsFor = nullptr; ///< begins a request that must have come before the call
    Tells tells = Tells::Reply;

    bool SendsRequests() const noexcept
    {
        return cost != Cost{};
    }
    bool IsRtsp() const noexcept
    {
        return (spoiled & kCgi) == 0;
    }
};

namespace Methods
{
inline constexpr LONG kUdpPort = 9; ///< discards what it gets

std::vector<Method> OfIpela();
std::vector<Method> OfAxis();
std::vector<Method> OfAxisRtsp();

HRESULT Open(Client& client);
HRESULT SetupVideo(Client& client);
HRESULT StartVideo(Client& client);
} // namespace Methods
