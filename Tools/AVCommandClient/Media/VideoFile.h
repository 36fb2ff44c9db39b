#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>

/// Writes H.264 as a byte stream (ITU-T H.264, annex B) that a decoder can begin with: parameter sets first, then
/// nothing until an IDR picture, then everything. Owns its file. Throws std::runtime_error when it cannot be written.
class CVideoFile
{
public:
    /// Replaces the file.
    explicit CVideoFile(const std::string& pathUtf8);

    /// The sets that the session description announces, before the first unit; either may be empty.
    void Begin(std::string_view sequenceSet, std::string_view pictureSet);
    void Write(std::string_view unit);
    /// What comes next does not follow what was written: wait for the next IDR picture again.
    void Interrupt() noexcept
    {
        m_hasKey = false;
    }
    /// Writes what the system still holds back.
    void Finish();

    [[nodiscard]] std::uint64_t CountBytes() const noexcept
    {
        return m_countBytes;
    }
    [[nodiscard]] const std::string& Path() const noexcept
    {
        return m_path;
    }

private:
    void Put(std::string_view unit);

    std::string m_path;
    std::ofstream m_file;
    bool m_hasSequence = false;
    bool m_hasPicture = false;
    bool m_hasKey = false;
    std::uint64_t m_countBytes = 0;
};
