#include "Core/HResult.h"

#include <array>
#include <string_view>

namespace HResults
{
namespace
{
struct NamedCode
{
    HResult code;
    std::string_view name;
};

constexpr std::array kNames{
    NamedCode{kOk, "S_OK"},
    NamedCode{kFalse, "S_FALSE"},
    NamedCode{kNotImplemented, "E_NOTIMPL"},
    NamedCode{kNoInterface, "E_NOINTERFACE"},
    NamedCode{kPointer, "E_POINTER"},
    NamedCode{kAbort, "E_ABORT"},
    NamedCode{kFail, "E_FAIL"},
    NamedCode{kUnexpected, "E_UNEXPECTED"},
    NamedCode{kAccessDenied, "E_ACCESSDENIED"},
    NamedCode{kOutOfMemory, "E_OUTOFMEMORY"},
    NamedCode{kInvalidArgument, "E_INVALIDARG"},
    NamedCode{kFileNotFound, "ERROR_FILE_NOT_FOUND"},
    NamedCode{kPathNotFound, "ERROR_PATH_NOT_FOUND"},
    NamedCode{kModuleNotFound, "ERROR_MOD_NOT_FOUND"},
    NamedCode{kEntryPointNotFound, "ERROR_PROC_NOT_FOUND"},
    NamedCode{kBadImageFormat, "ERROR_BAD_EXE_FORMAT"},
    NamedCode{kClassNotAvailable, "CLASS_E_CLASSNOTAVAILABLE"},
    NamedCode{kClassNotRegistered, "REGDB_E_CLASSNOTREG"},
    NamedCode{kClassString, "CO_E_CLASSSTRING"},
    NamedCode{kDllNotFound, "CO_E_DLLNOTFOUND"},
    NamedCode{kRegistrationClass, "SELFREG_E_CLASS"},
    NamedCode{kTypeLibRegistry, "TYPE_E_REGISTRYACCESS"},
    NamedCode{kTypeLibState, "TYPE_E_INVALIDSTATE"},
    NamedCode{kTimeOut, "ERROR_TIMEOUT"},
};

constexpr std::uint32_t kFacilityMask = 0x7FFF0000;
constexpr std::uint32_t kFacilityWin32 = 0x00070000;
constexpr std::uint32_t kFacilityInternet = 0x000C0000;
constexpr std::uint32_t kCodeMask = 0x0000FFFF;
} // namespace

int HttpStatus(HResult hr) noexcept
{
    const auto bits = static_cast<std::uint32_t>(hr);
    const std::uint32_t code = bits & kCodeMask;
    const bool isStatus = (bits & kFacilityMask) == kFacilityInternet && code >= 100 && code <= 505;
    return isStatus ? static_cast<int>(code) : 0;
}

std::string Name(HResult hr)
{
    for (const NamedCode& entry : kNames)
    {
        if (entry.code == hr)
            return std::string(entry.name);
    }
    if (const int status = HttpStatus(hr))
        return "HTTP " + std::to_string(status);
    const auto bits = static_cast<std::uint32_t>(hr);
    if (!Succeeded(hr) && (bits & kFacilityMask) == kFacilityWin32)
        return "Win32 error " + std::to_string(bits & kCodeMask);
    return "unknown";
}

std::string Hex(HResult hr)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto bits = static_cast<std::uint32_t>(hr);
    std::string text = "0x";
    for (int shift = 28; shift >= 0; shift -= 4)
        text += kDigits[(bits >> shift) & 0xF];
    return text;
}

std::string Describe(HResult hr)
{
    return Name(hr) + " (" + Hex(hr) + ")";
}
} // namespace HResults
