#include "Tests/Faults/Report.h"

#include <algorithm>
#include <iomanip>
#include <map>
#include <sstream>

namespace
{
constexpr int kLabelWidth = 36;

std::string ResultName(HRESULT hr)
{
    switch (hr)
    {
    case S_OK:
        return "ok";
    case S_FALSE:
        return "no";
    case E_FAIL:
        return "fail";
    case E_UNEXPECTED:
        return "unexp";
    case E_INVALIDARG:
        return "arg";
    case E_NOTIMPL:
        return "notimpl";
    case static_cast<HRESULT>(0x800C05B4):
        return "timeout";
    default:
        break;
    }
    std::ostringstream text;
    text << std::hex << static_cast<unsigned long>(hr);
    return text.str();
}

std::string Flaws(const CellResult& result)
{
    std::string flaws;
    if (!result.isRun)
        flaws += " NOT-RUN";
    if (result.IsCrashed())
        flaws += " CRASH";
    if (result.IsOverLimit())
        flaws += " LATE";
    if (result.IsLeaked())
        flaws += " LEAK";
    if (result.IsNotRecovered())
        flaws += " LOST";
    if (result.IsUndelivered())
        flaws += " NOT-DELIVERED";
    if (result.isWrong)
        flaws += " WRONG";
    return flaws;
}

std::string Seconds(DWORD ms)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << ms / 1000.0;
    return text.str();
}

/// What the methods of one column came to under one misbehaviour.
struct Outcome
{
    std::vector<std::string> names; ///< different results, in order
    DWORD longestMs = 0;

    void Add(const CellResult& result)
    {
        const std::string name = ResultName(result.hr) + Flaws(result);
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
        longestMs = std::max(longestMs, result.tookMs);
    }
    std::string Names() const
    {
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() ? "" : "/") + name;
        return text.empty() ? "-" : text;
    }
    std::string Text() const
    {
        return names.empty() ? "-" : Names() + " " + Seconds(longestMs);
    }
};

struct Line
{
    const char* kind = "";
    std::vector<std::string> labels;
    std::map<std::string, Outcome> outcomes; ///< by column

    bool IsLike(const Line& other) const
    {
        return std::string(kind) == other.kind &&
               std::equal(outcomes.begin(), outcomes.end(), other.outcomes.begin(), other.outcomes.end(),
                          [](const auto& left, const auto& right) {
                              return left.first == right.first && left.second.Names() == right.second.Names();
                          });
    }
    void Join(const Line& other)
    {
        labels.insert(labels.end(), other.labels.begin(), other.labels.end());
        for (const auto& [column, outcome] : other.outcomes)
            outcomes[column].longestMs = std::max(outcomes[column].longestMs, outcome.longestMs);
    }
    /// "status 402, 403, 404": what the labels begin with stands once.
    std::string Label() const
    {
        const std::size_t common = labels[0].rfind(' ') + 1;
        std::string text = labels[0];
        for (std::size_t i = 1; i < labels.size(); ++i)
        {
            const bool isAlike =
                labels[0].starts_with("status ") && labels[i].compare(0, common, labels[0], 0, common) == 0;
            text += ", " + (isAlike ? labels[i].substr(common) : labels[i]);
        }
        return text;
    }
};

std::vector<std::string> ColumnsOf(const MatrixTable& table)
{
    std::vector<std::string> columns;
    for (const Method& method : table.columns)
    {
        if (std::find(columns.begin(), columns.end(), method.column) == columns.end())
            columns.push_back(method.column);
    }
    return columns;
}

std::vector<Line> LinesOf(const MatrixTable* table, const std::vector<Cell>& cells,
                          const std::vector<CellResult>& results)
{
    std::vector<Line> lines;
    const Misbehaviour* row = nullptr;
    for (std::size_t i = 0; i < cells.size(); ++i)
    {
        if (cells[i].table != table)
            continue;
        if (cells[i].row != row)
            lines.push_back({cells[i].row->kind, {cells[i].row->name}, {}});
        row = cells[i].row;
        lines.back().outcomes[cells[i].method->column].Add(results[i]);
    }
    std::vector<Line> joined;
    for (const Line& line : lines)
    {
        const auto same =
            std::find_if(joined.begin(), joined.end(), [&](const Line& other) { return other.IsLike(line); });
        if (same != joined.end())
            same->Join(line);
        else
            joined.push_back(line);
    }
    return joined;
}

