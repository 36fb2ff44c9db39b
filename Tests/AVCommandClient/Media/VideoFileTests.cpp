#include "Media/VideoFile.h"

#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace
{
using namespace std::string_literals;

const std::string kStartCode = "\0\0\0\x01"s;

class VideoFile : public testing::Test
{
protected:
    std::string Finish(CVideoFile& file)
    {
        file.Finish();
        const std::string bytes = ReadFileBytes(m_path);
        EXPECT_EQ(bytes.size(), file.CountBytes());
        return bytes;
    }

    CTemporaryFolder m_folder;
    std::filesystem::path m_path = m_folder / "video.h264";
    CVideoFile m_file{m_path.string()};
};

TEST_F(VideoFile, AnnouncedSetsComeFirstAndPicturesFromTheFirstKeyOn)
{
    m_file.Begin("\x67s", "\x68p");
    m_file.Write("\x41skipped");
    m_file.Write("\x65key");
    m_file.Write("\x41next");
    EXPECT_EQ(kStartCode + "\x67s" + kStartCode + "\x68p" + kStartCode + "\x65key" + kStartCode + "\x41next",
              Finish(m_file));
}

TEST_F(VideoFile, WithoutAnnouncedSetsTheStreamsOwnAreAwaited)
{
    m_file.Begin("", "");
    for (const char* unit : {"\x65"
                             "early",
                             "\x68"
                             "early",
                             "\x67s",
                             "\x65"
                             "early",
                             "\x68p", "\x65key"})
        m_file.Write(unit);
    EXPECT_EQ(kStartCode + "\x67s" + kStartCode + "\x68p" + kStartCode + "\x65key", Finish(m_file));
}

TEST_F(VideoFile, AfterAnInterruptionTheNextKeyIsAwaited)
{
    m_file.Begin("\x67s", "\x68p");
    m_file.Write("\x65"
                 "1");
    m_file.Interrupt();
    m_file.Write("\x41lost");
    m_file.Write("\x65"
                 "2");
    EXPECT_EQ(kStartCode + "\x67s" + kStartCode + "\x68p" + kStartCode +
                  "\x65"
                  "1" +
                  kStartCode +
                  "\x65"
                  "2",
              Finish(m_file));
}

TEST_F(VideoFile, APathThatCannotBeWrittenIsNamed)
{
    const std::string path = (m_folder / "missing" / "video.h264").string();
    try
    {
        CVideoFile file(path);
        FAIL();
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_EQ("cannot write to '" + path + "'", std::string(error.what()));
    }
}
} // namespace
