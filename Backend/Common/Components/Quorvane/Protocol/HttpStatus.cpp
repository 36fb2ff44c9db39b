#include "Protocol/HttpStatus.h"

#include "Protocol/Log.h"

namespace
{
constexpr std::int32_t kOk = 0;
constexpr std::int32_t kFail = static_cast<std::int32_t>(0x80004005u);
constexpr std::int32_t kAccessDenied = static_cast<std::int32_t>(0x80070005u);
constexpr std::uint32_t kInternetSuccess = 0x000C0000u;
constexpr std::uint32_t kInternetFailure = 0x800C0000u;
} // namespace

std::int32_t HResultFromHttpStatusCode(std::uint32_t statusCode) noexcept
{
    if (statusCode < 100 || statusCode > 505)
    {
        Log(LogLevel::Debug, L"HResultFromHttpStatusCode, unexpected statusCode (%d)", statusCode);
        return kFail;
    }
    if (statusCode == 200 || statusCode == 204 || statusCode == 500)
        return kOk;
    if (statusCode == 401)
        return kAccessDenied;
    const bool isSuccess = statusCode >= 200 && statusCode <= 299;
    return static_cast<std::int32_t>((isSuccess ? kInternetSuccess : kInternetFailure) | statusCode);
}
