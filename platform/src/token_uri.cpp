#include "token_uri.h"

#include "text.h"

#include <algorithm>

namespace wincrypt {
namespace {

constexpr std::string_view scheme = "pkcs11:";

int digit(char character) {
    if (character >= '0' && character <= '9')
        return character - '0';
    char const lower = static_cast<char>(character | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<std::string> decoded(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        if (i + 2 >= text.size() || digit(text[i + 1]) < 0 || digit(text[i + 2]) < 0)
            return std::nullopt;
        result += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
        i += 2;
    }
    return isUtf8(result) ? std::optional(result) : std::nullopt;
}

bool isPassedBy(std::string_view name) {
    static constexpr std::string_view ofObjects[] = {
        "object", "type", "id", "slot-id", "slot-description", "slot-manufacturer"};
    return std::find(std::begin(ofObjects), std::end(ofObjects), name) != std::end(ofObjects);
}

// Hands each attribute to the reader; false as soon as one is wrong.
template <class Reader>
bool readAttributes(std::string_view text, char separator, Reader reader) {
    while (!text.empty()) {
        std::string_view const attribute = text.substr(0, text.find(separator));
        text.remove_prefix(std::min(text.size(), attribute.size() + 1));
        std::size_t const equals = attribute.find('=');
        if (equals == std::string_view::npos ||
            !reader(attribute.substr(0, equals), attribute.substr(equals + 1)))
            return false;
    }
    return true;
}

bool take(std::optional<std::string>& place, std::string_view value) {
    if (place)
        return false; // 2.3: no attribute twice
    place = decoded(value);
    return place.has_value();
}

} // namespace

bool isTokenUri(std::string_view name) { return name.substr(0, scheme.size()) == scheme; }

std::optional<TokenUri> parseTokenUri(std::string_view text) {
    if (!isTokenUri(text))
        return std::nullopt;
    text.remove_prefix(scheme.size());
    std::string_view const path = text.substr(0, text.find('?'));
    std::string_view const query = text.substr(std::min(text.size(), path.size() + 1));
    TokenUri uri;
    bool const good = readAttributes(path, ';',
                                     [&](std::string_view name, std::string_view value) {
                                         return name == "token"          ? take(uri.label, value)
                                                : name == "manufacturer" ? take(uri.manufacturer, value)
                                                : name == "model"        ? take(uri.model, value)
                                                : name == "serial"       ? take(uri.serial, value)
                                                                         : isPassedBy(name);
                                     }) &&
                      readAttributes(query, '&', [&](std::string_view name, std::string_view value) {
                          return name == "pin-source" ? take(uri.pinSource, value)
                                                      : name == "module-name" && take(uri.moduleName, value);
                      });
    return good ? std::optional(uri) : std::nullopt;
}

bool TokenUri::fits(TokenDescription const& token, std::string const& module) const {
    auto const fit = [](std::optional<std::string> const& wanted, std::string const& given) {
        return !wanted || *wanted == given;
    };
    return fit(label, token.label) && fit(manufacturer, token.manufacturer) && fit(model, token.model) &&
           fit(serial, token.serial) && fit(moduleName, module);
}

} // namespace wincrypt
