// Where a token's PIN comes from, and where it is kept.
#pragma once

#include "bytes.h"

#include <optional>

namespace wincrypt {

// Room for one PIN that isn't written to swap or core files and is wiped when the process ends. Guarded by
// ProcessLock::tokens; never destroyed.
class PinMemory {
public:
    void set(ByteView pin); // an empty one wipes
    bool holds(ByteView pin) const noexcept;
    SecureBytes copy() const;
    bool empty() const noexcept { return size_ == 0; }

private:
    void lockPage() noexcept;

    std::uint8_t* page_ = nullptr;
    std::size_t size_ = 0;
    pid_t lockedFor_ = 0; // a fork's child has to lock its copy itself

    friend void wipePins() noexcept;
};

struct PinSource {
    enum class Kind { file, variable, person } kind;
    std::string name; // path or variable

    // What there is to ask: the source of the URI, then WINCRYPT_PIN_SOURCE, then the credential of the
    // service, then a person. Error: ERROR_BAD_ARGUMENTS for a variable that says something else.
    static PinSource inUse(std::string const& uriSource);

    // Nothing but a person's answer is asked for elsewhere. Error: SCARD_W_CARD_NOT_AUTHENTICATED when there
    // is no PIN in it.
    SecureBytes read() const;
};

} // namespace wincrypt
