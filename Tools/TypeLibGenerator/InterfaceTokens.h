#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// One word, number, text in quotes (quotes removed) or punctuation mark of an interface description.
struct InterfaceToken
{
    enum class Kind
    {
        Word, ///< letters, digits, "_" and, so that a GUID or a version is one word, "-" and "."
        Text,
        Punctuation,
        End
    };
    Kind kind = Kind::End;
    std::string text;
    unsigned line = 0;
    std::vector<std::string> comment; ///< the lines behind "///" directly before it
};

/// Splits a description; the last token is of kind End. Throws CInterfaceParseError.
std::vector<InterfaceToken> SplitIntoTokens(std::string_view text, std::string_view fileName);

/// Throws CInterfaceParseError with "file(line): message".
[[noreturn]] void FailParsing(std::string_view fileName, unsigned line, const std::string& message);
