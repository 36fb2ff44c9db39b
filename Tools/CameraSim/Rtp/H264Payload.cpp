#include "CameraSim/Rtp/H264Payload.h"

#include "CameraSim/H264/NalUnit.h"

#include <algorithm>
#include <cstdint>

namespace H264Payload
{

namespace
{

constexpr unsigned kStapA = 24;
constexpr unsigned kFuA = 28;
constexpr unsigned kImportanceMask = 0x60;
constexpr unsigned kTypeMask = 0x1F;

/// 5.7.1: the header has the higher importance of the two, and each unit has its length in front.
std::string Aggregate(const std::string& first, const std::string& second)
{
    const unsigned importance = std::max(first[0] & kImportanceMask, second[0] & kImportanceMask);
    std::string payload(1, static_cast<char>(importance | kStapA));
    for (const std::string* unit : {&first, &second})
    {
        payload += static_cast<char>(unit->size() >> 8);
        payload += static_cast<char>(unit->size() & 0xFF);
        payload += *unit;
    }
    return payload;
}

/// 5.8: the unit's own header byte is left out; the fragments' two bytes say the same.
void AppendFragments(std::vector<MediaPayload>& payloads, const std::string& unit, std::size_t maxPayloadBytes)
{
    constexpr unsigned kStart = 0x80;
    constexpr unsigned kEnd = 0x40;
    const auto header = static_cast<unsigned char>(unit[0]);
    const std::size_t maxFragmentBytes = maxPayloadBytes - 2;
    for (std::size_t at = 1; at < unit.size(); at += maxFragmentBytes)
    {
        const unsigned start = at == 1 ? kStart : 0;
        const unsigned end = at + maxFragmentBytes >= unit.size() ? kEnd : 0;
        std::string payload(1, static_cast<char>((header & ~kTypeMask) | kFuA));
        payload += static_cast<char>(start | end | (header & kTypeMask));
        payload.append(unit, at, maxFragmentBytes);
        payloads.push_back({std::move(payload), false});
    }
}

bool ArePair(const std::string& first, const std::string& second)
{
    return NalUnit::TypeOf(first) == NalType::SequenceParameterSet &&
           NalUnit::TypeOf(second) == NalType::PictureParameterSet;
}

} // namespace

std::vector<MediaPayload> Packetise(const std::vector<std::string>& units, std::size_t maxPayloadBytes)
{
    std::vector<MediaPayload> payloads;
    for (std::size_t i = 0; i < units.size(); ++i)
    {
        const std::string& unit = units[i];
        if (unit.size() > maxPayloadBytes)
        {
            AppendFragments(payloads, unit, maxPayloadBytes);
        }
        else if (i + 1 < units.size() && ArePair(unit, units[i + 1]))
        {
            payloads.push_back({Aggregate(unit, units[i + 1]), false});
            ++i;
        }
        else
        {
            payloads.push_back({unit, false});
        }
    }
    if (!payloads.empty())
        payloads.back().marker = true;
    return payloads;
}

} // namespace H264Payload
