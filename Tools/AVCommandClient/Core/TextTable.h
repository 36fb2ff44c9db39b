#pragma once

#include <iosfwd>
#include <string>
#include <vector>

/// Columns of text, as wide as their widest cell counted in code points. Cells are UTF-8.
class CTextTable
{
public:
    enum class Align
    {
        kLeft,
        kRight
    };

    /// An empty `header` prints no header line.
    CTextTable(std::vector<Align> columns, std::vector<std::string> header);

    /// Cells beyond the columns are dropped, missing ones are empty.
    void AddRow(std::vector<std::string> cells);
    void Print(std::ostream& out) const;

private:
    void PrintRow(std::ostream& out, const std::vector<std::string>& cells,
                  const std::vector<std::size_t>& widths) const;

    std::vector<Align> m_columns;
    std::vector<std::string> m_header;
    std::vector<std::vector<std::string>> m_rows;
};
