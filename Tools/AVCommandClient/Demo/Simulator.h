#pragma once

#include "Core/Camera.h"

#include <string>
#include <vector>

/// One request as the simulated camera received it.
struct ReceivedRequest
{
    std::string method;
    std::string target;
    int status = 0;
    bool isAuthorized = false;
};

struct CameraPosition
{
    double pan = 0;
    double tilt = 0;
    double zoom = 0;

    bool operator==(const CameraPosition&) const = default;
};

/// What the simulated camera itself says about its state. A picture height of 0: the camera does not store it.
struct SimulatedCamera
{
    std::string model;
    StreamSettings settings;
    CameraPosition position;
    /// An Axis camera; else an IPELA one.
    bool isAxis = false;
};

/// The simulator's control endpoint: the other side of every call, seen from the camera.
/// Functions throw std::runtime_error when the simulator cannot be asked or answers nonsense.
class ISimulator
{
public:
    virtual ~ISimulator() = default;
    /// Where the camera listens and what it lets in.
    [[nodiscard]] virtual CameraAddress Address() = 0;
    [[nodiscard]] virtual SimulatedCamera Camera() = 0;
    /// The requests that have arrived since the last call; the first call returns all that it still remembers.
    [[nodiscard]] virtual std::vector<ReceivedRequest> TakeRequests() = 0;
};