void WriteTable(std::ostream& out, const MatrixTable& table, const std::vector<Line>& lines)
{
    const std::vector<std::string> columns = ColumnsOf(table);
    std::vector<std::size_t> widths;
    for (const std::string& column : columns)
    {
        std::size_t width = column.size();
        for (const Line& line : lines)
        {
            const auto found = line.outcomes.find(column);
            width = std::max(width, found != line.outcomes.end() ? found->second.Text().size() : 0);
        }
        widths.push_back(width + 2);
    }
    out << '\n' << table.title << "\n\n" << std::left << std::setw(kLabelWidth) << "";
    for (std::size_t i = 0; i < columns.size(); ++i)
        out << std::setw(static_cast<int>(widths[i])) << columns[i];
    out << '\n';
    for (const Line& line : lines)
    {
        const std::string label = line.Label();
        out << std::setw(kLabelWidth) << label;
        if (label.size() >= kLabelWidth)
            out << '\n' << std::setw(kLabelWidth) << "";
        for (std::size_t i = 0; i < columns.size(); ++i)
        {
            const auto found = line.outcomes.find(columns[i]);
            out << std::setw(static_cast<int>(widths[i]))
                << (found != line.outcomes.end() ? found->second.Text() : "-");
        }
        out << '\n';
    }
}

std::string Quoted(const std::string& text)
{
    std::string quoted = "\"";
    for (const char c : text)
    {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}
} // namespace

void Report::WriteTables(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results)
{
    out << "Result and longest time in seconds. ok: S_OK, no: S_FALSE, fail: E_FAIL, unexp: E_UNEXPECTED,\n"
           "arg: E_INVALIDARG, timeout: 0x800C05B4; -: the misbehaviour means nothing to that request.\n";
    const MatrixTable* last = nullptr;
    for (const Cell& cell : cells)
    {
        if (cell.table != last)
            WriteTable(out, *cell.table, LinesOf(cell.table, cells, results));
        last = cell.table;
    }
}

void Report::WriteFailures(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results)
{
    for (std::size_t i = 0; i < cells.size(); ++i)
    {
        const CellResult& result = results[i];
        if (result.IsGood())
            continue;
        out << Matrix::NameOf(cells[i]) << ":" << Flaws(result) << "; " << ResultName(result.hr) << " after "
            << result.tookMs << " of " << result.limitMs << " ms, released after " << result.releaseMs
            << " ms, handles " << result.before.handles << " -> " << result.after.handles << ", threads "
            << result.before.threads << " -> " << result.after.threads << ", exit code 0x" << std::hex
            << result.exitCode << std::dec << '\n';
    }
}

void Report::WriteJson(std::ostream& out, const std::vector<Cell>& cells, const std::vector<CellResult>& results)
{
    out << "[\n";
    for (std::size_t i = 0; i < cells.size(); ++i)
    {
        const CellResult& result = results[i];
        out << "{\"table\": " << Quoted(cells[i].table->title) << ", \"misbehaviour\": " << Quoted(cells[i].row->name)
            << ", \"method\": " << Quoted(cells[i].method->name) << ", \"result\": " << Quoted(ResultName(result.hr))
            << ", \"tookMs\": " << result.tookMs << ", \"limitMs\": " << result.limitMs
            << ", \"handlesBefore\": " << result.before.handles << ", \"handlesAfter\": " << result.after.handles
            << ", \"threadsBefore\": " << result.before.threads << ", \"threadsAfter\": " << result.after.threads
            << ", \"recoveredAtCall\": " << result.recovery << ", \"tries\": " << result.runs
            << ", \"releaseMs\": " << result.releaseMs << ", \"delivered\": " << (result.isDelivered ? "true" : "false")
            << ", \"exitCode\": " << result.exitCode << ", \"good\": " << (result.IsGood() ? "true" : "false")
            << (i + 1 < cells.size() ? "},\n" : "}\n");
    }
    out << "]\n";
}
