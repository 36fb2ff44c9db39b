#pragma once

#include "Tests/Component/ComponentEnvironment.h"
#include "Tests/Support/RegistryValues.h"
#include "Win32/ComMemory.h"
#include "Win32/ComPointer.h"

#include <Quorvane.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objbase.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

inline testing::Environment* const g_componentEnvironment =
    testing::AddGlobalTestEnvironment(ComponentEnvironment::Make());

/// What asks a camera whether it is an IPELA one.
inline const std::string kProbe = "command/inquiry.cgi?inq=system";

/// The time-out result of every call that waits for a camera.
inline constexpr HRESULT kTimedOut = static_cast<HRESULT>(0x800C05B4);

/// The calling thread in a single-threaded apartment.
class CApartment
{
public:
    CApartment()
    {
        if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)))
            throw std::runtime_error("no apartment for this thread");
    }
    ~CApartment()
    {
        ::CoUninitialize();
    }
    CApartment(const CApartment&) = delete;
    CApartment& operator=(const CApartment&) = delete;
};

using CommandPointer = CComPointer<IAVCommand5>;

/// A new object, created as a client does: by the ProgID in the registry.
inline CommandPointer CreateCommand()
{
    CLSID clsid = {};
    CommandPointer command;
    if (FAILED(::CLSIDFromProgID(L"Quorvane.AVCommand", &clsid)) ||
        FAILED(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IAVCommand5, command.putVoid())))
        throw std::runtime_error("Quorvane.AVCommand cannot be created");
    return command;
}

inline HRESULT Open(const CommandPointer& command, WORD port, const wchar_t* userName = L"",
                    const wchar_t* password = L"", const wchar_t* serverName = L"127.0.0.1")
{
    return command->OpenConnection(MakeBstr(serverName).get(), port, MakeBstr(userName).get(),
                                   MakeBstr(password).get());
}

/// A test of the registered component: apartment, the machine's settings (which start empty) and the log.
class ComponentTest : public testing::Test
{
protected:
    static constexpr wchar_t kTimeLimit[] = L"CameraCGICommandTimeout";
    static constexpr wchar_t kUseCache[] = L"IPELAUseCachedCameraSettings";
    static constexpr wchar_t kSetupCommand[] = L"CameraSetupCGICommand";
    static constexpr wchar_t kSetupCommandWr600[] = L"CameraSetupCGICommand_WR600";

    CApartment m_apartment;
    CTestRegistryKey m_registry{L"Software\\Orbell\\Video"};
    CComponentLog m_log;
};

/// "command/inquiry.cgi?inq=system" of "GET /command/inquiry.cgi?inq=system HTTP/1.1"; any other line unchanged.
inline std::string RequestOf(const std::string& head)
{
    const std::string line = head.substr(0, head.find("\r\n"));
    const std::string start = "GET /";
    const std::string end = " HTTP/1.1";
    const bool isGet = line.starts_with(start) && line.ends_with(end);
    return isGet ? line.substr(start.size(), line.size() - start.size() - end.size()) : line;
}

/// An object and the camera that it is to talk to. RequestHeads(camera) comes with the kind of camera.
template <class Camera>
class CameraTest : public ComponentTest
{
protected:
    /// The heads of the requests since the last call.
    std::vector<std::string> SentHeads()
    {
        std::vector<std::string> heads = RequestHeads(*m_camera);
        const std::size_t seen = std::exchange(m_seen, heads.size());
        heads.erase(heads.begin(), heads.begin() + static_cast<std::ptrdiff_t>(seen));
        return heads;
    }
    /// What the camera was asked since the last call.
    std::vector<std::string> Sent()
    {
        std::vector<std::string> requests;
        for (const std::string& head : SentHeads())
            requests.push_back(RequestOf(head));
        return requests;
    }
    /// From here on only what is new counts.
    void Forget()
    {
        Sent();
        m_log.Clear();
    }

    std::optional<Camera> m_camera; // outlives the connection to it
    CommandPointer m_command;
    std::size_t m_seen = 0;
};
