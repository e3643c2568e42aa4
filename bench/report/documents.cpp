#include "documents.h"

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace report {

namespace {

std::string text(Row const& row, std::optional<double> figure) {
    return figure ? figureText(row, *figure) : "-";
}

std::string ratioText(Comparison const& comparison) {
    if (!comparison.isMeasured()) {
        return "-";
    }
    double const ratio = *comparison.ours / *comparison.counterpart;
    char buffer[32];
    // A thousandth decides over some goals near 1; below a tenth, two digits tell.
    std::snprintf(buffer, sizeof buffer, ratio < 0.1 ? "%.4f" : "%.3f", ratio);
    return buffer;
}

constexpr int titleWidth = 36;
constexpr int column = 12;
constexpr int goalWidth = 20;

} // namespace

void printTable(std::ostream& out, std::vector<Comparison> const& comparisons) {
    out << std::left << std::setw(titleWidth) << "operation" << std::right << std::setw(column) << "ours"
        << std::setw(column) << "counterpart" << std::setw(column) << "goal" << '\n';
    for (Comparison const& comparison : comparisons) {
        std::string const goal =
            comparison.counterpart
                ? figureText(*comparison.row, goalFigure(*comparison.row, *comparison.counterpart))
                : "-";
        out << std::left << std::setw(titleWidth) << comparison.row->title << std::right << std::setw(column)
            << text(*comparison.row, comparison.ours) << std::setw(column)
            << text(*comparison.row, comparison.counterpart) << std::setw(column) << goal << '\n';
    }
}

void printVerdicts(std::ostream& out, std::vector<Comparison> const& comparisons) {
    for (Comparison const& comparison : comparisons) {
        out << std::left << std::setw(titleWidth) << comparison.row->title << std::right << std::setw(column)
            << ratioText(comparison) << "   goal " << std::left << std::setw(goalWidth)
            << goalText(*comparison.row) << ' ' << comparison.verdict() << '\n';
    }
}

std::string markdownTable(std::vector<Comparison> const& comparisons) {
    std::ostringstream table;
    table << "| operation | ours | counterpart | ratio | goal | |\n"
          << "| --- | ---: | ---: | ---: | --- | --- |\n";
    for (Comparison const& comparison : comparisons) {
        table << "| " << comparison.row->title << " | " << text(*comparison.row, comparison.ours) << " | "
              << text(*comparison.row, comparison.counterpart) << " | " << ratioText(comparison) << " | "
              << goalText(*comparison.row) << " | " << comparison.verdict() << " |\n";
    }
    return table.str();
}

void writeDocument(fs::path const& file, std::vector<Section> const& sections) {
    std::ifstream in(file, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(in), {}};
    for (Section const& section : sections) {
        std::string const beginMark = "<!-- " + section.name + " -->\n";
        std::size_t const begin = content.find(beginMark);
        std::size_t const end = content.find("<!-- end of " + section.name + " -->\n");
        if (!in || begin == std::string::npos || end == std::string::npos || end < begin) {
            throw std::runtime_error(file.string() + ": can't be read, or the marks of \"" + section.name +
                                     "\" are missing");
        }
        std::size_t const from = begin + beginMark.size();
        content.replace(from, end - from, section.content);
    }
    writeWhole(file, content);
}

void writeWhole(fs::path const& file, std::string const& content) {
    fs::path const part = file.string() + ".part";
    {
        std::ofstream out(part, std::ios::binary | std::ios::trunc);
        out << content << std::flush;
        if (!out) {
            throw std::runtime_error(part.string() + ": can't be written");
        }
    }
    fs::rename(part, file);
}

} // namespace report
