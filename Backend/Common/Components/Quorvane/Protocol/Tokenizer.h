#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

/// Cuts a text into tokens from left to right; each token may have separators of its own.
/// Runs of separators count as one, in front of a token too, so that no token is empty before the text ends; from then
/// on every token is. Tokens are views into the text.
class CTokenizer
{
public:
    explicit constexpr CTokenizer(std::string_view text) noexcept : m_rest(text) {}

    /// The text up to the next one of `separators`.
    template <class... Separators>
    constexpr std::string_view Next(Separators... separators) noexcept
    {
        SkipRun(separators...);
        const std::string_view token = m_rest.substr(0, Find(separators...));
        m_rest.remove_prefix(token.size());
        SkipRun(separators...);
        return token;
    }

    /// What is left behind the last token and its separators.
    constexpr std::string_view Rest() const noexcept
    {
        return m_rest;
    }

private:
    template <class... Separators>
    constexpr void SkipRun(Separators... separators) noexcept
    {
        while (!m_rest.empty() && ((m_rest.front() == separators) || ...))
            m_rest.remove_prefix(1);
    }

    template <class... Separators>
    constexpr std::size_t Find(Separators... separators) const noexcept
    {
        if constexpr (sizeof...(separators) == 1)
            return m_rest.find(separators...);
        const auto isSeparator = [=](char character) { return ((character == separators) || ...); };
        return static_cast<std::size_t>(std::ranges::find_if(m_rest, isSeparator) - m_rest.begin());
    }

    std::string_view m_rest;
};
