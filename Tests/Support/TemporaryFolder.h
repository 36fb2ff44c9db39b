#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

/// An empty folder of its own for one test, removed with all that is in it.
class CTemporaryFolder
{
public:
    CTemporaryFolder()
    {
        std::random_device random;
        m_path = std::filesystem::temp_directory_path() / ("quorvane-test-" + std::to_string(random()));
        std::filesystem::create_directory(m_path);
    }
    ~CTemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& name) const
    {
        return m_path / name;
    }

private:
    std::filesystem::path m_path;
};

/// All bytes of a file; empty when there is none.
inline std::string ReadFileBytes(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}
