#pragma once

#include <string_view>

/// Cuts a text into tokens from left to right; each token may have separators of its own.
/// Runs of separators count as one, in front of a token too, so that no token is empty before the text ends; from then
/// on every token is. Tokens are views into the text.
class CTokenizer
{
public:
    explicit constexpr CTokenizer(std::string_view text) noexcept : m_rest(text) {}

    /// The text up to the next of `separators`, which are single characters.
    constexpr std::string_view Next(std::string_view separators) noexcept
    {
        SkipRun(separators);
        const std::string_view token = m_rest.substr(0, m_rest.find_first_of(separators));
        m_rest.remove_prefix(token.size());
        SkipRun(separators);
        return token;
    }

    /// What is left behind the last token and its separators.
    constexpr std::string_view Rest() const noexcept
    {
        return m_rest;
    }

private:
    constexpr void SkipRun(std::string_view separators) noexcept
    {
        while (!m_rest.empty() && separators.find(m_rest.front()) != std::string_view::npos)
            m_rest.remove_prefix(1);
    }

    std::string_view m_rest;
};
