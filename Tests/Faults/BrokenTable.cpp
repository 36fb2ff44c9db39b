#include "Tests/Faults/BrokenTable.h"

#include "Tests/Faults/Matrix.h"
#include "Tests/Faults/TimeLimits.h"
#include "Win32/Handles.h"

#include <cstdlib>

namespace
{
HRESULT BeWell(const Client&)
{
    return S_OK;
}

HRESULT Crash(const Client&)
{
    *static_cast<volatile int*>(nullptr) = 1;
    return S_OK;
}

HRESULT EndTheProcess(const Client&)
{
    std::_Exit(0);
}

HRESULT TakeTooLong(const Client&)
{
    const CKernelHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ::WaitForSingleObject(never.get(), TimeLimits::kWorkMs + 200);
    return S_OK;
}

HRESULT Leak(const Client&)
{
    return ::CreateEventW(nullptr, TRUE, FALSE, nullptr) != nullptr ? S_OK : E_FAIL;
}

HRESULT StayIll(const Client&)
{
    return E_FAIL;
}

Method Broken(const char* name, HRESULT (*call)(const Client&))
{
    return {name, name, kCgi, "", Stage::Connected, {}, call};
}
} // namespace

MatrixTable BrokenTable::Make()
{
    return {"broken on purpose",
            "SNC-EP580",
            {{"well", "none", kCgi, {"delay:0"}}},
            {Broken("is well", &BeWell), Broken("crashes", &Crash), Broken("ends", &EndTheProcess),
             Broken("is late", &TakeTooLong), Broken("leaks", &Leak), Broken("stays ill", &StayIll),
             Broken("is well again", &BeWell)}};
}
