#pragma once

#include <sstream>
#include <string>

namespace report {

// An SVG drawing on white.
class Drawing {
public:
    Drawing(double width, double height);

    void rectangle(double x, double y, double width, double height, char const* color);
    void line(double x1, double y1, double x2, double y2, char const* color, double width);
    void disc(double x, double y, double radius, char const* color);
    void text(double x, double y, char const* anchor, std::string const& content,
              char const* color = "#1a202c");

    double height() const { return height_; }

    // The whole file. Nothing is drawn behind that.
    std::string finish();

private:
    std::ostringstream out_;
    double height_;
};

} // namespace report
