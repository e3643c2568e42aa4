// Whether anything of a secret is left in the memory of a process that has come to its end, or in a text.
#pragma once

#include "support/bytes.h"

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

struct evp_pkey_st;

namespace test_support {

class Secrets {
public:
    // The bytes as they are, from the last to the first as libcrypto's numbers stand in memory, and as text:
    // hexadecimal and base64.
    void add(std::string const& name, std::string_view bytes);
    void add(evp_pkey_st* rsaPrivateKey); // its numbers, but for those that the public key has

    // The names of the secrets of which some bytes stand there one after the other, and how often.
    std::map<std::string, int> foundIn(std::string_view bytes) const;

private:
    void addForm(std::string const& name, std::string_view form);

    std::map<std::string, std::string, std::less<>> pieces_;
    std::set<std::uint32_t> starts_;
};

// Runs the body in a process of its own, or the program that the body executes there, and looks for the
// secrets, which are asked for then, in all memory that the process could write, right before it is gone:
// what it undoes it has undone. `status` is that of waitpid.
std::map<std::string, int> leftAtTheEnd(std::function<void()> const& body,
                                        std::function<Secrets()> const& secrets, int& status);

} // namespace test_support
