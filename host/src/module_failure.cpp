#include "module_failure.h"

#include "layer_hints.h"

#include <tvkcore/asn/tvkasnobject.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <string_view>

namespace tvkstore {

namespace {

struct SystemCode {
    std::uint32_t value;
    char const* meaning;
    ExitCode exitCode;
    char const* hint;       // null where none helps
    char const* moduleText; // the text by which the module gives this value without a number, or null
};

// What the user can do something about, in numeric order.
std::array const kSystemCodes{
    SystemCode{2, "file not found", ExitCode::failed, nullptr, nullptr},
    SystemCode{3, "path not found", ExitCode::failed, kHintHome, nullptr},
    SystemCode{5, "access denied", ExitCode::refused, kHintFile, nullptr},
    SystemCode{8, "out of memory", ExitCode::failed, nullptr, "The operating system ran out of memory"},
    SystemCode{13, "invalid data", ExitCode::damaged, kHintRestore, nullptr},
    SystemCode{112, "disk full", ExitCode::failed, nullptr, nullptr},
    SystemCode{170, "busy", ExitCode::failed, "another process uses it: try again", nullptr},
    SystemCode{1117, "input or output error", ExitCode::failed, nullptr, nullptr},
    SystemCode{1223, "cancelled", ExitCode::refused, nullptr, nullptr},
    SystemCode{1306, "made by a newer release", ExitCode::failed,
               "nothing was changed: use the release that made it, or a newer one", nullptr},
    SystemCode{1392, "file damaged", ExitCode::damaged, kHintRestore, nullptr},
    SystemCode{0x80070005, "access denied", ExitCode::refused, nullptr,
               "the store was opened as read-only and a delete operation is not allowed"},
    SystemCode{0x8009000F, "exists already", ExitCode::failed, nullptr, nullptr},
    SystemCode{0x80090010, "permission denied", ExitCode::refused, nullptr, nullptr},
    SystemCode{0x8009001A, "key container damaged", ExitCode::damaged, kHintRestore,
               "the pszContainer key container was found but is corrupt."},
    SystemCode{0x80090022, "nobody can be asked for the PIN", ExitCode::refused, kHintPin, nullptr},
    SystemCode{0x8010000A, "the token doesn't answer", ExitCode::failed, kHintToken, nullptr},
    SystemCode{0x8010000C, "no such token", ExitCode::usage, kHintTokenUri, nullptr},
    SystemCode{0x80100013, "the token's module broke down", ExitCode::failed, kHintToken, nullptr},
    SystemCode{0x80100069, "the token isn't there", ExitCode::failed, nullptr, nullptr},
    SystemCode{0x8010006B, "wrong PIN", ExitCode::refused, kHintPin, nullptr},
    SystemCode{0x8010006C, "PIN blocked", ExitCode::refused, nullptr, nullptr},
    SystemCode{0x8010006E, "cancelled", ExitCode::refused, nullptr, nullptr},
    SystemCode{0x8010006F, "no PIN was given to the token", ExitCode::refused, kHintPin, nullptr},
};

// The module's code for an operation that the user cancelled, which comes without a system code.
constexpr int kCancelled = 578010;

// The failures of the module that speak of a system code end in this and its digits.
constexpr std::string_view kDigitsFollow = "rc=0x";

std::string textOf(TVKException const& exception) {
    if (dynamic_cast<TVKASNException const*>(&exception) != nullptr && exception.getMessage().length() == 0) {
        return tvkasnStatusText(exception.getCode());
    }
    std::string text = exception.what();
    while (text.ends_with('.') || text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

} // namespace

std::optional<std::uint32_t> systemCodeOf(TVKException const& exception) {
    if (auto const* capi = dynamic_cast<TVKCAPIException const*>(&exception);
        capi != nullptr && capi->hasSystemCode()) {
        return static_cast<std::uint32_t>(capi->getSystemCode());
    }
    std::string_view const message = exception.getMessage().view();
    if (std::size_t const place = message.rfind(kDigitsFollow); place != std::string_view::npos) {
        std::string_view const digits = message.substr(place + kDigitsFollow.size());
        std::uint32_t value = 0;
        auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (error == std::errc() && end == digits.data() + digits.size()) {
            return value;
        }
    }
    auto const* const row =
        std::find_if(kSystemCodes.begin(), kSystemCodes.end(), [&](SystemCode const& known) {
            return known.moduleText != nullptr && message == known.moduleText;
        });
    return row == kSystemCodes.end() ? std::nullopt : std::optional(row->value);
}

Failure moduleFailure(std::string const& what, TVKException const& exception) {
    ExitCode exitCode = exception.getCode() == kCancelled ? ExitCode::refused : ExitCode::failed;
    std::vector<std::string> hints;
    std::string codes = "code " + std::to_string(exception.getCode());
    if (std::optional<std::uint32_t> const value = systemCodeOf(exception)) {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%x", *value);
        codes += std::string(", system code 0x") + digits;
        auto const* const row = std::find_if(kSystemCodes.begin(), kSystemCodes.end(),
                                             [&](SystemCode const& known) { return known.value == *value; });
        if (row != kSystemCodes.end()) {
            codes += std::string(", ") + row->meaning;
            exitCode = row->exitCode;
            if (row->hint != nullptr) {
                hints.emplace_back(row->hint);
            }
        }
    }
    return Failure(exitCode, what + ": " + textOf(exception) + " (" + codes + ")", std::move(hints));
}

} // namespace tvkstore
