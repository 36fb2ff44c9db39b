// faults: every kind of misbehaviour of a camera against every method of the component, through COM. Run by ./dev
// faults.

#include "Tests/Faults/CellRunner.h"
#include "Tests/Faults/Matrix.h"
#include "Tests/Faults/MatrixRunner.h"
#include "Tests/Faults/PrivateSettings.h"
#include "Tests/Faults/Report.h"
#include "Tests/Faults/Totals.h"
#include "Tests/Support/ComponentLibrary.h"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace
{
constexpr const char* kUsage = "usage: faults [--only PART] [--jobs N] [--json FILE] [--list] [--broken]\n"
                               "  --only PART   cells whose name contains PART\n"
                               "  --jobs N      so many processes at a time (16)\n"
                               "  --json FILE   also writes every cell there\n"
                               "  --list        names the cells\n"
                               "  --broken      cells that fail on purpose, to test this program\n";

struct Options
{
    std::string only;
    std::string jsonFile;
    unsigned processes = 16; ///< they wait most of their time
    bool isBroken = false;
    bool isList = false;
    // Of the processes that it starts.
    std::string log;
    std::size_t begin = 0;
    std::size_t end = 0;
};

Options Read(int count, char** words)
{
    Options options;
    for (int i = 1; i < count; ++i)
    {
        const std::string word = words[i];
        const auto value = [&] {
            if (++i == count)
                throw std::invalid_argument(word + " needs a value");
            return std::string(words[i]);
        };
        if (word == "--only")
            options.only = value();
        else if (word == "--json")
            options.jsonFile = value();
        else if (word == "--jobs")
            options.processes = static_cast<unsigned>(std::clamp(std::stoi(value()), 1, 32));
        else if (word == "--broken")
            options.isBroken = true;
        else if (word == "--list")
            options.isList = true;
        else if (word == "--log")
            options.log = value();
        else if (word == "--cells")
        {
            const std::string range = value();
            options.begin = std::stoul(range);
            options.end = std::stoul(range.substr(range.find('-') + 1));
        }
        else
            throw std::invalid_argument("\"" + word + "\" is no option");
    }
    return options;
}

/// The part of a process that runs cells.
int RunCells(const Options& options, const std::vector<Cell>& cells)
{
    // What cameras send goes into the log as well.
    ::SetEnvironmentVariableA("ORBELL_LOG_FILE", options.log.c_str());
    ::SetEnvironmentVariableA("ORBELL_LOG_LEVELS", "0xD");
    CCellRunner runner;
    for (std::size_t i = options.begin; i < std::min(options.end, cells.size()); ++i)
    {
        std::cout << CellProtocol::Begin(i, CCellRunner::DeadlineMs(cells[i])) << std::endl;
        const CellResult result = runner.Run(cells[i]);
        std::cout << CellProtocol::End(i, result) << std::endl;
    }
    std::cout << CellProtocol::Process(runner.Finish()) << std::endl;
    return 0;
}

/// The library is registered while all this runs.
class CSurroundings
{
public:
    CSurroundings()
    {
        if (m_library.RegisterServer() != S_OK)
            throw std::runtime_error("the component cannot be registered");
    }
    ~CSurroundings()
    {
        static_cast<void>(m_library.UnregisterServer());
        CPrivateSettings::RemoveAll();
    }
    CSurroundings(const CSurroundings&) = delete;
    CSurroundings& operator=(const CSurroundings&) = delete;

private:
    CComponentLibrary m_library;
};

std::wstring ChildOptions(const Options& options)
{
    std::wstring text = options.isBroken ? L"--broken" : L"";
    if (!options.only.empty())
        text += L" --only \"" + std::wstring(options.only.begin(), options.only.end()) + L"\"";
    return text;
}

int RunAll(const Options& options, const std::vector<Cell>& cells)
{
    const CSurroundings surroundings;
    CMatrixRunner runner(cells, ChildOptions(options));
    runner.Run(options.processes);
    const std::vector<CellResult>& results = runner.Results();
    Report::WriteTables(std::cout, cells, results);
    std::cout << '\n';
    Report::WriteFailures(std::cout, cells, results);
    if (!options.jsonFile.empty())
    {
        std::ofstream file(options.jsonFile, std::ios::binary);
        Report::WriteJson(file, cells, results);
        if (!file.flush())
            throw std::runtime_error("\"" + options.jsonFile + "\" cannot be written");
    }
    const bool isGood = Totals::WriteVerdict(std::cout, cells, results);
    Totals::WriteEffort(std::cout, results);
    return Totals::WriteProcesses(std::cout, runner.Processes()) && isGood ? 0 : 1;
}
} // namespace

int main(int count, char** words)
try
{
    const Options options = Read(count, words);
    const std::vector<MatrixTable> tables = Matrix::Tables(options.isBroken);
    const std::vector<Cell> cells = Matrix::Cells(tables, options.only);
    if (options.end != 0)
        return RunCells(options, cells);
    if (!options.isList)
        return RunAll(options, cells);
    for (const Cell& cell : cells)
        std::cout << Matrix::NameOf(cell) << '\n';
    return 0;
}
catch (const std::invalid_argument& error)
{
    std::cerr << "faults: " << error.what() << ".\n" << kUsage;
    return 2;
}
catch (const std::exception& error)
{
    std::cerr << "faults: " << error.what() << ".\n";
    return 3;
}
