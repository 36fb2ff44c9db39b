#include "Tests/Faults/Matrix.h"

#include "Tests/Faults/BrokenTable.h"

std::vector<MatrixTable> Matrix::Tables(bool isBroken)
{
    if (isBroken)
        return BrokenTable::Make();
    const std::vector<Misbehaviour> rows = Misbehaviours::All();
    return {{"IPELA", "SNC-EP580", rows, Methods::OfIpela()},
            {"Axis, CGI", "AXIS P5635-E", rows, Methods::OfAxis()},
            {"Axis, RTSP", "AXIS P5635-E", rows, Methods::OfAxisRtsp()}};
}

std::vector<Cell> Matrix::Cells(const std::vector<MatrixTable>& tables, const std::string& part)
{
    std::vector<Cell> cells;
    for (const MatrixTable& table : tables)
    {
        for (const Misbehaviour& row : table.rows)
        {
            for (const Method& method : table.columns)
            {
                const Cell cell{&table, &row, &method};
                if ((row.spoils & method.spoiled) != 0 && NameOf(cell).find(part) != std::string::npos)
                    cells.push_back(cell);
            }
        }
    }
    return cells;
}

std::string Matrix::NameOf(const Cell& cell)
{
    return std::string(cell.table->title) + ": " + cell.row->name + ": " + cell.method->name;
}
