#include "object_id.h"

#include <algorithm>
#include <charconv>

namespace wincrypt {
namespace {

char* writeNumber(char* to, std::uint64_t value) {
    constexpr std::ptrdiff_t longest = 20;
    if (value < 10) { // as most arcs are
        *to = static_cast<char>('0' + value);
        return to + 1;
    }
    return std::to_chars(to, to + longest, value).ptr;
}

// An arc of more than 64 bits, as UUIDs make them: decimal by repeated multiplication. `less` is what the
// first arc takes off.
char* writeLongArc(char* to, ByteView octets, unsigned less) {
    std::string digits = "0"; // least significant first
    for (std::uint8_t const octet : octets) {
        unsigned carry = octet & 0x7F;
        for (char& digit : digits) {
            carry += static_cast<unsigned>(digit - '0') * 128;
            digit = static_cast<char>('0' + carry % 10);
            carry /= 10;
        }
        for (; carry != 0; carry /= 10)
            digits += static_cast<char>('0' + carry % 10);
    }
    for (char& digit : digits) {
        unsigned const taken = less % 10;
        less /= 10;
        if (static_cast<unsigned>(digit - '0') >= taken) {
            digit = static_cast<char>(digit - static_cast<char>(taken));
        } else {
            digit = static_cast<char>(digit + 10 - static_cast<char>(taken));
            ++less;
        }
    }
    return std::copy(digits.rbegin(), digits.rend(), to);
}

} // namespace

bool isObjectId(ByteView content) noexcept {
    if (content.empty() || content.size() > 128 || (content.back() & 0x80) != 0)
        return false;
    bool begins = true; // an arc, which 0x80 in front would only lengthen (X.690, 8.19.2)
    for (std::uint8_t const octet : content) {
        if (begins && octet == 0x80)
            return false;
        begins = (octet & 0x80) == 0;
    }
    return true;
}

char* writeObjectId(char* to, ByteView content) {
    if (!isObjectId(content))
        return nullptr;
    bool isFirst = true;
    for (std::size_t begin = 0; begin < content.size();) {
        std::size_t end = begin;
        std::uint64_t arc = 0;
        for (;; ++end) {
            arc = arc << 7 | (content[end] & 0x7F);
            if ((content[end] & 0x80) == 0)
                break;
        }
        ByteView const octets = content.subspan(begin, end + 1 - begin);
        bool const isLong = octets.size() > 9;
        unsigned less = 0;
        if (isFirst) {
            unsigned const root = isLong || arc >= 80 ? 2 : arc >= 40 ? 1 : 0;
            *to++ = static_cast<char>('0' + root);
            less = root * 40;
            isFirst = false;
        }
        *to++ = '.';
        to = isLong ? writeLongArc(to, octets, less) : writeNumber(to, arc - less);
        begin = end + 1;
    }
    return to;
}

std::optional<Bytes> objectIdContent(std::string_view dotted) {
    Bytes content;
    std::uint64_t root = 0;
    for (std::size_t number = 0;; ++number) {
        std::uint64_t arc = 0;
        auto const [end, error] = std::from_chars(dotted.data(), dotted.data() + dotted.size(), arc);
        if (error != std::errc{} || end == dotted.data())
            return std::nullopt;
        dotted.remove_prefix(static_cast<std::size_t>(end - dotted.data()));
        if (number == 0) {
            if (arc > 2)
                return std::nullopt;
            root = arc;
        } else {
            if (number == 1) {
                if ((root < 2 && arc > 39) || arc > UINT64_MAX - 80)
                    return std::nullopt;
                arc += root * 40;
            }
            int shift = 63;
            while (shift > 0 && arc >> shift == 0)
                shift -= 7;
            for (; shift > 0; shift -= 7)
                content.push_back(static_cast<std::uint8_t>(0x80 | (arc >> shift & 0x7F)));
            content.push_back(static_cast<std::uint8_t>(arc & 0x7F));
        }
        if (dotted.empty())
            return number == 0 ? std::nullopt : std::optional(std::move(content));
        if (dotted.front() != '.')
            return std::nullopt;
        dotted.remove_prefix(1);
    }
}

} // namespace wincrypt
