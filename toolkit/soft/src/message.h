// A short message that comes in parts, for what takes it as a whole.
#pragma once

#include <tvkcore/base/tvkbuffer.h>

#include <optional>

namespace tvksoft {

// Throws TVKSOFT_NOT_STARTED: no Init came before.
[[noreturn]] void failNotStarted(char const* file, int line);

class Message {
public:
    explicit Message(unsigned long limit) : limit_(limit) {}

    void start() { collected_.emplace(); }
    void add(TVKASNCBuffer const& part); // throws TVKSOFT_TOO_LONG beyond the limit
    TVKBuffer take();

private:
    unsigned long limit_;
    std::optional<TVKBuffer> collected_;
};

} // namespace tvksoft
