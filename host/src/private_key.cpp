#include "private_key.h"

#include "bytes.h"

#include <vector>

namespace tvkstore {

PrivateKey readPrivateKeyFile(std::string const& path, Passphrase& passphrase) {
    SecretBytes const content = readSecretFile(path);
    std::vector<PemBlock> blocks = splitPem(bytesOf(content));
    if (blocks.empty()) {
        return decodeDerPrivateKey(bytesOf(content), path, passphrase);
    }
    std::erase_if(blocks, [](PemBlock const& block) { return !isPrivateKey(block.name); });
    if (blocks.empty()) {
        throw noPrivateKey(path);
    }
    if (blocks.size() > 1) {
        throw Failure(ExitCode::failed,
                      path + ": holds " + std::to_string(blocks.size()) + " private keys, not one");
    }
    return decodePrivateKey(blocks.front(), path, passphrase);
}

Failure noPrivateKey(std::string const& object) {
    return Failure(ExitCode::failed, object + ": holds no private key in PEM or DER");
}

} // namespace tvkstore
