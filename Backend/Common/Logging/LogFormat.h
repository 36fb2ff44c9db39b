#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

/// Printf-style formatting whose arguments carry their own type, so that a format that does not fit its arguments
/// shows in the text instead of reading memory that is not there.
/// Portable; all functions may throw std::bad_alloc and nothing else.
namespace LogFormat
{
template <class T>
concept Enumeration = std::is_enum_v<T>;

/// What is logged of one text; the rest is counted. Cameras decide how long their answers are, not how long our lines.
inline constexpr std::size_t kMaximumTextChars = 256 * 1024;

/// One argument: a number of up to 64 bits or a text. Borrows texts; lives only for the formatting call.
class Argument
{
public:
    template <std::integral T>
    Argument(T value) noexcept : m_number(static_cast<std::int64_t>(value)), m_sizeBytes(sizeof(T))
    {
    }
    template <Enumeration T>
    Argument(T value) noexcept : Argument(static_cast<std::underlying_type_t<T>>(value))
    {
    }
    Argument(const void* pointer) noexcept
        : m_number(static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(pointer))), m_sizeBytes(sizeof(pointer))
    {
    }
    Argument(const wchar_t* text) noexcept : m_kind(Kind::Wide), m_wide(text != nullptr ? text : L"(null)") {}
    Argument(const std::wstring& text) noexcept : m_kind(Kind::Wide), m_wide(text) {}
    Argument(std::wstring_view text) noexcept : m_kind(Kind::Wide), m_wide(text) {}
    /// 8-bit texts are header values and the like: each byte is one ISO-8859-1 character.
    Argument(const char* text) noexcept : m_kind(Kind::Narrow), m_narrow(text != nullptr ? text : "(null)") {}
    Argument(const std::string& text) noexcept : m_kind(Kind::Narrow), m_narrow(text) {}
    Argument(std::string_view text) noexcept : m_kind(Kind::Narrow), m_narrow(text) {}

    /// Each appends the argument and returns true; false, with nothing appended, when it is of the other kind.
    bool AppendNumber(std::wstring& result, wchar_t type, std::size_t width, bool padWithZeros) const;
    bool AppendText(std::wstring& result, std::size_t width) const;

private:
    enum class Kind
    {
        Number,
        Wide,
        Narrow
    };
    Kind m_kind = Kind::Number;
    std::int64_t m_number = 0;
    std::size_t m_sizeBytes = 0;
    std::wstring_view m_wide;
    std::string_view m_narrow;
};

/// Understands %d %i (the low 32 bits as a signed number, or 64 bits for a 64-bit argument), %u, %x (lower case),
/// %X, %s %S %ls %hs (any text, up to kMaximumTextChars), %% and a width (at most 64) with an optional leading 0, as
/// in %08x.
/// A conversion that is none of these, has no argument or one of the wrong kind becomes "(?)"; arguments left over
/// are not written.
std::wstring Format(std::wstring_view format, std::initializer_list<Argument> arguments);
} // namespace LogFormat
