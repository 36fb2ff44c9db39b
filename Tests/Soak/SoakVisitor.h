#pragma once

#include "Tests/Soak/CallBook.h"
#include "Tests/Soak/CallLimits.h"
#include "Tests/Soak/SoakCamera.h"
#include "Win32/ComPointer.h"

#include <Quorvane.h>

#include <functional>
#include <span>

/// A client of cameras: makes an object, uses it as an application would and also in ways in which none would, and
/// releases it. One thread, which is in an apartment.
class CSoakVisitor
{
public:
    using Maker = std::function<CComPointer<IAVCommand5>()>;

    /// Borrows the cameras and the book. `rtpPort` is a port of this process that takes media.
    CSoakVisitor(Maker make, std::span<const SoakCamera> cameras, CCallBook& book, const CallLimits& limits,
                 WORD rtpPort, unsigned seed);

    /// From the object's creation to its release, which comes up to `longestStayMs` after the last call. Throws what
    /// the maker throws.
    void Visit(int longestStayMs = 0);

private:
    void UseIpela();
    void UseAxis();
    void Stream();
    void CallAny();
    void Open(const SoakCamera& camera);
    void Wait(int milliseconds) const;

    /// One timed call that makes at most so many requests and RTSP exchanges.
    template <class Operation>
    HRESULT Call(const char* name, DWORD requests, DWORD exchanges, Operation operation);

    const Maker m_make;
    const std::span<const SoakCamera> m_cameras;
    CCallBook& m_book;
    const CallLimits m_limits;
    const WORD m_rtpPort;
    SoakRandom m_random;
    CComPointer<IAVCommand5> m_command;
};
