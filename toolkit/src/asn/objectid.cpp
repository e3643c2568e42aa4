#include "objectid.h"

#include <cstring>
#include <limits>
#include <vector>

namespace tvk {

namespace {

// The work for an arc grows with the square of its length, and nobody has arcs like these.
constexpr unsigned int kLongestSubidentifier = 586;

void appendSubidentifier(std::string& out, unsigned long number) {
    char octets[(sizeof number * 8 + 6) / 7];
    unsigned int at = sizeof octets;
    octets[--at] = static_cast<char>(number & 0x7F);
    while ((number >>= 7) != 0) {
        octets[--at] = static_cast<char>(0x80 | (number & 0x7F));
    }
    out.append(octets + at, sizeof octets - at);
}

// An unsigned number in decimal digits, least significant first.
class Decimal {
public:
    void timesPlus(unsigned int factor, unsigned int summand) {
        unsigned int carry = summand;
        for (unsigned char& digit : digits_) {
            carry += digit * factor;
            digit = static_cast<unsigned char>(carry % 10);
            carry /= 10;
        }
        for (; carry != 0; carry /= 10) {
            digits_.push_back(static_cast<unsigned char>(carry % 10));
        }
    }

    bool isAtLeast(unsigned int number) const {
        unsigned int value = 0;
        for (std::size_t i = digits_.size(); i > 0; --i) {
            value = value * 10 + digits_[i - 1];
            if (value >= number) {
                return true;
            }
        }
        return false;
    }

    void minus(unsigned int number) {
        for (std::size_t i = 0; number != 0; ++i) {
            int digit = digits_[i] - static_cast<int>(number % 10);
            number /= 10;
            if (digit < 0) {
                digit += 10;
                ++number;
            }
            digits_[i] = static_cast<unsigned char>(digit);
        }
        while (!digits_.empty() && digits_.back() == 0) {
            digits_.pop_back();
        }
    }

    void appendTo(std::string& out) const {
        if (digits_.empty()) {
            out += '0';
        }
        for (std::size_t i = digits_.size(); i > 0; --i) {
            out += static_cast<char>('0' + digits_[i - 1]);
        }
    }

private:
    std::vector<unsigned char> digits_;
};

} // namespace

std::string encodeObjectID(unsigned long const* arcs, unsigned int count) {
    std::string out;
    if (arcs == nullptr || count < 2 || arcs[0] > 2 || (arcs[0] < 2 && arcs[1] > 39) ||
        arcs[1] > std::numeric_limits<unsigned long>::max() - 80) {
        return out;
    }
    appendSubidentifier(out, 40 * arcs[0] + arcs[1]);
    for (unsigned int i = 2; i < count; ++i) {
        appendSubidentifier(out, arcs[i]);
    }
    return out;
}

bool equalsObjectID(unsigned char const* content, unsigned long length, unsigned long const* arcs,
                    unsigned int count) {
    std::string const encoded = encodeObjectID(arcs, count);
    return !encoded.empty() && encoded.size() == length && std::memcmp(encoded.data(), content, length) == 0;
}

std::string dottedObjectID(unsigned char const* content, unsigned long length) {
    std::string out;
    Decimal number;
    unsigned int octets = 0;
    for (unsigned long i = 0; i < length; ++i) {
        if (++octets > kLongestSubidentifier) {
            return {};
        }
        number.timesPlus(128, content[i] & 0x7F);
        if ((content[i] & 0x80) != 0) {
            continue;
        }
        if (out.empty()) {
            unsigned int const root = number.isAtLeast(80) ? 2 : (number.isAtLeast(40) ? 1 : 0);
            number.minus(40 * root);
            out += static_cast<char>('0' + root);
        }
        out += '.';
        number.appendTo(out);
        number = Decimal();
        octets = 0;
    }
    return out;
}

} // namespace tvk
