#pragma once

#include "TextEncoding/Encoding.h"

#include <string>
#include <string_view>

/// Between the client's UTF-8 and the system's UTF-16.
namespace Text
{
inline std::string ToUtf8(std::wstring_view text)
{
    return CUTF8Encoding().EncodeString(text);
}

inline std::wstring ToWide(std::string_view utf8)
{
    return CUTF8Encoding().DecodeString(utf8);
}
} // namespace Text
