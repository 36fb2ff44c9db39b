#include "Media/VideoFile.h"

#include "Media/NalUnit.h"

#include <filesystem>
#include <stdexcept>

CVideoFile::CVideoFile(const std::string& pathUtf8)
    : m_path(pathUtf8), m_file(std::filesystem::path(std::u8string(pathUtf8.begin(), pathUtf8.end())), std::ios::binary)
{
    if (!m_file)
        throw std::runtime_error("cannot write to '" + m_path + "'");
}

void CVideoFile::Begin(std::string_view sequenceSet, std::string_view pictureSet)
{
    for (const std::string_view set : {sequenceSet, pictureSet})
    {
        if (!set.empty())
            Write(set);
    }
}

void CVideoFile::Write(std::string_view unit)
{
    const unsigned type = NalUnits::TypeOf(unit);
    const bool isSequence = type == NalUnits::kSequenceParameterSet;
    const bool isPicture = type == NalUnits::kPictureParameterSet;
    // A picture parameter set means nothing before its sequence parameter set.
    if (isPicture && !m_hasSequence)
        return;
    m_hasSequence = m_hasSequence || isSequence;
    m_hasPicture = m_hasPicture || isPicture;
    m_hasKey = m_hasKey || (m_hasSequence && m_hasPicture && type == NalUnits::kIdrSlice);
    if (isSequence || isPicture || m_hasKey)
        Put(unit);
}

void CVideoFile::Finish()
{
    if (!m_file.flush())
        throw std::runtime_error("cannot write to '" + m_path + "'");
}

void CVideoFile::Put(std::string_view unit)
{
    constexpr std::string_view kStartCode("\0\0\0\1", 4);
    if (!m_file.write(kStartCode.data(), 4) || !m_file.write(unit.data(), static_cast<std::streamsize>(unit.size())))
        throw std::runtime_error("cannot write to '" + m_path + "'");
    m_countBytes += kStartCode.size() + unit.size();
}
