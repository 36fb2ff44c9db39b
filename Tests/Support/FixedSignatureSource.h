#pragma once

#include "Authentication.h"

#include <deque>
#include <string>
#include <utility>

/// Gives the texts of the test as random bytes, each once and in order, so that the cnonces, their hashes, are known
/// and whole header values can be compared byte by byte. The last text is given again and again.
class CFixedSignatureSource final : public ISignatureSource
{
public:
    explicit CFixedSignatureSource(std::deque<std::string> texts) : m_texts(std::move(texts)) {}

    std::string RandomBytes() override
    {
        ++m_calls;
        std::string result = m_texts.front();
        if (m_texts.size() > 1)
            m_texts.pop_front();
        return result;
    }

    int m_calls = 0;

private:
    std::deque<std::string> m_texts;
};
