#include "table.h"

#include "terminal_text.h"

#include <algorithm>

namespace wincryptctl {

void Table::add(std::vector<std::string> cells) {
    for (std::string& cell : cells)
        cell = cell.empty() ? "-" : printable(cell);
    rows_.push_back(std::move(cells));
}

std::string Table::text() const {
    std::vector<std::size_t> widths(rows_.front().size(), 0);
    for (auto const& row : rows_)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], displayWidth(row[column]));
    std::string text;
    for (auto const& row : rows_) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column) {
            text += row[column];
            text.append(widths[column] - displayWidth(row[column]) + 2, ' ');
        }
        text += row.back() + '\n';
    }
    return text;
}

} // namespace wincryptctl
