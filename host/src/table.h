#pragma once

#include "output.h"

#include <string>
#include <vector>

namespace tvkstore {

// A table for people: columns as wide as their widest cell, the last one open to the right.
class Table {
public:
    explicit Table(std::vector<std::string> heads);

    // As many cells as there are heads; made printable here.
    void add(std::vector<std::string> cells);

    void write(ByteSink& out) const;

private:
    std::vector<std::vector<std::string>> rows_;
};

} // namespace tvkstore
