#include "TypeLibFile.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace
{
// Offsets in the file's header.
constexpr std::size_t kFlagsAt = 0x14;
constexpr std::size_t kTypeCountAt = 0x20;
constexpr std::size_t kHeaderBytes = 0x54;
constexpr std::uint32_t kHasHelpDllFlag = 0x100; // the header is one number longer

// The segment directory behind the offsets of the types.
constexpr std::size_t kSegmentEntryBytes = 16;
constexpr std::size_t kTypeSegment = 0;
constexpr std::size_t kNameSegment = 7;

// Offsets in one type description.
constexpr std::size_t kKindAt = 0x00;
constexpr std::size_t kNameAt = 0x34;
constexpr std::size_t kInstanceSizeAt = 0x50;
constexpr std::uint32_t kKindMask = 0xF;
constexpr std::uint32_t kRecordKind = 1;

// A name: two numbers for lookups, then a number whose lowest byte is the length, then the characters.
constexpr std::size_t kNameLengthAt = 8;
constexpr std::size_t kNameTextAt = 12;

/// The file's bytes with every access checked.
class CBytes
{
public:
    explicit CBytes(std::string& bytes) : m_bytes(bytes) {}
    std::uint32_t Read(std::size_t offset) const
    {
        std::uint32_t value = 0;
        std::memcpy(&value, At(offset, sizeof(value)), sizeof(value));
        return value;
    }
    std::string_view ReadText(std::size_t offset, std::size_t length) const
    {
        return {At(offset, length), length};
    }
    void Write(std::size_t offset, std::uint32_t value)
    {
        std::memcpy(At(offset, sizeof(value)), &value, sizeof(value));
    }

private:
    char* At(std::size_t offset, std::size_t length) const
    {
        if (offset > m_bytes.size() || length > m_bytes.size() - offset)
            throw std::runtime_error("the type library file ends too early");
        return m_bytes.data() + offset;
    }

    std::string& m_bytes;
};
} // namespace

void TypeLibFile::FillInRecordSizes(std::string& file, const std::map<std::string, std::uint32_t>& recordSizes)
{
    CBytes bytes(file);
    if (bytes.ReadText(0, 4) != "MSFT")
        throw std::runtime_error("the file is no type library");
    const std::uint32_t typeCount = bytes.Read(kTypeCountAt);
    const std::size_t offsetsAt = kHeaderBytes + ((bytes.Read(kFlagsAt) & kHasHelpDllFlag) != 0 ? 4 : 0);
    const std::size_t directoryAt = offsetsAt + std::size_t{4} * typeCount;
    const std::size_t typesAt = bytes.Read(directoryAt + kTypeSegment * kSegmentEntryBytes);
    const std::size_t namesAt = bytes.Read(directoryAt + kNameSegment * kSegmentEntryBytes);

    std::size_t found = 0;
    for (std::size_t i = 0; i < typeCount; ++i)
    {
        const std::size_t type = typesAt + bytes.Read(offsetsAt + 4 * i);
        if ((bytes.Read(type + kKindAt) & kKindMask) != kRecordKind)
            continue;
        const std::size_t name = namesAt + bytes.Read(type + kNameAt);
        const auto record =
            recordSizes.find(std::string(bytes.ReadText(name + kNameTextAt, bytes.Read(name + kNameLengthAt) & 0xFF)));
        if (record == recordSizes.end())
            continue;
        ++found;
        if (bytes.Read(type + kInstanceSizeAt) == 0)
            bytes.Write(type + kInstanceSizeAt, record->second);
    }
    if (found != recordSizes.size())
        throw std::runtime_error("the type library file lacks a record");
}
