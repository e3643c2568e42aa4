#include "scale.h"

#include "drawing.h"
#include "rows.h"

#include <algorithm>
#include <cmath>

namespace report {

namespace {

struct Series {
    char const* title;
    char const* name; // of the measurement, before the number
    char const* color;
};

constexpr Series allSeries[] = {
    {"walk, each", "walk/module/", "#2b6cb0"},
    {"search by issuer and serial, each passed", "search/issuer and serial number/", "#2f855a"},
    {"open cold, first item", "cold open/module/", "#805ad5"},
    {"durable insert", "insert/layer/", "#c05621"},
    {"durable delete", "delete/layer/", "#b83280"},
    {"sign, of so many containers", "sign/module/", "#4a5568"},
};

constexpr int sizes[] = {1, 100, 1'000, 10'000, 100'000};

std::string sizeText(int size) {
    return size < 1'000 ? std::to_string(size) : std::to_string(size / 1'000) + ",000";
}

std::string cell(std::optional<double> seconds) { return seconds ? timeText(*seconds) : ""; }

constexpr double left = 70;
constexpr double plotWidth = 520;
constexpr double right = 260;
constexpr double top = 20;
constexpr double plotHeight = 320;
constexpr double bottom = 44;
constexpr double decadesAcross = 5; // from 1 to 100,000
// The powers of ten that the scale of time reaches over, in seconds.
constexpr int shortest = -6;
constexpr int longest = -2;

double placeAcross(double size) { return left + plotWidth * std::log10(size) / decadesAcross; }

double placeUp(double seconds) {
    double const share = (std::log10(seconds) - shortest) / (longest - shortest);
    return top + plotHeight * (1 - std::clamp(share, 0.0, 1.0));
}

void drawScales(Drawing& drawing) {
    constexpr char const* grid = "#e2e8f0";
    for (int power = shortest; power <= longest; ++power) {
        double const y = placeUp(std::pow(10.0, power));
        drawing.line(left, y, left + plotWidth, y, grid, 1);
        drawing.text(left - 8, y + 4, "end", roundTimeText(std::pow(10.0, power)));
    }
    for (int const size : sizes) {
        drawing.line(placeAcross(size), top, placeAcross(size), top + plotHeight, grid, 1);
        drawing.text(placeAcross(size), top + plotHeight + 16, "middle", sizeText(size));
    }
    drawing.text(left + plotWidth / 2, top + plotHeight + 36, "middle", "certificates, or key containers");
}

// Where each label goes: beside its line's end, but no two on one another.
void drawLabel(Drawing& drawing, Series const& series, double y, std::vector<double>& taken) {
    constexpr double lineHeight = 15;
    std::sort(taken.begin(), taken.end());
    for (double const other : taken) {
        if (std::abs(other - y) < lineHeight) {
            y = other + lineHeight;
        }
    }
    taken.push_back(y);
    drawing.text(left + plotWidth + 12, y + 4, "start", series.title, series.color);
}

} // namespace

std::string scaleTable(Results const& results) {
    std::string table = "| operation |";
    std::string rule = "| --- |";
    for (int const size : sizes) {
        table += ' ' + sizeText(size) + " |";
        rule += " ---: |";
    }
    table += '\n' + rule + '\n';
    for (Series const& series : allSeries) {
        table += std::string("| ") + series.title + " |";
        for (int const size : sizes) {
            table += ' ' + cell(results.median(series.name + std::to_string(size))) + " |";
        }
        table += '\n';
    }
    return table;
}

std::string scaleChart(Results const& results) {
    Drawing drawing(left + plotWidth + right, top + plotHeight + bottom);
    drawScales(drawing);
    std::vector<double> taken;
    for (Series const& series : allSeries) {
        double formerX = 0;
        double formerY = 0;
        for (int const size : sizes) {
            std::optional<double> const seconds = results.median(series.name + std::to_string(size));
            if (!seconds) {
                continue;
            }
            double const x = placeAcross(size);
            double const y = placeUp(*seconds);
            drawing.disc(x, y, 3, series.color);
            if (formerX > 0) {
                drawing.line(formerX, formerY, x, y, series.color, 1.5);
            }
            formerX = x;
            formerY = y;
        }
        if (formerX > 0) {
            drawLabel(drawing, series, formerY, taken);
        }
    }
    return drawing.finish();
}

} // namespace report
