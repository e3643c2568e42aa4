#include "token_settings.h"

#include "log.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>

namespace wincrypt {
namespace {

std::chrono::milliseconds secondsIn(char const* variable, double otherwise, bool mayBeNone) {
    constexpr double least = 0.01;
    constexpr double most = 24 * 3600;
    double seconds = otherwise;
    if (char const* const text = ::secure_getenv(variable); text != nullptr && *text != '\0') {
        char const* const end = text + std::strlen(text);
        double given = 0;
        auto const [stopped, error] = std::from_chars(text, end, given);
        if (error == std::errc() && stopped == end && (given >= least || (mayBeNone && given == 0)) &&
            given <= most)
            seconds = given;
        else
            logLine(variable, std::string(text) + " is no number of seconds; " +
                                  std::to_string(static_cast<int>(otherwise)) + " are taken");
    }
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

} // namespace

std::chrono::milliseconds discoveryLimit() { return secondsIn("WINCRYPT_TOKEN_DISCOVERY_TIMEOUT", 5, true); }

std::chrono::milliseconds callLimit() { return secondsIn("WINCRYPT_TOKEN_TIMEOUT", 30, false); }

} // namespace wincrypt
