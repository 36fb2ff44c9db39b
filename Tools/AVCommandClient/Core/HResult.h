#pragma once

#include <cstdint>
#include <string>

/// A COM result code, as a number that every platform has.
using HResult = std::int32_t;

namespace HResults
{
constexpr HResult FromBits(std::uint32_t bits) noexcept
{
    return static_cast<HResult>(bits);
}

inline constexpr HResult kOk = 0;
inline constexpr HResult kFalse = 1;
inline constexpr HResult kNotImplemented = FromBits(0x80004001);
inline constexpr HResult kNoInterface = FromBits(0x80004002);
inline constexpr HResult kPointer = FromBits(0x80004003);
inline constexpr HResult kAbort = FromBits(0x80004004);
inline constexpr HResult kFail = FromBits(0x80004005);
inline constexpr HResult kUnexpected = FromBits(0x8000FFFF);
inline constexpr HResult kAccessDenied = FromBits(0x80070005);
inline constexpr HResult kOutOfMemory = FromBits(0x8007000E);
inline constexpr HResult kInvalidArgument = FromBits(0x80070057);
inline constexpr HResult kFileNotFound = FromBits(0x80070002);
inline constexpr HResult kPathNotFound = FromBits(0x80070003);
inline constexpr HResult kModuleNotFound = FromBits(0x8007007E);
inline constexpr HResult kEntryPointNotFound = FromBits(0x8007007F);
inline constexpr HResult kBadImageFormat = FromBits(0x800700C1);
inline constexpr HResult kClassNotAvailable = FromBits(0x80040111);
inline constexpr HResult kClassNotRegistered = FromBits(0x80040154);
inline constexpr HResult kClassString = FromBits(0x800401F3);
inline constexpr HResult kDllNotFound = FromBits(0x800401F8);
inline constexpr HResult kRegistrationClass = FromBits(0x80040201);
inline constexpr HResult kTypeLibRegistry = FromBits(0x8002801C);
inline constexpr HResult kTypeLibState = FromBits(0x80028029);
/// The component's one time-out result: facility internet, Win32 code ERROR_TIMEOUT.
inline constexpr HResult kTimeOut = FromBits(0x800C05B4);

constexpr bool Succeeded(HResult hr) noexcept
{
    return hr >= 0;
}

/// The HTTP status that the component put into the code (facility 0x0C), 0 when it holds none.
int HttpStatus(HResult hr) noexcept;

/// "E_FAIL", "HTTP 404", "Win32 error 32", or "unknown" when the code has no name here.
std::string Name(HResult hr);

/// "0x80004005"
std::string Hex(HResult hr);

/// "E_FAIL (0x80004005)"
std::string Describe(HResult hr);
} // namespace HResults
