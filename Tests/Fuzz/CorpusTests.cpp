#include "Fuzz/FuzzTarget.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// Repeats what is kept of the inputs that libFuzzer and people have made up, and of what real servers send.
class FuzzCorpus : public testing::TestWithParam<const CFuzzTarget*>
{
};

TEST_P(FuzzCorpus, KeepsItsPromises)
{
    const std::filesystem::path folder = std::filesystem::path(QUORVANE_CORPUS) / GetParam()->Name();
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        SCOPED_TRACE(entry.path().string());
        std::ifstream file(entry.path(), std::ios::binary);
        ASSERT_TRUE(file);
        EXPECT_NO_THROW(GetParam()->Run(std::string(std::istreambuf_iterator<char>(file), {})));
        ++count;
    }
    EXPECT_GT(count, 0u) << folder << " is empty";
}

INSTANTIATE_TEST_SUITE_P(, FuzzCorpus, testing::ValuesIn(CFuzzTarget::All()),
                         [](const auto& target) { return std::string(target.param->Name()); });
