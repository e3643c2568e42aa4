#include "pem.h"

#include "libcrypto_objects.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

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

std::optional<SecretBytes> decodePem(PemBlock const& block) {
    CryptoObject<BIO> const input(BIO_new_mem_buf(block.text.data(), static_cast<int>(block.text.size())));
    if (input == nullptr) {
        throw std::bad_alloc();
    }
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long length = 0;
    if (PEM_read_bio(input.get(), &name, &header, &data, &length) != 1) {
        ERR_clear_error();
        return std::nullopt;
    }
    std::optional<SecretBytes> content(std::in_place);
    append(*content, {reinterpret_cast<char const*>(data), static_cast<std::size_t>(length)});
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_clear_free(data, static_cast<std::size_t>(length));
    return content;
}

bool isCertificate(std::string_view pemName) {
    return pemName == PEM_STRING_X509 || pemName == PEM_STRING_X509_OLD;
}

bool isPublicKey(std::string_view pemName) { return pemName == PEM_STRING_PUBLIC; }

bool isPrivateKey(std::string_view pemName) { return pemName.ends_with("PRIVATE KEY"); }

SecretBytes encodePem(std::string_view name, std::string_view bytes) {
    constexpr std::size_t bytesInLine = 48;
    SecretBytes text;
    auto const addLine = [&](std::string_view begin, std::string_view what, std::string_view end) {
        append(text, begin);
        append(text, what);
        append(text, end);
    };
    addLine(kBegin, name, "-----\n");
    // Room for the digits of a line and the zero behind them.
    SecretBytes line(bytesInLine / 3 * 4 + 1);
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytesInLine, bytes.size()))) {
        std::string_view const part = bytes.substr(0, bytesInLine);
        int const length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(line.data()),
                                           reinterpret_cast<unsigned char const*>(part.data()),
                                           static_cast<int>(part.size()));
        addLine("", {line.data(), static_cast<std::size_t>(length)}, "\n");
    }
    addLine("-----END ", name, "-----\n");
    return text;
}

} // namespace tvkstore
