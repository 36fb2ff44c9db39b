#pragma once

#include <chrono>
#include <functional>

/// Where the camera looks. Pan grows to the right, tilt upwards, both in degrees; zoom is the magnification.
struct PtzPosition
{
    double pan = 0;
    double tilt = 0;
    double zoom = 1;

    bool operator==(const PtzPosition&) const = default;
};

/// Speeds per second in the units of PtzPosition; 0 stands still.
struct PtzSpeed
{
    double pan = 0;
    double tilt = 0;
    double zoom = 0;

    bool operator==(const PtzSpeed&) const = default;
};

/// The moving part of a camera: a position inside limits, and a continuous movement that goes on until it is stopped.
/// Time is what the clock says, asked for at each call; nothing runs in the background.
/// Not thread-safe; the owner serialises.
class CPtzHead
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    static constexpr double kMaxPan = 170;
    static constexpr double kMinTilt = -90;
    static constexpr double kMaxTilt = 30;
    static constexpr double kMinZoom = 1;
    static constexpr double kMaxZoom = 20;
    /// Width and height of the picture in degrees when not zoomed in.
    static constexpr double kFieldWidth = 60;
    static constexpr double kFieldHeight = 45;

    explicit CPtzHead(Clock clock = {});

    PtzPosition Position();
    /// The movement now; a direction whose limit was reached still counts as moving until it is stopped.
    PtzSpeed Speed() const noexcept
    {
        return m_speed;
    }

    /// Jumps there (clipped to the limits) and stops all movement.
    void MoveTo(const PtzPosition& position);
    /// Adds to pan and tilt and multiplies the zoom, clipped to the limits. A running movement goes on.
    void Step(double pan, double tilt, double zoomFactor);
    void SetPanTiltSpeed(double pan, double tilt);
    void SetZoomSpeed(double zoom);

private:
    void Advance();
    void Clip();

    Clock m_clock;
    PtzPosition m_position;
    PtzSpeed m_speed;
    std::chrono::steady_clock::time_point m_asOf;
};
