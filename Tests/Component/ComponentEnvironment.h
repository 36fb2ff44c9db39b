#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

/// What a whole test program shares: the built library is registered while its tests run, and logs to a file of the
/// program's own (levels 1, 4 and 8). One client, one process, as on an application's machine.
namespace ComponentEnvironment
{
/// For testing::AddGlobalTestEnvironment, which owns it.
testing::Environment* Make();

/// Points the component at the program's log file; true for the next object that is created.
void UseLogFile();
const std::filesystem::path& LogFile();
} // namespace ComponentEnvironment

/// The lines that the component adds to the program's log file from now on.
class CComponentLog
{
public:
    CComponentLog();

    /// In order, as "level text". Throws when a line is not of the documented form.
    std::vector<std::string> Lines() const;
    /// How many of them contain the text.
    std::size_t Count(const std::string& part) const;
    /// Forgets what is there now.
    void Clear();

private:
    std::uintmax_t m_startBytes = 0;
};

/// "level text" of one line of a log file. Throws when the line is not of the documented form.
std::string WithoutPrefix(const std::string& line);
