#include "PortableExecutable.h"

#include <cctype>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace
{
constexpr std::uint16_t kMachineI386 = 0x14C;
constexpr std::size_t kNewHeaderOffsetAt = 0x3C;
constexpr std::size_t kFileHeaderBytes = 24; // signature included
constexpr std::size_t kDirectoriesAt = 96;   // in a 32-bit optional header
constexpr unsigned kExportDirectory = 0;
constexpr unsigned kImportDirectory = 1;
constexpr unsigned kDelayImportDirectory = 13;
constexpr unsigned kMostEntries = 10000;

class CReader
{
public:
    explicit CReader(const std::string& file) : m_file(file)
    {
        m_header = Read<std::uint32_t>(kNewHeaderOffsetAt);
        if (m_file.compare(m_header, 4, std::string("PE\0\0", 4)) != 0)
            throw std::runtime_error("no portable executable");
        if (Machine() != kMachineI386)
            throw std::runtime_error("not a 32-bit file");
    }

    std::uint16_t Machine() const
    {
        return Read<std::uint16_t>(m_header + 4);
    }

    std::uint32_t DirectoryAddress(unsigned index) const
    {
        return Read<std::uint32_t>(m_header + kFileHeaderBytes + kDirectoriesAt + std::size_t{8} * index);
    }

    template <class T>
    T ReadAt(std::uint32_t address) const
    {
        return Read<T>(FileOffset(address));
    }

    std::string TextAt(std::uint32_t address) const
    {
        const std::size_t from = FileOffset(address);
        const std::size_t to = m_file.find('\0', from);
        if (to == std::string::npos)
            throw std::runtime_error("a text has no end");
        return m_file.substr(from, to - from);
    }

private:
    template <class T>
    T Read(std::size_t offset) const
    {
        if (offset > m_file.size() || sizeof(T) > m_file.size() - offset)
            throw std::runtime_error("the file ends too early");
        T value{};
        std::memcpy(&value, m_file.data() + offset, sizeof(value));
        return value;
    }

    /// Addresses in the file's tables are those of the loaded image; the section table says where that is on disk.
    std::size_t FileOffset(std::uint32_t address) const
    {
        const auto sectionCount = Read<std::uint16_t>(m_header + 6);
        const std::size_t sections = m_header + kFileHeaderBytes + Read<std::uint16_t>(m_header + 20);
        for (std::size_t i = 0; i < sectionCount; ++i)
        {
            const std::size_t section = sections + 40 * i;
            const auto start = Read<std::uint32_t>(section + 12);
            if (address >= start && address - start < Read<std::uint32_t>(section + 16))
                return Read<std::uint32_t>(section + 20) + (address - start);
        }
        throw std::runtime_error("an address lies in no section");
    }

    const std::string& m_file;
    std::size_t m_header = 0;
};

void ReadImports(const CReader& reader, unsigned directory, std::uint32_t entryBytes, std::uint32_t nameAt,
                 std::set<std::string>& names)
{
    std::uint32_t entry = reader.DirectoryAddress(directory);
    if (entry == 0)
        return;
    for (unsigned i = 0; i < kMostEntries; ++i, entry += entryBytes)
    {
        const auto name = reader.ReadAt<std::uint32_t>(entry + nameAt);
        if (name == 0)
            return;
        std::string text = reader.TextAt(name);
        for (char& c : text)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        names.insert(text);
    }
}
} // namespace

PortableExecutable ReadPortableExecutable(const std::string& file)
{
    const CReader reader(file);
    PortableExecutable result;
    result.machine = reader.Machine();
    ReadImports(reader, kImportDirectory, 20, 12, result.importedLibraries);
    ReadImports(reader, kDelayImportDirectory, 32, 4, result.importedLibraries);
    const std::uint32_t exports = reader.DirectoryAddress(kExportDirectory);
    if (exports == 0)
        return result;
    result.exportedFunctionCount = reader.ReadAt<std::uint32_t>(exports + 20);
    const auto nameCount = reader.ReadAt<std::uint32_t>(exports + 24);
    const auto names = reader.ReadAt<std::uint32_t>(exports + 32);
    for (std::uint32_t i = 0; i < nameCount && i < kMostEntries; ++i)
        result.exportedNames.insert(reader.TextAt(reader.ReadAt<std::uint32_t>(names + 4 * i)));
    return result;
}
