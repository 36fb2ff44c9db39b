#include "CameraSim/H264/Encoder.h"
#include "CameraSim/H264/NalUnit.h"
#include "CameraSim/H264/TestPicture.h"

#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <random>

/// What a decoder that is not ours makes of the encoder's streams.
namespace
{

/// One component of the picture in blocks of `blockSize` pixels, cropped to a size in pixels.
template <class Component>
void AppendPlane(std::string& yuv, const BlockPicture& picture, unsigned blockSize, unsigned width, unsigned height,
                 Component component)
{
    for (unsigned row = 0; row < picture.rows; ++row)
    {
        std::string line;
        for (unsigned column = 0; column < picture.columns; ++column)
            line.append(blockSize, static_cast<char>(picture.At(column, row).*component));
        line.resize(width);
        for (unsigned y = row * blockSize; y < std::min(height, (row + 1) * blockSize); ++y)
            yuv += line;
    }
}

/// The picture as planar 4:2:0 video.
std::string Yuv(const BlockPicture& picture, const H264Format& format)
{
    std::string yuv;
    AppendPlane(yuv, picture, 16, format.width, format.height, &BlockColour::y);
    AppendPlane(yuv, picture, 8, format.width / 2, format.height / 2, &BlockColour::cb);
    AppendPlane(yuv, picture, 8, format.width / 2, format.height / 2, &BlockColour::cr);
    return yuv;
}

/// Any colour in any place, a third of them new in each picture: all levels, all predictions, all lengths of skip runs.
class CNoise
{
public:
    explicit CNoise(const H264Format& format) : m_picture(format.Columns(), format.Rows()) {}

    const BlockPicture& Next()
    {
        for (BlockColour& colour : m_picture.blocks)
        {
            if (m_random() % 3 == 0)
                colour = {Byte(), Byte(), m_random() % 2 == 0 ? colour.cr : Byte()};
        }
        return m_picture;
    }

private:
    std::uint8_t Byte()
    {
        // The ends of the range as often as all between them: the longest codes.
        const auto kind = m_random() % 4;
        return static_cast<std::uint8_t>(kind == 0 ? 0 : kind == 1 ? 255 : m_random() % 256);
    }

    std::mt19937 m_random{1};
    BlockPicture m_picture;
};

class DecodedPicture : public testing::Test
{
protected:
    /// Decodes the stream; fails the test on any word of complaint.
    std::string Decode(const std::string& stream)
    {
        const auto input = m_folder / "stream.h264";
        const auto output = m_folder / "pictures.yuv";
        const auto complaints = m_folder / "complaints.txt";
        std::ofstream(input, std::ios::binary) << stream;
        const std::string command = "ffmpeg -nostdin -y -v warning -f h264 -i '" + input.string() +
                                    "' -fps_mode passthrough -f rawvideo -pix_fmt yuv420p '" + output.string() +
                                    "' 2>'" + complaints.string() + "'";
        EXPECT_EQ(0, std::system(command.c_str())) << "is ffmpeg there? './dev setup' installs it";
        EXPECT_EQ("", ReadFileBytes(complaints));
        return ReadFileBytes(output);
    }

    /// Encodes so many pictures and compares what comes back, pixel for pixel.
    template <class Draw>
    void ExpectSame(const H264Format& format, unsigned countPictures, Draw&& draw)
    {
        CH264Encoder encoder(format);
        std::string stream;
        std::string expected;
        for (unsigned frame = 0; frame < countPictures; ++frame)
        {
            const BlockPicture& picture = draw(frame);
            stream += NalUnit::AnnexB(encoder.Encode(picture));
            expected += Yuv(picture, format);
        }
        const std::string decoded = Decode(stream);
        ASSERT_EQ(expected.size(), decoded.size()) << "pictures are missing or of another size";
        EXPECT_TRUE(expected == decoded);
    }

    CTemporaryFolder m_folder;
};

TEST_F(DecodedPicture, EverySizeComesBackPixelForPixel)
{
    struct Row
    {
        unsigned width;
        unsigned height;
    };
    const Row rows[] = {{480, 270},   {800, 450}, {1280, 720}, {1920, 1080},
                        {2688, 1512}, {640, 368}, {16, 16},    {98, 50}};
    for (const Row& row : rows)
    {
        SCOPED_TRACE(std::to_string(row.width) + "x" + std::to_string(row.height));
        const H264Format format{.width = row.width, .height = row.height, .keyFrameDistance = 3};
        const CTestPicture picture(format);
        ExpectSame(format, 4, [&](unsigned frame) { return picture.Draw(frame); });
    }
}

TEST_F(DecodedPicture, EveryProfileCarriesAnyColour)
{
    for (const H264Profile profile : {H264Profile::Baseline, H264Profile::Main, H264Profile::High})
    {
        const H264Format format{.width = 480, .height = 270, .profile = profile, .keyFrameDistance = 4};
        CNoise noise(format);
        ExpectSame(format, 12, [&](unsigned) { return noise.Next(); });
    }
}

TEST_F(DecodedPicture, LongDistancesWrapTheFrameNumber)
{
    const H264Format format{.width = 160, .height = 96, .framesPerSecond = 7, .keyFrameDistance = 1000};
    const CTestPicture picture(format);
    ExpectSame(format, 300, [&](unsigned frame) { return picture.Draw(frame); });
}

TEST_F(DecodedPicture, FillerUpToTheBitRateChangesNoPicture)
{
    const H264Format format{.width = 480, .height = 270, .framesPerSecond = 25, .kilobitsPerSecond = 2000};
    const CTestPicture picture(format);
    ExpectSame(format, 10, [&](unsigned frame) { return picture.Draw(frame); });
}

} // namespace
