#include "CameraSim/H264/NalUnit.h"

namespace NalUnit
{

std::string Make(unsigned importance, NalType type, std::string_view payload)
{
    std::string unit;
    unit.reserve(payload.size() + 8);
    unit += static_cast<char>((importance << 5) | static_cast<unsigned>(type));
    unsigned countZeros = 0;
    for (const char c : payload)
    {
        const auto byte = static_cast<std::uint8_t>(c);
        if (countZeros >= 2 && byte <= 3)
        {
            unit += '\x03';
            countZeros = 0;
        }
        unit += c;
        countZeros = byte == 0 ? countZeros + 1 : 0;
    }
    return unit;
}

NalType TypeOf(std::string_view unit)
{
    return static_cast<NalType>(unit.empty() ? 0 : unit.front() & 0x1F);
}

std::string AnnexB(const std::vector<std::string>& units)
{
    using namespace std::string_view_literals;
    std::string stream;
    for (const std::string& unit : units)
    {
        stream += "\0\0\0\1"sv;
        stream += unit;
    }
    return stream;
}

} // namespace NalUnit
