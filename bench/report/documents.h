#pragma once

#include "comparison.h"

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace report {

// The table for a terminal.
void printTable(std::ostream& out, std::vector<Comparison> const& comparisons);

// One line a row: its ratio to the counterpart, its goal, and whether it is met.
void printVerdicts(std::ostream& out, std::vector<Comparison> const& comparisons);

std::string markdownTable(std::vector<Comparison> const& comparisons);

struct Section {
    std::string name;
    std::string content;
};

// Puts each section between the two marks with its name in a Markdown file, and leaves the rest as it is.
// Throws std::runtime_error, and writes nothing, when marks aren't there.
void writeDocument(std::filesystem::path const& file, std::vector<Section> const& sections);

// Writes a file so that its name never stands for a part of it.
void writeWhole(std::filesystem::path const& file, std::string const& content);

} // namespace report
