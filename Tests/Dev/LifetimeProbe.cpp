#include "Tests/Support/ComponentLibrary.h"

#include <Quorvane.h>

#include <cstring>

/// Breaks the component's contract: ./dev check lifetimes shows with it that the checked build notices.
/// usage: LifetimeProbe nothing|second-unlock
int main(int count, char** arguments)
{
    const CComponentLibrary library;
    {
        const CComPointer<IClassFactory> factory = library.Factory(CLSID_AVCommand);
        factory->LockServer(TRUE);
        factory->LockServer(FALSE);
        if (count == 2 && std::strcmp(arguments[1], "second-unlock") == 0)
        {
            // The factory itself is one more reason to stay loaded.
            factory->LockServer(FALSE);
            factory->LockServer(FALSE);
        }
    }
    return library.CanUnloadNow() == S_OK ? 0 : 1;
}
