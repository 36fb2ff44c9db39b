#include "Fuzz/FuzzTarget.h"

#include "Logging/LogLine.h"
#include "Logging/OBLogManager.h"
#include "TextEncoding/Encoding.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace
{
constexpr std::size_t kLogCharsPerByte = 1024;

/// Counts what is logged while it lives.
class CLogMeter
{
public:
    CLogMeter()
    {
        COBLogManager::SetSink(m_sink, COBLogManager::kAllLevels);
    }
    ~CLogMeter()
    {
        COBLogManager::SetSink(nullptr, 0);
    }
    CLogMeter(const CLogMeter&) = delete;
    CLogMeter& operator=(const CLogMeter&) = delete;

    std::size_t CountChars() const noexcept
    {
        return m_sink->countChars;
    }
    bool IsForged() const noexcept
    {
        return m_sink->isForged;
    }

private:
    struct Sink final : ILogSink
    {
        /// As the log file gets it.
        void Write(const LogMessage& message) noexcept override
        {
            const std::string line = LogLine::Compose(message, {}, 0);
            countChars += line.size();
            isForged = isForged || line.find_first_of("\r\n") != line.size() - 1;
        }
        std::size_t countChars = 0;
        bool isForged = false;
    };
    const std::shared_ptr<Sink> m_sink = std::make_shared<Sink>();
};

std::vector<const CFuzzTarget*>& Registered()
{
    static std::vector<const CFuzzTarget*> targets;
    return targets;
}
} // namespace

CFuzzTarget::CFuzzTarget(const char* name, Function function) : m_name(name), m_function(function)
{
    Registered().push_back(this);
}

void CFuzzTarget::Run(std::string_view input) const
{
    const auto copy = std::make_unique_for_overwrite<char[]>(input.size());
    input.copy(copy.get(), input.size());
    const CLogMeter log;
    m_function({copy.get(), input.size()});
    Fuzz::Require(log.CountChars() <= kLogCharsPerByte * (input.size() + 1), "the log grows no faster than the input");
    Fuzz::Require(!log.IsForged(), "a message is one line of the log");
}

const std::vector<const CFuzzTarget*>& CFuzzTarget::All()
{
    return Registered();
}

void Fuzz::Require(bool isKept, const char* promise)
{
    if (!isKept)
        throw std::logic_error(promise);
}

Fuzz::CutText Fuzz::Cut(std::string_view input)
{
    const std::string_view lengths = input.substr(0, input.find('\n'));
    std::string_view rest = input.substr(std::min(lengths.size() + 1, input.size()));
    CutText result{rest, {}};
    for (std::size_t index = 0; !rest.empty(); ++index)
    {
        const std::size_t length =
            lengths.empty() ? rest.size() : static_cast<unsigned char>(lengths[index % lengths.size()] - ' ') % 64 + 1u;
        result.pieces.push_back(rest.substr(0, length));
        rest.remove_prefix(result.pieces.back().size());
    }
    return result;
}

std::wstring Fuzz::Wide(std::string_view input)
{
    return CUTF8Encoding().DecodeString(input);
}
