#include "CameraSim/Rtp/RtcpPacket.h"

#include "CameraSim/Rtp/BigEndian.h"

namespace RtcpPacket
{

namespace
{

constexpr std::uint8_t kSenderReport = 200;
constexpr std::uint8_t kSourceDescription = 202;
constexpr std::uint8_t kGoodbye = 203;

/// Version 2, no padding; the length counts 32-bit words without the header's.
void AppendPacket(std::string& compound, std::uint8_t type, unsigned countSources, std::string_view body)
{
    compound += static_cast<char>(0x80 | countSources);
    compound += static_cast<char>(type);
    BigEndian::Append(compound, static_cast<std::uint16_t>(body.size() / 4));
    compound += body;
}

std::string ReportBody(const SenderReport& report)
{
    std::string body;
    BigEndian::Append(body, report.ssrc);
    BigEndian::Append(body, report.ntpTime);
    BigEndian::Append(body, report.rtpTimestamp);
    BigEndian::Append(body, report.packets);
    BigEndian::Append(body, report.octets);
    return body;
}

/// One chunk with one item; 1 to 4 zero bytes end it at a 32-bit boundary.
std::string DescriptionBody(std::uint32_t ssrc, std::string_view canonicalName)
{
    constexpr char kCname = 1;
    canonicalName = canonicalName.substr(0, 255);
    std::string body;
    BigEndian::Append(body, ssrc);
    body += kCname;
    body += static_cast<char>(canonicalName.size());
    body += canonicalName;
    do
    {
        body += '\0';
    } while (body.size() % 4 != 0);
    return body;
}

} // namespace

std::string Write(const SenderReport& report, std::string_view canonicalName)
{
    std::string compound;
    AppendPacket(compound, kSenderReport, 0, ReportBody(report));
    AppendPacket(compound, kSourceDescription, 1, DescriptionBody(report.ssrc, canonicalName));
    return compound;
}

std::string WriteBye(const SenderReport& report, std::string_view canonicalName)
{
    std::string compound = Write(report, canonicalName);
    std::string body;
    BigEndian::Append(body, report.ssrc);
    AppendPacket(compound, kGoodbye, 1, body);
    return compound;
}

std::uint64_t NtpTime(std::chrono::system_clock::time_point when)
{
    constexpr std::uint64_t kSecondsFrom1900To1970 = 2'208'988'800;
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<microseconds>(when.time_since_epoch());
    const auto wholeSeconds = floor<seconds>(sinceEpoch);
    const auto micros = static_cast<std::uint64_t>((sinceEpoch - wholeSeconds).count());
    const auto upper = static_cast<std::uint64_t>(wholeSeconds.count()) + kSecondsFrom1900To1970;
    return (upper << 32) | ((micros << 32) / 1'000'000);
}

} // namespace RtcpPacket
