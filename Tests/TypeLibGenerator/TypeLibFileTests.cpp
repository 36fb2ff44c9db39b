#include "TypeLibFile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

namespace
{
constexpr std::size_t kTypeBytes = 100;
constexpr std::size_t kInstanceSizeAt = 0x50;
constexpr std::uint32_t kEnumKind = 0;
constexpr std::uint32_t kRecordKind = 1;

void Append(std::string& file, std::uint32_t value)
{
    char bytes[sizeof(value)];
    std::memcpy(bytes, &value, sizeof(value));
    file.append(bytes, sizeof(bytes));
}

void Put(std::string& file, std::size_t offset, std::uint32_t value)
{
    std::memcpy(file.data() + offset, &value, sizeof(value));
}

/// A library file of two types, "Thing" and "Other", as far as the correction looks at it.
class CFile
{
public:
    explicit CFile(bool hasHelpDll = false)
    {
        bytes = "MSFT";
        bytes.resize(0x54, '\0');
        Put(bytes, 0x14, hasHelpDll ? 0x141 : 0x41);
        Put(bytes, 0x20, 2);
        if (hasHelpDll)
            Append(bytes, 0xFFFFFFFF);
        Append(bytes, 0);
        Append(bytes, kTypeBytes);
        const std::size_t directory = bytes.size();
        bytes.resize(directory + 15 * 16, '\0');
        types = bytes.size();
        Put(bytes, directory, static_cast<std::uint32_t>(types));
        bytes.resize(types + 2 * kTypeBytes, '\0');
        const std::size_t names = bytes.size();
        Put(bytes, directory + 7 * 16, static_cast<std::uint32_t>(names));
        AddName(0, "Thing", names);
        AddName(1, "Other", names);
        SetKind(0, kRecordKind);
        SetKind(1, kRecordKind);
    }

    void SetKind(std::size_t type, std::uint32_t kind)
    {
        // The upper bits hold the alignment.
        Put(bytes, types + type * kTypeBytes, 0x2100 | kind);
    }
    void SetSize(std::size_t type, std::uint32_t sizeBytes)
    {
        Put(bytes, types + type * kTypeBytes + kInstanceSizeAt, sizeBytes);
    }
    std::uint32_t Size(std::size_t type) const
    {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data() + types + type * kTypeBytes + kInstanceSizeAt, sizeof(value));
        return value;
    }

    std::string bytes;
    std::size_t types = 0;

private:
    void AddName(std::size_t type, const std::string& name, std::size_t names)
    {
        Put(bytes, types + type * kTypeBytes + 0x34, static_cast<std::uint32_t>(bytes.size() - names));
        Append(bytes, 0);
        Append(bytes, 0xFFFFFFFF);
        Append(bytes, 0x10380000u | static_cast<std::uint32_t>(name.size())); // the upper bytes hold flags and a hash
        bytes += name;
    }
};

TEST(TypeLibFile, FillsInTheSizesOfTheNamedRecords)
{
    for (const bool hasHelpDll : {false, true})
    {
        CFile file(hasHelpDll);
        TypeLibFile::FillInRecordSizes(file.bytes, {{"Thing", 12}, {"Other", 36}});
        EXPECT_EQ(12u, file.Size(0)) << hasHelpDll;
        EXPECT_EQ(36u, file.Size(1)) << hasHelpDll;
    }
}

TEST(TypeLibFile, KeepsASizeThatIsThereAlready)
{
    CFile file;
    file.SetSize(0, 16);
    TypeLibFile::FillInRecordSizes(file.bytes, {{"Thing", 12}});
    EXPECT_EQ(16u, file.Size(0));
}

TEST(TypeLibFile, ChangesNothingElse)
{
    CFile file;
    const std::string before = file.bytes;
    TypeLibFile::FillInRecordSizes(file.bytes, {{"Thing", 12}});
    file.SetSize(0, 0);
    EXPECT_EQ(before, file.bytes);
}

TEST(TypeLibFile, RefusesAFileWithoutTheRecord)
{
    CFile file;
    EXPECT_THROW(TypeLibFile::FillInRecordSizes(file.bytes, {{"Absent", 12}}), std::runtime_error);
    file.SetKind(0, kEnumKind);
    EXPECT_THROW(TypeLibFile::FillInRecordSizes(file.bytes, {{"Thing", 12}}), std::runtime_error) << "no record";
}

TEST(TypeLibFile, RefusesWhatIsNoTypeLibrary)
{
    std::string text = "SLTG and more than four bytes";
    EXPECT_THROW(TypeLibFile::FillInRecordSizes(text, {}), std::runtime_error);
    std::string empty;
    EXPECT_THROW(TypeLibFile::FillInRecordSizes(empty, {}), std::runtime_error);
}

TEST(TypeLibFile, NeverReadsPastATruncatedFile)
{
    const CFile file;
    for (std::size_t length = 0; length < file.bytes.size(); ++length)
    {
        std::string cut = file.bytes.substr(0, length);
        EXPECT_THROW(TypeLibFile::FillInRecordSizes(cut, {{"Thing", 12}, {"Other", 36}}), std::runtime_error) << length;
    }
}
} // namespace
