#pragma once

#include "Core/Camera.h"

#include <memory>
#include <string>

/// Where cameras come from: the component, registered or loaded from a file. The program has one over COM, the tests
/// have fakes.
class IComponentHost
{
public:
    virtual ~IComponentHost() = default;
    /// `camera` is set on success only. It must die before its host.
    [[nodiscard]] virtual HResult CreateCamera(std::unique_ptr<ICamera>& camera) = 0;
    [[nodiscard]] virtual HResult Register() = 0;
    [[nodiscard]] virtual HResult Unregister() = 0;
    /// How cameras are created, for messages: its ProgID or the DLL's path.
    [[nodiscard]] virtual std::string Source() const = 0;
    /// The DLL that is registered and unregistered.
    [[nodiscard]] virtual std::string LibraryPath() const = 0;
};
