#pragma once

#include <string>
#include <string_view>

/// Base64 (RFC 4648) that arrives in pieces cut anywhere. Several texts may follow each other, each with its own
/// padding; line ends and blanks between the characters are skipped, which RFC 2045 allows and some players send.
class CBase64Stream
{
public:
    /// Appends what the piece completes. False at a character that cannot stand there; what came before it is appended.
    bool Decode(std::string_view piece, std::string& bytes);

private:
    bool TakePadding() noexcept;

    unsigned m_bits = 0;
    unsigned m_bitCount = 0;
    unsigned m_characters = 0;     ///< of the present group of four
    unsigned m_paddingMissing = 0; ///< so many "=" must come before anything else
};
