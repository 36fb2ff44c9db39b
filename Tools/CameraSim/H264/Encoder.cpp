#include "CameraSim/H264/Encoder.h"

#include "CameraSim/H264/Cavlc.h"
#include "CameraSim/H264/NalUnit.h"

#include <algorithm>

namespace
{

constexpr unsigned kReferenceImportance = 2;
constexpr unsigned kKeyImportance = 3;

H264Format InRange(H264Format format)
{
    constexpr unsigned kSmallest = 16;
    constexpr unsigned kLargest = 4096;
    format.width = std::clamp(format.width, kSmallest, kLargest) & ~1u;
    format.height = std::clamp(format.height, kSmallest, kLargest) & ~1u;
    format.framesPerSecond = std::clamp(format.framesPerSecond, 1u, 60u);
    format.keyFrameDistance = std::max(format.keyFrameDistance, 1u);
    return format;
}

/// Intra_16x16 prediction modes (table 8-4), and what intra_chroma_pred_mode (table 7-16) calls the same direction.
struct Prediction
{
    unsigned lumaMode;
    unsigned chromaMode;
    BlockColour colour;
};

Prediction Predict(const BlockPicture& picture, unsigned column, unsigned row)
{
    if (column > 0)
        return {1, 1, picture.At(column - 1, row)};
    if (row > 0)
        return {0, 2, picture.At(column, row - 1)};
    return {2, 0, {128, 128, 128}};
}

/// 7.3.5: an Intra16x16 macroblock whose residual is one DC level for each component.
void WriteIntraBlock(CBitWriter& bits, const BlockPicture& picture, unsigned column, unsigned row, bool isKey)
{
    constexpr unsigned kFirstIntraTypeInP = 5; // table 7-13 puts the types of I slices behind its own
    const Prediction prediction = Predict(picture, column, row);
    const BlockColour& colour = picture.At(column, row);
    const int cb = colour.cb - prediction.colour.cb;
    const int cr = colour.cr - prediction.colour.cr;
    const bool hasChroma = cb != 0 || cr != 0;
    // Table 7-11: 1 + mode, + 4 with chroma DC levels.
    bits.Unsigned((isKey ? 0 : kFirstIntraTypeInP) + 1 + prediction.lumaMode + (hasChroma ? 4 : 0));
    bits.Unsigned(prediction.chromaMode);
    bits.Signed(0); // mb_qp_delta
    Cavlc::WriteLumaDc(bits, colour.y - prediction.colour.y);
    if (!hasChroma)
        return;
    Cavlc::WriteChromaDc(bits, cb);
    Cavlc::WriteChromaDc(bits, cr);
}

/// 7.3.4
void WriteKeyBlocks(CBitWriter& bits, const BlockPicture& picture)
{
    for (unsigned row = 0; row < picture.rows; ++row)
    {
        for (unsigned column = 0; column < picture.columns; ++column)
            WriteIntraBlock(bits, picture, column, row, true);
    }
}

void WriteChangedBlocks(CBitWriter& bits, const BlockPicture& picture, const BlockPicture& reference)
{
    unsigned skipped = 0;
    for (unsigned row = 0; row < picture.rows; ++row)
    {
        for (unsigned column = 0; column < picture.columns; ++column)
        {
            if (picture.At(column, row) == reference.At(column, row))
            {
                ++skipped;
                continue;
            }
            bits.Unsigned(skipped); // mb_skip_run
            skipped = 0;
            WriteIntraBlock(bits, picture, column, row, false);
        }
    }
    if (skipped > 0)
        bits.Unsigned(skipped);
}

} // namespace

CH264Encoder::CH264Encoder(const H264Format& format) : m_format(InRange(format)), m_sets(ParameterSets::Write(m_format))
{
}

std::vector<std::string> CH264Encoder::Encode(const BlockPicture& picture)
{
    const bool isKey = !m_reference || m_framesSinceKey >= m_format.keyFrameDistance;
    if (isKey)
        m_framesSinceKey = 0;
    std::vector<std::string> units;
    if (isKey)
        units = {m_sets.sequence, m_sets.picture};
    units.push_back(EncodeSlice(picture, isKey));
    AppendFiller(units);
    m_reference = picture;
    ++m_framesSinceKey;
    m_countKeys += isKey ? 1 : 0;
    return units;
}

void CH264Encoder::RequestKeyFrame() noexcept
{
    m_reference.reset();
}

std::string CH264Encoder::EncodeSlice(const BlockPicture& picture, bool isKey)
{
    CBitWriter bits;
    WriteSliceHeader(bits, isKey);
    if (isKey)
        WriteKeyBlocks(bits, picture);
    else
        WriteChangedBlocks(bits, picture, *m_reference);
    return NalUnit::Make(isKey ? kKeyImportance : kReferenceImportance, isKey ? NalType::IdrSlice : NalType::Slice,
                         bits.Finish());
}

/// 7.3.3
void CH264Encoder::WriteSliceHeader(CBitWriter& bits, bool isKey)
{
    constexpr unsigned kAllPredicted = 5;
    constexpr unsigned kAllIntra = 7;
    bits.Unsigned(0); // first_mb_in_slice
    bits.Unsigned(isKey ? kAllIntra : kAllPredicted);
    bits.Unsigned(0); // pic_parameter_set_id
    bits.Bits(m_framesSinceKey, ParameterSets::kFrameNumBits);
    if (isKey)
    {
        bits.Unsigned(m_countKeys % 2); // idr_pic_id: differs from the last one's
        bits.Flag(false);               // no_output_of_prior_pics_flag
        bits.Flag(false);               // long_term_reference_flag
    }
    else
    {
        bits.Flag(false); // num_ref_idx_active_override_flag
        bits.Flag(false); // ref_pic_list_modification_flag_l0
        bits.Flag(false); // adaptive_ref_pic_marking_mode_flag
    }
    bits.Signed(0);   // slice_qp_delta
    bits.Unsigned(1); // disable_deblocking_filter_idc
}

void CH264Encoder::AppendFiller(std::vector<std::string>& units)
{
    if (m_format.kilobitsPerSecond == 0)
        return;
    const std::int64_t bytesPerSecond = std::int64_t{m_format.kilobitsPerSecond} * 125;
    m_spareBytes += bytesPerSecond / m_format.framesPerSecond;
    for (const std::string& unit : units)
        m_spareBytes -= static_cast<std::int64_t>(unit.size());
    // A key picture's debt is paid by the pictures after it, but never for longer than a second.
    m_spareBytes = std::max(m_spareBytes, -bytesPerSecond);
    constexpr std::int64_t kFrameBytes = 2; // the unit's header and its stop bit
    if (m_spareBytes <= kFrameBytes)
        return;
    std::string filler(static_cast<std::size_t>(m_spareBytes - kFrameBytes), '\xFF');
    filler += '\x80';
    units.push_back(NalUnit::Make(0, NalType::Filler, filler));
    m_spareBytes = 0;
}
