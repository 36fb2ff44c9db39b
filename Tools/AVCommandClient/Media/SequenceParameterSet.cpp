#include "Media/SequenceParameterSet.h"

#include "Core/ByteText.h"
#include "Media/NalUnit.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace SequenceParameterSet
{
namespace
{
constexpr unsigned kMaxSide = 16384;

/// Without the emulation prevention bytes (7.3.1).
std::string PlainPayload(std::string_view unit)
{
    std::string payload;
    unsigned countZeros = 0;
    for (const char c : unit.substr(1))
    {
        const bool isInserted = countZeros >= 2 && c == 3;
        countZeros = c == 0 ? countZeros + 1 : 0;
        if (!isInserted)
            payload += c;
    }
    return payload;
}

/// Reads bits until they run out; from then on it reads zeros and says so.
class CBits
{
public:
    explicit CBits(std::string_view bytes) noexcept : m_bytes(bytes) {}

    std::uint32_t Bits(unsigned count) noexcept
    {
        std::uint32_t value = 0;
        for (; count > 0; --count)
            value = value << 1 | Bit();
        return value;
    }
    bool Flag() noexcept
    {
        return Bit() != 0;
    }
    /// ue(v); of more than 31 leading zeros nothing sensible can come.
    std::uint32_t Unsigned() noexcept
    {
        unsigned zeros = 0;
        while (zeros < 32 && Bit() == 0)
            ++zeros;
        if (zeros == 32)
            m_isShort = true;
        return m_isShort ? 0 : (std::uint32_t{1} << zeros) - 1 + Bits(zeros);
    }
    std::int32_t Signed() noexcept
    {
        const std::uint32_t code = Unsigned();
        const auto magnitude = static_cast<std::int32_t>(code / 2 + code % 2);
        return code % 2 != 0 ? magnitude : -magnitude;
    }
    bool IsShort() const noexcept
    {
        return m_isShort;
    }

private:
    std::uint32_t Bit() noexcept
    {
        const std::size_t byte = m_at / 8;
        if (byte >= m_bytes.size())
        {
            m_isShort = true;
            return 0;
        }
        return static_cast<std::uint8_t>(m_bytes[byte]) >> (7 - m_at++ % 8) & 1;
    }

    std::string_view m_bytes;
    std::size_t m_at = 0;
    bool m_isShort = false;
};

bool HasChromaFormat(unsigned profileIdc)
{
    constexpr std::array kProfiles{100u, 110u, 122u, 244u, 44u, 83u, 86u, 118u, 128u, 138u, 139u, 134u, 135u};
    return std::ranges::find(kProfiles, profileIdc) != kProfiles.end();
}

/// 7.3.2.1.1.1: read to get past them.
void SkipScalingList(CBits& bits, unsigned size)
{
    std::int32_t lastScale = 8;
    std::int32_t nextScale = 8;
    for (unsigned i = 0; i < size; ++i)
    {
        if (nextScale != 0)
            nextScale = (lastScale + bits.Signed() % 256 + 256) % 256;
        lastScale = nextScale == 0 ? lastScale : nextScale;
    }
}

struct ChromaFormat
{
    unsigned idc = 1;
    bool hasSeparatePlanes = false;
};

ChromaFormat ReadChromaFormat(CBits& bits)
{
    ChromaFormat chroma;
    chroma.idc = bits.Unsigned();
    if (chroma.idc == 3)
        chroma.hasSeparatePlanes = bits.Flag();
    (void)bits.Unsigned(); // bit_depth_luma_minus8
    (void)bits.Unsigned(); // bit_depth_chroma_minus8
    (void)bits.Flag();     // qpprime_y_zero_transform_bypass_flag
    if (!bits.Flag())
        return chroma;
    const unsigned countLists = chroma.idc == 3 ? 12 : 8;
    for (unsigned i = 0; i < countLists; ++i)
    {
        if (bits.Flag())
            SkipScalingList(bits, i < 6 ? 16 : 64);
    }
    return chroma;
}

void SkipPictureOrder(CBits& bits)
{
    const std::uint32_t type = bits.Unsigned();
    if (type == 0)
        (void)bits.Unsigned(); // log2_max_pic_order_cnt_lsb_minus4
    if (type != 1)
        return;
    (void)bits.Flag();   // delta_pic_order_always_zero_flag
    (void)bits.Signed(); // offset_for_non_ref_pic
    (void)bits.Signed(); // offset_for_top_to_bottom_field
    const std::uint32_t count = std::min(bits.Unsigned(), 255u);
    for (std::uint32_t i = 0; i < count; ++i)
        (void)bits.Signed();
}

/// False when the numbers make no picture.
bool ReadSize(CBits& bits, const ChromaFormat& chroma, SequenceInfo& info)
{
    const std::uint64_t width = 16 * (std::uint64_t{bits.Unsigned()} + 1);
    const std::uint64_t mapHeight = 16 * (std::uint64_t{bits.Unsigned()} + 1);
    const bool isFramesOnly = bits.Flag();
    const std::uint64_t height = mapHeight * (isFramesOnly ? 1 : 2);
    if (!isFramesOnly)
        (void)bits.Flag(); // mb_adaptive_frame_field_flag
    (void)bits.Flag();     // direct_8x8_inference_flag
    std::array<std::uint64_t, 4> crop{};
    if (bits.Flag())
    {
        for (std::uint64_t& side : crop)
            side = bits.Unsigned();
    }
    const bool hasPlanes = !chroma.hasSeparatePlanes;
    const std::uint64_t unitX = hasPlanes && (chroma.idc == 1 || chroma.idc == 2) ? 2 : 1;
    const std::uint64_t unitY = (hasPlanes && chroma.idc == 1 ? 2 : 1) * (isFramesOnly ? 1 : 2);
    const std::uint64_t cropX = unitX * (crop[0] + crop[1]);
    const std::uint64_t cropY = unitY * (crop[2] + crop[3]);
    if (width > kMaxSide || height > kMaxSide || cropX >= width || cropY >= height)
        return false;
    info.width = static_cast<unsigned>(width - cropX);
    info.height = static_cast<unsigned>(height - cropY);
    return true;
}
} // namespace

std::optional<SequenceInfo> Parse(std::string_view unit)
{
    if (NalUnits::TypeOf(unit) != NalUnits::kSequenceParameterSet)
        return std::nullopt;
    const std::string payload = PlainPayload(unit);
    CBits bits(payload);
    SequenceInfo info;
    info.profileIdc = bits.Bits(8);
    info.constraints = bits.Bits(8);
    info.levelIdc = bits.Bits(8);
    (void)bits.Unsigned(); // seq_parameter_set_id
    const ChromaFormat chroma = HasChromaFormat(info.profileIdc) ? ReadChromaFormat(bits) : ChromaFormat{};
    (void)bits.Unsigned(); // log2_max_frame_num_minus4
    SkipPictureOrder(bits);
    (void)bits.Unsigned(); // max_num_ref_frames
    (void)bits.Flag();     // gaps_in_frame_num_value_allowed_flag
    if (!ReadSize(bits, chroma, info) || bits.IsShort())
        return std::nullopt;
    return info;
}

std::string ProfileText(const SequenceInfo& info)
{
    constexpr unsigned kSet1 = 0x40; // constraint_set1_flag
    switch (info.profileIdc)
    {
    case 66:
        return (info.constraints & kSet1) != 0 ? "constrained baseline" : "baseline";
    case 77:
        return "main";
    case 88:
        return "extended";
    case 100:
        return "high";
    case 110:
        return "high 10";
    case 122:
        return "high 4:2:2";
    case 244:
        return "high 4:4:4";
    default:
        return "profile " + std::to_string(info.profileIdc);
    }
}

std::string ProfileLevelId(std::string_view unit)
{
    std::string text = ByteText::Hex(unit.substr(1, 3));
    std::erase(text, ' ');
    return text;
}

std::string LevelText(const SequenceInfo& info)
{
    return std::to_string(info.levelIdc / 10) + "." + std::to_string(info.levelIdc % 10);
}
} // namespace SequenceParameterSet
