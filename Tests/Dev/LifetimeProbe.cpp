#include "Tests/Support/ComponentLibrary.h"

#include <Quorvane.h>

#include <cstring>

/// Breaks the component's contract: ./dev check lifetimes shows with it that the checked build notices.
/// usage: LifetimeProbe nothing|second-release
int main(int count, char** arguments)
{
    const CComponentLibrary library;
    IAVCommand5* command = nullptr;
    if (FAILED(library.Factory(CLSID_AVCommand)
                   ->CreateInstance(nullptr, IID_IAVCommand5, reinterpret_cast<void**>(&command))))
        return 2;
    command->AddRef();
    command->Release();
    command->Release();
    if (count == 2 && std::strcmp(arguments[1], "second-release") == 0)
        command->Release();
    return library.CanUnloadNow() == S_OK ? 0 : 1;
}
