#include "support/certificate_series.h"

#include "support/libcrypto.h"

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <cstdlib>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::size_t numberSize = 4;

std::vector<Bytes> readBundle() {
    char const* const variable = std::getenv("SSL_CERT_FILE");
    std::string const file = variable != nullptr ? variable : "/etc/ssl/certs/ca-certificates.crt";
    Crypto<BIO> const in(BIO_new_file(file.c_str(), "r"));
    requireCrypto(in != nullptr, file);
    std::vector<Bytes> found;
    for (;;) {
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* data = nullptr;
        long length = 0;
        if (PEM_read_bio(in.get(), &name, &header, &data, &length) != 1) {
            break;
        }
        found.emplace_back(data, data + length);
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
    }
    ERR_clear_error(); // the end of the file is an error there
    constexpr std::size_t enough = 20;
    if (found.size() < enough) {
        throw std::runtime_error(file + ": too few certificates to measure with");
    }
    return found;
}

// Where the content of the serial number stands, and its length.
struct Place {
    std::size_t offset = 0;
    std::size_t length = 0;
};

Place serialNumberOf(Bytes const& certificate) {
    unsigned char const* at = certificate.data();
    unsigned char const* const end = at + certificate.size();
    long length = 0;
    int tag = 0;
    int kind = 0;
    auto const enter = [&](int wanted) {
        requireCrypto((ASN1_get_object(&at, &length, &tag, &kind, end - at) & 0x80) == 0 && tag == wanted,
                      "root certificate");
    };
    enter(V_ASN1_SEQUENCE);
    enter(V_ASN1_SEQUENCE);
    unsigned char const* const first = at;
    enter(*at == 0xA0 ? 0 : V_ASN1_INTEGER);
    if (*first == 0xA0) {
        at += length;
        enter(V_ASN1_INTEGER);
    }
    return {static_cast<std::size_t>(at - certificate.data()), static_cast<std::size_t>(length)};
}

} // namespace

CertificateSeries::CertificateSeries() : roots_(readBundle()) {
    for (Bytes const& root : roots_) {
        Place const serial = serialNumberOf(root);
        // The first octets stay, so that the number stays positive and in its shortest form.
        if (serial.length >= 2 * numberSize) {
            templates_.push_back({root, serial.offset + serial.length - numberSize});
        }
    }
    if (templates_.size() < 2) {
        throw std::runtime_error("too few root certificates with long serial numbers");
    }
    landmark_ = templates_.back().encoding;
    templates_.pop_back();
}

Bytes CertificateSeries::certificate(std::uint32_t number) const {
    Template const& model = templates_[number % templates_.size()];
    Bytes encoding = model.encoding;
    for (std::size_t i = 0; i < numberSize; ++i) {
        encoding[model.number + i] = static_cast<std::uint8_t>(number >> (8 * (numberSize - 1 - i)));
    }
    return encoding;
}

} // namespace bench
