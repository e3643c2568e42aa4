#include "pem.h"

#include <algorithm>

namespace tvkstore {

namespace {

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kDashes = "-----";

// Where the next block's first line starts.
std::size_t nextBlock(std::string_view content, std::size_t from) {
    for (;;) {
        std::size_t const place = content.find(kBegin, from);
        if (place == std::string_view::npos || place == 0 || content[place - 1] == '\n') {
            return place;
        }
        from = place + 1;
    }
}

} // namespace

std::vector<PemBlock> splitPem(std::string_view content) {
    std::vector<PemBlock> blocks;
    for (std::size_t begin = nextBlock(content, 0); begin != std::string_view::npos;) {
        std::size_t const next = nextBlock(content, begin + 1);
        std::string_view const text = content.substr(begin, next - begin);
        std::string_view const line = text.substr(kBegin.size(), text.find('\n') - kBegin.size());
        blocks.push_back({line.substr(0, line.find(kDashes)), text});
        begin = next;
    }
    return blocks;
}

bool isCertificate(std::string_view pemName) {
    return pemName == kPemCertificate || pemName == "X509 CERTIFICATE";
}

bool isPublicKey(std::string_view pemName) { return pemName == kPemPublicKey; }

bool isPrivateKey(std::string_view pemName) { return pemName.ends_with(kPemPrivateKey); }

SecretBytes encodePem(std::string_view name, std::string_view bytes) {
    constexpr std::size_t bytesInLine = 48;
    SecretBytes text;
    auto const addLine = [&](std::string_view begin, std::string_view what, std::string_view end) {
        append(text, begin);
        append(text, what);
        append(text, end);
    };
    addLine(kBegin, name, "-----\n");
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytesInLine, bytes.size()))) {
        addLine("", bytesOf(encodePemLine(bytes.substr(0, bytesInLine))), "\n");
    }
    addLine("-----END ", name, "-----\n");
    return text;
}

} // namespace tvkstore
