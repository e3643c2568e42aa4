// How the layer and a token worker put values into the messages between them: words, and byte strings with
// their length. Both sides are the same build on one machine, so words stand in its byte order.
#pragma once

#include "bytes.h"

namespace wincrypt {

// A message may hold a PIN or clear text: it is wiped.
class MessageWriter {
public:
    MessageWriter& word(std::uint32_t value) {
        auto const* const octets = reinterpret_cast<std::uint8_t const*>(&value);
        bytes_.insert(bytes_.end(), octets, octets + sizeof value);
        return *this;
    }
    MessageWriter& bytes(ByteView value) {
        word(static_cast<std::uint32_t>(value.size()));
        bytes_.insert(bytes_.end(), value.begin(), value.end());
        return *this;
    }
    MessageWriter& text(std::string_view value) { return bytes(viewOf(value)); }

    MessageWriter& append(MessageWriter const& other) {
        bytes_.insert(bytes_.end(), other.bytes_.begin(), other.bytes_.end());
        return *this;
    }

    ByteView view() const noexcept { return bytes_; }

private:
    SecureBytes bytes_;
};

// What is read are views into the message. Error: SCARD_F_COMM_ERROR for a message that is too short.
class MessageReader {
public:
    explicit MessageReader(ByteView message) noexcept : rest_(message) {}

    std::uint32_t word() {
        std::uint32_t value = 0;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return value;
    }
    ByteView bytes() { return take(word()); }
    std::string text() {
        ByteView const octets = bytes();
        return {octets.begin(), octets.end()};
    }
    Bytes copy() {
        ByteView const octets = bytes();
        return {octets.begin(), octets.end()};
    }

private:
    ByteView take(std::size_t size) {
        if (size > rest_.size())
            fail(SCARD_F_COMM_ERROR);
        ByteView const taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }

    ByteView rest_;
};

inline constexpr std::uint32_t longestMessage = 1u << 26;

} // namespace wincrypt
