#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// What a session description says about an H.264 format (RFC 6184, 8.1); empty or 0 where it says nothing.
struct H264FormatParameters
{
    std::string profileLevelId; ///< as written, hexadecimal
    std::int32_t packetizationMode = 0;
    std::string parameterSet1; ///< one NAL unit each, as bytes
    std::string parameterSet2;

    /// The parameters of an fmtp attribute. Unknown keys, sets behind the second and sets that are not base64 are
    /// ignored; keys count in any case. Throws std::bad_alloc only.
    static H264FormatParameters Parse(std::string_view fmtpParameters);
};
