#include "documents.h"

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace report {

namespace {

constexpr char beginMark[] = "<!-- measured -->\n";
constexpr char endMark[] = "<!-- end of what was measured -->\n";

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

void writeDocument(fs::path const& file, std::string const& machine,
                   std::vector<Comparison> const& comparisons) {
    std::ifstream in(file, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(in), {}};
    std::size_t const begin = content.find(beginMark);
    std::size_t const end = content.find(endMark);
    if (!in || begin == std::string::npos || end == std::string::npos || end < begin) {
        throw std::runtime_error(file.string() + ": can't be read, or the marks of the table are missing");
    }
    std::ostringstream table;
    table << machine << "\n\n| operation | ours | counterpart | ratio | goal | |\n"
          << "| --- | ---: | ---: | ---: | --- | --- |\n";
    for (Comparison const& comparison : comparisons) {
        table << "| " << comparison.row->title << " | " << text(*comparison.row, comparison.ours) << " | "
              << text(*comparison.row, comparison.counterpart) << " | " << ratioText(comparison) << " | "
              << goalText(*comparison.row) << " | " << comparison.verdict() << " |\n";
    }
    std::size_t const from = begin + std::string_view(beginMark).size();
    content.replace(from, end - from, table.str());
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
