#include "CameraSim/Camera/PtzHead.h"

#include <algorithm>
#include <utility>

CPtzHead::CPtzHead(Clock clock)
    : m_clock(clock ? std::move(clock) : Clock([] { return std::chrono::steady_clock::now(); })), m_asOf(m_clock())
{
}

PtzPosition CPtzHead::Position()
{
    Advance();
    return m_position;
}

void CPtzHead::MoveTo(const PtzPosition& position)
{
    Advance();
    m_position = position;
    m_speed = {};
    Clip();
}

void CPtzHead::Step(double pan, double tilt, double zoomFactor)
{
    Advance();
    m_position.pan += pan;
    m_position.tilt += tilt;
    m_position.zoom *= zoomFactor;
    Clip();
}

void CPtzHead::SetPanTiltSpeed(double pan, double tilt)
{
    Advance();
    m_speed.pan = pan;
    m_speed.tilt = tilt;
}

void CPtzHead::SetZoomSpeed(double zoom)
{
    Advance();
    m_speed.zoom = zoom;
}

void CPtzHead::Advance()
{
    const auto now = m_clock();
    const double seconds = std::chrono::duration<double>(now - m_asOf).count();
    m_asOf = now;
    m_position.pan += m_speed.pan * seconds;
    m_position.tilt += m_speed.tilt * seconds;
    m_position.zoom += m_speed.zoom * seconds;
    Clip();
}

void CPtzHead::Clip()
{
    m_position.pan = std::clamp(m_position.pan, -kMaxPan, kMaxPan);
    m_position.tilt = std::clamp(m_position.tilt, kMinTilt, kMaxTilt);
    m_position.zoom = std::clamp(m_position.zoom, kMinZoom, kMaxZoom);
}
