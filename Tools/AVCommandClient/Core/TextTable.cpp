#include "Core/TextTable.h"

#include <algorithm>
#include <ostream>
#include <string_view>
#include <utility>

namespace
{
std::size_t CountCodePoints(std::string_view utf8)
{
    // Every byte but the continuation bytes 10xxxxxx begins a code point.
    return static_cast<std::size_t>(
        std::ranges::count_if(utf8, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}
} // namespace

CTextTable::CTextTable(std::vector<Align> columns, std::vector<std::string> header)
    : m_columns(std::move(columns)), m_header(std::move(header))
{
    if (!m_header.empty())
        m_header.resize(m_columns.size());
}

void CTextTable::AddRow(std::vector<std::string> cells)
{
    cells.resize(m_columns.size());
    m_rows.push_back(std::move(cells));
}

void CTextTable::Print(std::ostream& out) const
{
    std::vector<std::size_t> widths(m_columns.size(), 0);
    const auto measure = [&widths](const std::vector<std::string>& cells) {
        for (std::size_t i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], CountCodePoints(cells[i]));
    };
    measure(m_header);
    std::ranges::for_each(m_rows, measure);
    if (!m_header.empty())
        PrintRow(out, m_header, widths);
    for (const std::vector<std::string>& row : m_rows)
        PrintRow(out, row, widths);
}

void CTextTable::PrintRow(std::ostream& out, const std::vector<std::string>& cells,
                          const std::vector<std::size_t>& widths) const
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i)
    {
        const std::string padding(widths[i] - CountCodePoints(cells[i]), ' ');
        if (i > 0)
            line += "  ";
        line += m_columns[i] == Align::kRight ? padding + cells[i] : cells[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}
