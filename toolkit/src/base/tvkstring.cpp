#include <tvkcore/base/tvkstring.h>

unsigned int const TVKString::npos = ~0U;

TVKString::TVKString(char const* text) : text_(text == nullptr ? "" : text) {}

TVKString::TVKString(char const* text, unsigned int count) {
    if (text != nullptr) {
        text_.assign(text, count);
    }
}

TVKString::TVKString(TVKString const& other, unsigned int position, unsigned int count) {
    if (position < other.text_.size()) {
        text_.assign(other.text_, position, count == npos ? std::string::npos : count);
    }
}

TVKString& TVKString::operator+=(char const* text) {
    if (text != nullptr) {
        text_ += text;
    }
    return *this;
}

char const* TVKString::c_str() const { return text_.c_str(); }

unsigned int TVKString::length() const { return static_cast<unsigned int>(text_.size()); }

unsigned int TVKString::size() const { return length(); }

int TVKString::compare(TVKString const& other) const { return text_.compare(other.text_); }

int TVKString::compare(char const* text) const { return text_.compare(text == nullptr ? "" : text); }

std::string_view TVKString::view() const { return text_; }
