// A cursor over DER (X.690). It never allocates and never recurses; what it gives are views into its input.
// Lengths may stand in more octets than needed, as other decoders accept that; indefinite lengths are
// refused.
#pragma once

#include "bytes.h"

#include <optional>

namespace wincrypt {

namespace tag {
inline constexpr std::uint8_t boolean = 0x01;
inline constexpr std::uint8_t integer = 0x02;
inline constexpr std::uint8_t bitString = 0x03;
inline constexpr std::uint8_t octetString = 0x04;
inline constexpr std::uint8_t null = 0x05;
inline constexpr std::uint8_t objectId = 0x06;
inline constexpr std::uint8_t utf8String = 0x0C;
inline constexpr std::uint8_t numericString = 0x12;
inline constexpr std::uint8_t printableString = 0x13;
inline constexpr std::uint8_t teletexString = 0x14;
inline constexpr std::uint8_t ia5String = 0x16;
inline constexpr std::uint8_t utcTime = 0x17;
inline constexpr std::uint8_t generalizedTime = 0x18;
inline constexpr std::uint8_t visibleString = 0x1A;
inline constexpr std::uint8_t universalString = 0x1C;
inline constexpr std::uint8_t bmpString = 0x1E;
inline constexpr std::uint8_t sequence = 0x30;
inline constexpr std::uint8_t set = 0x31;
constexpr std::uint8_t context(unsigned number) { return static_cast<std::uint8_t>(0x80 | number); }
constexpr std::uint8_t contextConstructed(unsigned number) {
    return static_cast<std::uint8_t>(0xA0 | number);
}
} // namespace tag

struct DerElement {
    std::uint8_t tag = 0;
    ByteView content;
    ByteView whole; // with tag and length
};

class DerCursor {
public:
    explicit DerCursor(ByteView input) noexcept : rest_(input) {}

    bool atEnd() const noexcept { return rest_.empty(); }
    ByteView rest() const noexcept { return rest_; }
    std::uint8_t peek() const noexcept { return rest_.empty() ? 0 : rest_[0]; }

    // The next element; nothing at the end of the input and for a length that goes beyond it.
    std::optional<DerElement> next() noexcept {
        if (rest_.size() < 2 || (rest_[0] & 0x1F) == 0x1F)
            return std::nullopt;
        std::size_t header = 2;
        std::size_t length = rest_[1];
        if (length >= 0x80) {
            std::size_t const octets = length & 0x7F;
            if (octets == 0 || octets > sizeof length || rest_.size() < 2 + octets)
                return std::nullopt;
            length = 0;
            for (std::size_t i = 0; i < octets; ++i)
                length = length << 8 | rest_[2 + i];
            header += octets;
        }
        if (length > rest_.size() - header)
            return std::nullopt;
        DerElement const element{rest_[0], rest_.subspan(header, length), rest_.first(header + length)};
        rest_ = rest_.subspan(header + length);
        return element;
    }

    // The next element if it has this tag; else the cursor stays.
    std::optional<DerElement> next(std::uint8_t tag) noexcept {
        return peek() == tag ? next() : std::nullopt;
    }

private:
    ByteView rest_;
};

} // namespace wincrypt
