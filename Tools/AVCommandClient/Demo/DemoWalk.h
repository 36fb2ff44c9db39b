#pragma once

#include "Core/ComponentHost.h"
#include "Demo/DemoReport.h"
#include "Demo/Simulator.h"
#include "Demo/StreamReceiver.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The main job, step by step, through the component against a simulated camera. After each call it looks at what the
/// simulator received and at the simulator's own state, and compares both with what the component said.
/// Borrows everything. Throws std::runtime_error when the simulator stops answering, CallFailure when the component
/// cannot be created or does not connect: without that no later step makes sense.
class CDemoWalk
{
public:
    struct Surroundings
    {
        IComponentHost& host;
        ISimulator& simulator;
        IStreamReceiver& video;
        IStreamReceiver& audio;
        /// Waits between two looks at a moving camera; a test passes something that only moves its fake.
        std::function<void(std::chrono::milliseconds)> pause;
    };

    CDemoWalk(const Surroundings& surroundings, CDemoReport& report);
    void Run();

private:
    using Problems = std::vector<std::string>;

    /// Makes one call, collects what the camera received, checks result and requests, then lets `look` add what came
    /// back and what is wrong with it.
    struct Expectation
    {
        HResult hr = HResults::kOk;
        /// Paths of the requests that the camera is to have carried out, in order; "*" means any or none.
        std::vector<std::string> paths;
    };
    template <class Call, class Look>
    void Step(const std::string& title, const std::string& asked, const Expectation& expected, Call&& call,
              Look&& look);
    void Collect(DemoStep& step, const Expectation& expected);

    void Open();
    void ReadSettings();
    void ReadFormats();
    void ChangeSettings();
    void RefuseUnknownSize();
    void Move();
    void MoveContinuously();
    void StartStreams();
    void ConnectToRtsp();
    void SetUpTransport(MediaStream stream);
    void PlayAndStop();
    void Close();

    void StartStream(bool isVideo);
    PictureFormat ChooseFormat(const PictureFormat& current) const;
    bool WaitForMovement(const CameraPosition& from) const;

    Surroundings m_around;
    CDemoReport& m_report;
    CameraAddress m_address;
    bool m_isAxis = false;
    std::unique_ptr<ICamera> m_camera;
    std::vector<PictureFormat> m_sizes;
    std::vector<std::int32_t> m_rates;
};
