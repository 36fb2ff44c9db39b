// Writes what follows from an interface description:
//   typelibgen header DESCRIPTION OUTPUT.h OUTPUT_i.c
//   typelibgen typelib DESCRIPTION OUTPUT.tlb
// Exit code 0, 1 (a failure, explained in one line) or 2 (wrong arguments).

#include "HeaderWriter.h"
#include "InterfaceParser.h"
#include "RecordLayout.h"
#include "TypeLibFile.h"
#include "TypeLibWriter.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

namespace
{
std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    return text;
}

void WriteFile(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path.string());
}

void WriteTypeLibrary(const InterfaceModel::Description& description, const std::filesystem::path& path)
{
    TypeLibWriter::Write(description, path);
    std::map<std::string, std::uint32_t> recordSizes;
    for (const InterfaceModel::Record& record : description.records)
        recordSizes[record.name] = LayOutRecord(record).sizeBytes;
    std::string file = ReadFile(path);
    TypeLibFile::FillInRecordSizes(file, recordSizes);
    WriteFile(path, file);
}

int Run(int argumentCount, char* arguments[])
{
    const std::string command = argumentCount > 1 ? arguments[1] : "";
    const bool isHeader = command == "header" && argumentCount == 5;
    const bool isTypeLib = command == "typelib" && argumentCount == 4;
    if (!isHeader && !isTypeLib)
    {
        std::fputs("usage: typelibgen header DESCRIPTION OUTPUT.h OUTPUT_i.c\n"
                   "       typelibgen typelib DESCRIPTION OUTPUT.tlb\n",
                   stderr);
        return 2;
    }
    const std::filesystem::path source = arguments[2];
    const std::string sourceName = source.filename().string();
    const InterfaceModel::Description description = ParseInterfaceDescription(ReadFile(source), sourceName);
    if (isTypeLib)
    {
        WriteTypeLibrary(description, arguments[3]);
        return 0;
    }
    const std::filesystem::path header = arguments[3];
    WriteFile(header, HeaderWriter::WriteHeader(description, sourceName));
    WriteFile(arguments[4], HeaderWriter::WriteGuidSource(description, sourceName, header.filename().string()));
    return 0;
}
} // namespace

int main(int argumentCount, char* arguments[])
{
    try
    {
        return Run(argumentCount, arguments);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "typelibgen: %s\n", error.what());
        return 1;
    }
}
