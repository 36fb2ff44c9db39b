#pragma once

#include <string>
#include <string_view>

/// Converts between wide text (UTF-16 where wchar_t has 16 bits, UTF-32 where it has 32) and 8-bit text.
/// Stateless; any thread may use an instance. Functions throw only std::bad_alloc; what cannot be expressed is
/// replaced, never dropped: by "?" in 8-bit text, by U+FFFD in wide text.
class CEncoding
{
public:
    virtual ~CEncoding() = default;
    virtual std::string EncodeString(std::wstring_view text) const = 0;
    virtual std::wstring DecodeString(std::string_view bytes) const = 0;
};

/// UTF-8 (RFC 3629). Overlong forms, surrogates and truncated sequences decode to U+FFFD; a lone surrogate encodes as
/// U+FFFD.
class CUTF8Encoding final : public CEncoding
{
public:
    std::string EncodeString(std::wstring_view text) const override;
    std::wstring DecodeString(std::string_view bytes) const override;
};

/// ISO-8859-1: the first 256 code points, a byte each.
class CIso88591Encoding final : public CEncoding
{
public:
    std::string EncodeString(std::wstring_view text) const override;
    std::wstring DecodeString(std::string_view bytes) const override;
};
