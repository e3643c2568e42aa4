#include "chart.h"

#include <algorithm>
#include <cmath>
#include <sstream>

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

class Drawing {
public:
    explicit Drawing(std::size_t rowCount)
        : height_(top + rowHeight * static_cast<double>(rowCount) + bottom) {
        out_.precision(1);
        double const width = labelWidth + plotWidth + rightMargin;
        out_ << std::fixed << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << ' '
             << height_ << "\" width=\"" << width << "\" height=\"" << height_
             << "\" font-family=\"sans-serif\" font-size=\"12\">\n";
        rectangle(0, 0, width, height_, "#ffffff");
    }

    void rectangle(double x, double y, double width, double height, char const* color) {
        out_ << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << height
             << "\" fill=\"" << color << "\"/>\n";
    }

    void line(double x, double y1, double y2, char const* color, double width) {
        out_ << "<line x1=\"" << x << "\" y1=\"" << y1 << "\" x2=\"" << x << "\" y2=\"" << y2
             << "\" stroke=\"" << color << "\" stroke-width=\"" << width << "\"/>\n";
    }

    void text(double x, double y, char const* anchor, std::string const& content) {
        out_ << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\" fill=\"#1a202c\">"
             << content << "</text>\n";
    }

    double height() const { return height_; }
    std::string finish() {
        out_ << "</svg>\n";
        return out_.str();
    }

private:
    std::ostringstream out_;
    double height_;
};

void drawScale(Drawing& drawing) {
    for (int power = shortest; power <= longest; ++power) {
        double const seconds = std::pow(10.0, power);
        drawing.line(place(seconds), top - 4, drawing.height() - bottom, "#e2e8f0", 1);
        std::string label = timeText(seconds);
        if (std::size_t const point = label.find('.'); point != std::string::npos) {
            label.erase(point, label.find(' ') - point);
        }
        drawing.text(place(seconds), drawing.height() - bottom + 16, "middle", label);
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
    drawing.line(x + 4, 20, 33, "#1a202c", 2);
    drawing.text(x + 12, 31, "start", "goal");
}

} // namespace

std::string chart(std::vector<Comparison> comparisons) {
    std::erase_if(comparisons, [](Comparison const& each) { return each.row->unit != Unit::seconds; });
    Drawing drawing(comparisons.size());
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
            drawing.line(goal, y - 2, y + barHeight + 2, "#1a202c", 2);
            drawing.text(std::max(ours, goal) + 6, y + 9, "start", timeText(*comparison.ours));
        }
        y += rowHeight;
    }
    return drawing.finish();
}

} // namespace report
