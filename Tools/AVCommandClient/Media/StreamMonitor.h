#pragma once

#include "Media/H264Depacketiser.h"
#include "Media/MediaReceiver.h"
#include "Media/SequenceParameterSet.h"
#include "Media/StreamStatistics.h"
#include "Media/VideoFile.h"

#include <array>
#include <cstdint>
#include <optional>

/// Looks at all that arrives from one camera: counts it, puts H.264 units together, writes them to a file, and watches
/// whether the stream's parameters change. Borrows the file. One thread. Throws what the file throws.
class CStreamMonitor
{
public:
    /// `file` may be null. Video that is not H.264 is only counted.
    CStreamMonitor(bool isH264, CVideoFile* file) noexcept : m_isH264(isH264), m_file(file) {}

    /// The parameter sets that the camera announces before the first picture.
    void Begin(const H264Description& announced);
    void Take(const IMediaReceiver::Datagram& datagram);
    /// The stream was interrupted on purpose: what is missing is not lost, and the file goes on with an IDR picture.
    void Interrupt() noexcept;

    [[nodiscard]] StreamFigures Figures(MediaStream stream) const noexcept;
    /// Pictures whose last packet arrived.
    [[nodiscard]] std::uint64_t CountPictures() const noexcept
    {
        return m_countPictures;
    }
    [[nodiscard]] std::uint64_t CountBrokenUnits() const noexcept
    {
        return m_depacketiser.CountBroken();
    }
    /// RTCP sender reports.
    [[nodiscard]] std::uint64_t CountReports(MediaStream stream) const noexcept
    {
        return m_countReports[Index(stream)];
    }
    /// Datagrams on the RTP ports that are no RTP.
    [[nodiscard]] std::uint64_t CountForeign() const noexcept
    {
        return m_countForeign;
    }
    /// The parameters now in effect.
    [[nodiscard]] const H264Description& H264() const noexcept
    {
        return m_h264;
    }
    /// How often the stream itself changed them to another profile, level or size.
    [[nodiscard]] std::uint64_t CountChanges() const noexcept
    {
        return m_countChanges;
    }

private:
    static std::size_t Index(MediaStream stream) noexcept
    {
        return static_cast<std::size_t>(stream);
    }

    void TakeVideo(const RtpHeader& header, std::span<const std::uint8_t> payload);
    void TakeUnit(std::string unit);

    bool m_isH264;
    CVideoFile* m_file;
    std::array<CStreamStatistics, 2> m_statistics{CStreamStatistics(90000), CStreamStatistics(8000)};
    std::array<std::uint64_t, 2> m_countReports{};
    CH264Depacketiser m_depacketiser;
    H264Description m_h264;
    std::optional<SequenceInfo> m_sequence;
    std::uint64_t m_countPictures = 0;
    std::uint64_t m_countForeign = 0;
    std::uint64_t m_countChanges = 0;
};
