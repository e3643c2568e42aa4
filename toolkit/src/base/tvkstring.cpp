#include <tvkcore/base/tvkstring.h>

unsigned int const TVKString::npos = ~0U;

TVKString::TVKString(char const* text) : m_text(text == nullptr ? "" : text) {}

TVKString::TVKString(char const* text, unsigned int count) {
    if (text != nullptr) {
        m_text.assign(text, count);
    }
}

TVKString::TVKString(TVKString const& other, unsigned int position, unsigned int count) {
    if (position < other.m_text.size()) {
        m_text.assign(other.m_text, position, count == npos ? std::string::npos : count);
    }
}

TVKString& TVKString::operator+=(char const* text) {
    if (text != nullptr) {
        m_text += text;
    }
    return *this;
}

char const* TVKString::c_str() const { return m_text.c_str(); }

unsigned int TVKString::length() const { return static_cast<unsigned int>(m_text.size()); }

unsigned int TVKString::size() const { return length(); }

int TVKString::compare(TVKString const& other) const { return m_text.compare(other.m_text); }

int TVKString::compare(char const* text) const { return m_text.compare(text == nullptr ? "" : text); }

std::string_view TVKString::view() const { return m_text; }
