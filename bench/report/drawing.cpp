#include "drawing.h"

namespace report {

Drawing::Drawing(double width, double height) : height_(height) {
    out_.precision(1);
    out_ << std::fixed << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << ' '
         << height_ << "\" width=\"" << width << "\" height=\"" << height_
         << "\" font-family=\"sans-serif\" font-size=\"12\">\n";
    rectangle(0, 0, width, height_, "#ffffff");
}

void Drawing::rectangle(double x, double y, double width, double height, char const* color) {
    out_ << "<rect x=\"" << x << "\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << height
         << "\" fill=\"" << color << "\"/>\n";
}

void Drawing::line(double x1, double y1, double x2, double y2, char const* color, double width) {
    out_ << "<line x1=\"" << x1 << "\" y1=\"" << y1 << "\" x2=\"" << x2 << "\" y2=\"" << y2 << "\" stroke=\""
         << color << "\" stroke-width=\"" << width << "\"/>\n";
}

void Drawing::disc(double x, double y, double radius, char const* color) {
    out_ << "<circle cx=\"" << x << "\" cy=\"" << y << "\" r=\"" << radius << "\" fill=\"" << color
         << "\"/>\n";
}

void Drawing::text(double x, double y, char const* anchor, std::string const& content, char const* color) {
    out_ << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\" fill=\"" << color
         << "\">" << content << "</text>\n";
}

std::string Drawing::finish() {
    out_ << "</svg>\n";
    return out_.str();
}

} // namespace report
