#pragma once

#include <string>
#include <vector>

namespace wincryptctl {

// A table for people: columns as wide as their widest cell, the last one open to the right.
class Table {
public:
    explicit Table(std::vector<std::string> heads) { add(std::move(heads)); }

    // As many cells as there are heads; made printable here.
    void add(std::vector<std::string> cells);

    std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

} // namespace wincryptctl
