#include "Media/StreamMonitor.h"

#include "Media/NalUnit.h"

#include <utility>

namespace
{
/// RFC 3550, 6.4.1: version 2 and the packet type of a sender report, which leads every compound packet of a sender.
bool IsSenderReport(std::span<const std::uint8_t> packet) noexcept
{
    constexpr std::size_t kReportBytes = 28;
    constexpr std::uint8_t kSenderReport = 200;
    return packet.size() >= kReportBytes && packet[0] >> 6 == 2 && packet[1] == kSenderReport;
}
} // namespace

void CStreamMonitor::Begin(const H264Description& announced)
{
    m_h264 = announced;
    m_sequence = SequenceParameterSet::Parse(announced.parameterSet1);
    if (m_file)
        m_file->Begin(announced.parameterSet1, announced.parameterSet2);
}

void CStreamMonitor::Take(const IMediaReceiver::Datagram& datagram)
{
    if (datagram.isControl)
    {
        m_countReports[Index(datagram.stream)] += IsSenderReport(datagram.bytes) ? 1u : 0u;
        return;
    }
    const auto header = RtpPacket::Parse(datagram.bytes);
    if (!header)
    {
        ++m_countForeign;
        return;
    }
    m_statistics[Index(datagram.stream)].Add(*header, datagram.bytes.size(), datagram.arrival);
    if (datagram.stream == MediaStream::kVideo)
        TakeVideo(*header, RtpPacket::Payload(datagram.bytes));
}

void CStreamMonitor::Interrupt() noexcept
{
    for (CStreamStatistics& statistics : m_statistics)
        statistics.Interrupt();
    m_depacketiser.Reset();
    if (m_file)
        m_file->Interrupt();
}

StreamFigures CStreamMonitor::Figures(MediaStream stream) const noexcept
{
    return m_statistics[Index(stream)].Figures();
}

void CStreamMonitor::TakeVideo(const RtpHeader& header, std::span<const std::uint8_t> payload)
{
    m_countPictures += header.isMarker ? 1u : 0u;
    if (!m_isH264)
        return;
    for (std::string& unit : m_depacketiser.Take(header, payload))
        TakeUnit(std::move(unit));
}

void CStreamMonitor::TakeUnit(std::string unit)
{
    if (m_file)
        m_file->Write(unit);
    const unsigned type = NalUnits::TypeOf(unit);
    if (type == NalUnits::kPictureParameterSet)
        m_h264.parameterSet2 = std::move(unit);
    else if (const auto sequence = SequenceParameterSet::Parse(unit))
    {
        m_countChanges += m_sequence && m_sequence != sequence ? 1u : 0u;
        m_sequence = sequence;
        m_h264.profileLevelId = SequenceParameterSet::ProfileLevelId(unit);
        m_h264.parameterSet1 = std::move(unit);
    }
}
