#include "GStreamerParsers.h"

#define GST_USE_UNSTABLE_API // the codec parsers' headers ask for it
#include <gst/codecparsers/gsth264parser.h>
#include <gst/sdp/gstsdpmessage.h>

#include <stdexcept>

struct CGStreamerSdp::Messages
{
    std::vector<GstSDPMessage> all;
};

CGStreamerSdp::CGStreamerSdp(std::string_view text, std::size_t count)
    : m_text(text), m_messages(std::make_unique<Messages>())
{
    m_messages->all.resize(count);
    for (GstSDPMessage& message : m_messages->all)
    {
        message = {};
        gst_sdp_message_init(&message);
    }
}

CGStreamerSdp::~CGStreamerSdp()
{
    for (GstSDPMessage& message : m_messages->all)
        gst_sdp_message_uninit(&message);
}

void CGStreamerSdp::Renew()
{
    for (GstSDPMessage& message : m_messages->all)
    {
        gst_sdp_message_uninit(&message);
        gst_sdp_message_init(&message);
    }
}

bool CGStreamerSdp::Parse() noexcept
{
    const auto* bytes = reinterpret_cast<const guint8*>(m_text.data());
    bool isGood = true;
    for (GstSDPMessage& message : m_messages->all)
        isGood &= gst_sdp_message_parse_buffer(bytes, static_cast<guint>(m_text.size()), &message) == GST_SDP_OK;
    return isGood;
}

std::string CGStreamerSdp::SessionName() const
{
    return gst_sdp_message_get_session_name(&m_messages->all.back());
}

std::size_t CGStreamerSdp::MediaCount() const
{
    return gst_sdp_message_medias_len(&m_messages->all.back());
}

struct CGStreamerSps::Unit
{
    std::string bytes;
    GstH264NalParser* parser = gst_h264_nal_parser_new();
    GstH264NalUnit nalUnit{};
    GstH264SPS sps{};
};

CGStreamerSps::CGStreamerSps(const std::string& nalUnit) : m_unit(std::make_unique<Unit>())
{
    m_unit->bytes = std::string("\0\0\1", 3) + nalUnit;
    const auto* bytes = reinterpret_cast<const guint8*>(m_unit->bytes.data());
    if (gst_h264_parser_identify_nalu_unchecked(m_unit->parser, bytes, 0, m_unit->bytes.size(), &m_unit->nalUnit) !=
            GST_H264_PARSER_OK ||
        m_unit->nalUnit.type != GST_H264_NAL_SPS)
        throw std::runtime_error("GStreamer does not recognise a sequence parameter set");
}

CGStreamerSps::~CGStreamerSps()
{
    gst_h264_sps_clear(&m_unit->sps);
    gst_h264_nal_parser_free(m_unit->parser);
}

bool CGStreamerSps::Parse(std::size_t count) noexcept
{
    bool isGood = true;
    for (std::size_t index = 0; index < count; ++index)
        isGood &= gst_h264_parse_sps(&m_unit->nalUnit, &m_unit->sps) == GST_H264_PARSER_OK;
    return isGood;
}

std::uint32_t CGStreamerSps::WidthInMacroblocks() const
{
    return m_unit->sps.pic_width_in_mbs_minus1 + 1;
}

std::uint32_t CGStreamerSps::CropBottom() const
{
    return m_unit->sps.frame_crop_bottom_offset;
}
