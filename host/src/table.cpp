#include "table.h"

#include "text.h"

#include <algorithm>

namespace tvkstore {

Table::Table(std::vector<std::string> heads) { add(std::move(heads)); }

void Table::add(std::vector<std::string> cells) {
    for (std::string& cell : cells) {
        cell = cell.empty() ? "-" : printable(cell);
    }
    rows_.push_back(std::move(cells));
}

void Table::write(ByteSink& out) const {
    std::vector<std::size_t> widths(rows_.front().size(), 0);
    for (auto const& row : rows_) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    for (auto const& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) {
                line.append(widths[column] - displayWidth(row[column]) + 2, ' ');
            }
        }
        out.write(line + '\n');
    }
}

} // namespace tvkstore
