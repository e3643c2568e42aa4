#include "chart.h"

#include "drawing.h"

#include <algorithm>
#include <cmath>

namespace report {

namespace {

constexpr double labelWidth = 250;
constexpr double plotWidth = 560;
constexpr double rightMargin = 90;
constexpr double top = 56;
constexpr double rowHeight = 26;
constexpr double barHeight = 9;
constexpr double bottom = 30;
// The powers of ten that the scale reaches over, in seconds.
constexpr int shortest = -7;
constexpr int longest = 0;

char const* const oursColor = "#2b6cb0";
char const* const shortColor = "#c05621";
char const* const counterpartColor = "#a0aec0";

double place(double seconds) {
    double const decades = std::log10(seconds) - shortest;
    return labelWidth + plotWidth * std::min(std::max(decades / (longest - shortest), 0.0), 1.0);
}

void drawScale(Drawing& drawing) {
    for (int power = shortest; power <= longest; ++power) {
        double const seconds = std::pow(10.0, power);
        drawing.line(place(seconds), top - 4, place(seconds), drawing.height() - bottom, "#e2e8f0", 1);
        drawing.text(place(seconds), drawing.height() - bottom + 16, "middle", roundTimeText(seconds));
    }
}

void drawLegend(Drawing& drawing) {
    struct Entry {
        char const* color;
        char const* text;
    };
    constexpr double step = 150;
    double x = labelWidth;
    for (Entry const& entry : {Entry{oursColor, "ours"}, Entry{shortColor, "ours, short of the goal"},
                               Entry{counterpartColor, "counterpart"}}) {
        drawing.rectangle(x, 22, 12, barHeight, entry.color);
        drawing.text(x + 18, 31, "start", entry.text);
        x += step + (entry.color == shortColor ? 20 : 0);
    }
    drawing.line(x + 4, 20, x + 4, 33, "#1a202c", 2);
    drawing.text(x + 12, 31, "start", "goal");
}

} // namespace

std::string chart(std::vector<Comparison> comparisons) {
    std::erase_if(comparisons, [](Comparison const& each) { return each.row->unit != Unit::seconds; });
    Drawing drawing(labelWidth + plotWidth + rightMargin,
                    top + rowHeight * static_cast<double>(comparisons.size()) + bottom);
    drawScale(drawing);
    drawLegend(drawing);
    double y = top;
    for (Comparison const& comparison : comparisons) {
        drawing.text(labelWidth - 8, y + 14, "end", comparison.row->title);
        if (comparison.isMeasured()) {
            double const ours = place(*comparison.ours);
            drawing.rectangle(labelWidth, y, ours - labelWidth, barHeight,
                              comparison.isMet() ? oursColor : shortColor);
            drawing.rectangle(labelWidth, y + barHeight + 1, place(*comparison.counterpart) - labelWidth,
                              barHeight, counterpartColor);
            double const goal = place(goalFigure(*comparison.row, *comparison.counterpart));
            drawing.line(goal, y - 2, goal, y + barHeight + 2, "#1a202c", 2);
            drawing.text(std::max(ours, goal) + 6, y + 9, "start", timeText(*comparison.ours));
        }
        y += rowHeight;
    }
    return drawing.finish();
}

} // namespace report
