#include "certificate_file.h"

#include "bytes.h"
#include "certificate_decoding.h"
#include "failure.h"
#include "pem.h"

namespace tvkstore {

namespace {

// The one of its kind in the file; a file without any is taken for its DER encoding.
std::string readOne(std::string const& path, bool (*isWanted)(std::string_view), char const* kinds) {
    // It may hold a private key as well.
    SecretBytes content = readSecretFile(path);
    std::vector<PemBlock> blocks = splitPem(bytesOf(content));
    std::erase_if(blocks, [&](PemBlock const& block) { return !isWanted(block.name); });
    if (blocks.size() > 1) {
        throw Failure(ExitCode::failed,
                      path + ": holds " + std::to_string(blocks.size()) + ' ' + kinds + ", not one");
    }
    std::optional<SecretBytes> const found = blocks.empty() ? std::move(content) : decodePem(blocks.front());
    return found ? std::string(bytesOf(*found)) : "";
}

} // namespace

std::string readCertificateFile(std::string const& path) {
    std::string encoding = readOne(path, isCertificate, "certificates");
    if (!isCertificateEncoding(encoding)) {
        throw Failure(ExitCode::failed, path + ": holds no certificate in PEM or DER");
    }
    return encoding;
}

std::string readPublicKeyFile(std::string const& path) {
    std::string encoding = readOne(path, isPublicKey, "public keys");
    if (!isPublicKeyEncoding(encoding)) {
        throw Failure(ExitCode::failed, path + ": holds no public key in PEM or DER");
    }
    return encoding;
}

} // namespace tvkstore
