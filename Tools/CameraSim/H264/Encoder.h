#pragma once

#include "CameraSim/H264/BitWriter.h"
#include "CameraSim/H264/BlockPicture.h"
#include "CameraSim/H264/H264Format.h"
#include "CameraSim/H264/ParameterSets.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// H.264 (ITU-T H.264) for pictures of one-coloured macroblocks: IDR pictures, and between them predicted pictures in
/// which a macroblock is skipped when it has not changed and intra-coded when it has.
///
/// What it decodes to is the given picture, bit for bit. Every macroblock is predicted from one neighbour, so its
/// residual is one DC level c for each component, and the quantisers are chosen so that a decoder's arithmetic gives c
/// back: luma at 28 scales by 256 = 16 * 16, so ((c * 256 + 2) >> 2) = 64 c; chroma at 22 also scales by 256, so
/// ((c * 256) << 3) >> 5 = 64 c; and the inverse transform's (64 c + 32) >> 6 is c. The deblocking filter is off.
///
/// One stream, one thread. Sizes out of range are brought into it; Format says what they became.
class CH264Encoder
{
public:
    explicit CH264Encoder(const H264Format& format);

    const H264Format& Format() const noexcept
    {
        return m_format;
    }
    const H264ParameterSets& Sets() const noexcept
    {
        return m_sets;
    }

    /// The NAL units of the next picture, without start codes: for an IDR picture the parameter sets first; at the end
    /// filler data when a bit rate is to be reached. `picture` has the format's columns and rows.
    std::vector<std::string> Encode(const BlockPicture& picture);
    /// Makes the next picture an IDR picture, as a camera does for a client that has just come.
    void RequestKeyFrame() noexcept;

private:
    std::string EncodeSlice(const BlockPicture& picture, bool isKey);
    void WriteSliceHeader(CBitWriter& bits, bool isKey);
    void AppendFiller(std::vector<std::string>& units);

    H264Format m_format;
    H264ParameterSets m_sets;
    std::optional<BlockPicture> m_reference;
    unsigned m_framesSinceKey = 0;
    std::uint32_t m_countKeys = 0;
    std::int64_t m_spareBytes = 0;
};
