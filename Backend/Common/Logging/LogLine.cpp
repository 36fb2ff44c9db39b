#include "Logging/LogLine.h"

#include "Logging/OBLogManager.h"
#include "TextEncoding/Encoding.h"

std::string LogLine::Compose(const LogMessage& message, const LogTime& time, std::uint32_t threadId)
{
    std::wstring line =
        LogFormat::Format(L"%04u-%02u-%02u %02u:%02u:%02u.%03u [%u] %s %u %s(%u) ",
                          {time.year, time.month, time.day, time.hour, time.minute, time.second, time.milliseconds,
                           threadId, message.component, message.level, message.file, message.line});
    line.reserve(line.size() + message.text.size() + 1);
    for (const wchar_t character : message.text)
    {
        if (character == L'\r')
            line += L"\\r";
        else if (character == L'\n')
            line += L"\\n";
        else
            line.push_back(character);
    }
    line.push_back(L'\n');
    return CUTF8Encoding().EncodeString(line);
}
