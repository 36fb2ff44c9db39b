#pragma once

#include "ComHosting/ComClassFactory.h"

#include <windows.h>

#include <comcat.h>

#include <span>

/// One creatable class of the module. The map is a static array of the library; the module borrows it.
struct ComObjectMapEntry
{
    const CLSID* clsid;
    UINT registryScriptId;             ///< resource of type REGISTRY
    std::span<const CATID> categories; ///< component categories that the class implements
    CComClassFactory* factory;         ///< static, one per class: handed out again and again
};
