#include "Tests/Faults/BrokenTable.h"

#include "Tests/Faults/CellResult.h"
#include "Tests/Faults/Matrix.h"
#include "Tests/Faults/TimeLimits.h"
#include "Win32/Handles.h"

#include <cstdlib>
#include <utility>

namespace
{
HRESULT BeWell(Client&)
{
    return S_OK;
}

HRESULT Crash(Client&)
{
    *static_cast<volatile int*>(nullptr) = 1;
    return S_OK;
}

HRESULT EndTheProcess(Client&)
{
    std::_Exit(0);
}

HRESULT TakeTooLong(Client&)
{
    const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ::WaitForSingleObject(never.get(), TimeLimits::kWorkMs + 200);
    return S_OK;
}

HRESULT Leak(Client&)
{
    return ::CreateEventW(nullptr, TRUE, FALSE, nullptr) != nullptr ? S_OK : E_FAIL;
}

/// More than a process may keep, but a cell that is tried again does not see it.
HRESULT LeakAtFirst(Client& client)
{
    static bool isFirst = true;
    for (int i = 0; isFirst && i <= ProcessUsage::kMayGrowHandles; ++i)
        static_cast<void>(Leak(client));
    isFirst = false;
    return S_OK;
}

HRESULT StayIll(Client&)
{
    return E_FAIL;
}

HRESULT Send(Client& client)
{
    return client.command->SetAudioInVolume(1);
}

HRESULT RecoverLate(Client&)
{
    static int count = 0;
    return ++count % 3 == 0 ? S_OK : E_FAIL;
}

HRESULT InventAResult(Client& client)
{
    static bool isFirst = true;
    const HRESULT hr = Send(client);
    return std::exchange(isFirst, false) ? E_ABORT : hr;
}

Method Alone(const char* name, HRESULT (*call)(Client&))
{
    return {name, name, kCgi, "", Stage::Connected, {}, call};
}

Method Sending(const char* name, HRESULT (*call)(Client&))
{
    return {name, name, kCgi, "", Stage::Connected, {.cgiRequests = 1}, call};
}
} // namespace

std::vector<MatrixTable> BrokenTable::Make()
{
    const Misbehaviour well{"well", "none", kCgi, {"delay:0"}};
    const Misbehaviour silent{"answers in spite of it", "none", kCgi, {"delay:0"}, kCgi};
    return {{"broken on purpose",
             "SNC-EP580",
             {well},
             {Alone("is well", &BeWell), Alone("crashes", &Crash), Alone("ends", &EndTheProcess),
              Alone("is late", &TakeTooLong), Alone("leaks", &Leak), Alone("leaks at first", &LeakAtFirst),
              Alone("stays ill", &StayIll), Alone("recovers late", &RecoverLate), Sending("sends", &Send),
              Sending("sends nothing", &BeWell), Sending("invents a result", &InventAResult),
              Alone("is well again", &BeWell)}},
            {"too good", "SNC-EP580", {silent}, {Sending("succeeds", &Send)}}};
}
