#include "InterfaceTokens.h"

#include "InterfaceParser.h"

#include <utility>

namespace
{
constexpr std::string_view kPunctuation = "{}[]();,=*:";

bool IsWordCharacter(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.';
}

bool IsSpace(char c) noexcept
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Walks over the text once, front to back.
class CTokenSplitter
{
public:
    CTokenSplitter(std::string_view text, std::string_view fileName) : m_rest(text), m_fileName(fileName) {}

    std::vector<InterfaceToken> Split()
    {
        for (;;)
        {
            SkipSpaceAndComments();
            if (m_rest.empty())
                break;
            if (IsWordCharacter(m_rest.front()))
                Add(InterfaceToken::Kind::Word, Take(LengthWhile(IsWordCharacter)));
            else if (m_rest.front() == '"')
                AddText();
            else if (kPunctuation.find(m_rest.front()) != std::string_view::npos)
                Add(InterfaceToken::Kind::Punctuation, Take(1));
            else
                FailParsing(m_fileName, m_line, "unexpected character '" + std::string(1, m_rest.front()) + "'");
        }
        Add(InterfaceToken::Kind::End, {});
        return std::move(m_tokens);
    }

private:
    template <class Predicate>
    std::size_t LengthWhile(Predicate predicate) const
    {
        std::size_t length = 0;
        while (length < m_rest.size() && predicate(m_rest[length]))
            ++length;
        return length;
    }

    std::string_view Take(std::size_t length)
    {
        const std::string_view taken = m_rest.substr(0, length);
        m_rest.remove_prefix(taken.size());
        for (const char c : taken)
            m_line += c == '\n' ? 1 : 0;
        return taken;
    }

    void SkipSpaceAndComments()
    {
        for (;;)
        {
            Take(LengthWhile(IsSpace));
            if (!m_rest.starts_with("//"))
                return;
            std::string_view line = Take(LengthWhile([](char c) { return c != '\n'; }));
            if (!line.starts_with("///"))
                continue;
            line.remove_prefix(line.starts_with("/// ") ? 4 : 3);
            m_comment.emplace_back(line);
        }
    }

    void AddText()
    {
        Take(1);
        const std::string_view text = Take(LengthWhile([](char c) { return c != '"' && c != '\n'; }));
        if (!m_rest.starts_with('"'))
            FailParsing(m_fileName, m_line, "the text has no closing quote");
        Take(1);
        Add(InterfaceToken::Kind::Text, text);
    }

    void Add(InterfaceToken::Kind kind, std::string_view text)
    {
        m_tokens.push_back({kind, std::string(text), m_line, std::exchange(m_comment, {})});
    }

    std::string_view m_rest;
    std::string_view m_fileName;
    unsigned m_line = 1;
    std::vector<std::string> m_comment;
    std::vector<InterfaceToken> m_tokens;
};
} // namespace

void FailParsing(std::string_view fileName, unsigned line, const std::string& message)
{
    throw CInterfaceParseError(std::string(fileName) + "(" + std::to_string(line) + "): " + message);
}

std::vector<InterfaceToken> SplitIntoTokens(std::string_view text, std::string_view fileName)
{
    return CTokenSplitter(text, fileName).Split();
}
