#include "private_key.h"

#include "rsa_encoding_windows.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

namespace tvkstore {

namespace {

constexpr std::string_view kPemRsa = "RSA PRIVATE KEY";
constexpr std::string_view kPemEncrypted = "ENCRYPTED PRIVATE KEY";

// EncryptedPrivateKeyInfo (RFC 5208, 6).
class EncryptedPrivateKeyInfo : public TVKASNSequence {
public:
    EncryptedPrivateKeyInfo()
        : TVKASNSequence(TVKASNSecure), algorithm(TVKASNSecure), encryptedData(TVKASNSecure) {
        register_child(&algorithm);
        register_child(&encryptedData);
    }

    TVKASNAlgorithmID algorithm;
    TVKASNOctetString encryptedData;
};

Failure encrypted(std::string const& object) {
    return Failure(ExitCode::failed, object + ": the private key is encrypted, which this build can't undo",
                   {"it takes keys in clear: PKCS#8 or RSA, PEM or DER"});
}

Failure notRsa(std::string const& object, std::string const& kind) {
    return Failure(ExitCode::failed, object + ": holds a private key of kind " + kind,
                   {"the key has to be an RSA key"});
}

PrivateKey fromInfo(TVKASNPrivateKeyInfo const& info, std::string const& object) {
    if (!isRsa(info.privateKeyAlgorithm)) {
        throw notRsa(object, info.privateKeyAlgorithm.algorithm.get_dotted());
    }
    unsigned char* bytes = nullptr;
    unsigned long length = 0;
    RsaPrivateKey key;
    if (info.privateKey.get_value(bytes, length) != TVKASN_OK ||
        !decodeAll({reinterpret_cast<char const*>(bytes), length}, key)) {
        throw noPrivateKey(object);
    }
    PrivateKey result;
    result.key.setType(TVKKRYKey::Private);
    result.key.setFormat(TVKKRYKey::PrivateKeyInfo);
    result.key.setAlgorithm(TVKKRYKey::RSA);
    result.key.setKeyBlob(TVKASNUtility::getDEREncoding(info));
    result.publicKey = publicKeyEncoding(key);
    return result;
}

PrivateKey fromRsa(std::string_view encoding, std::string const& object) {
    TVKASNPrivateKeyInfo info(TVKASNSecure);
    TVKASNCBuffer const key = viewOf(encoding);
    info.version.set_value(0L);
    setRsa(info.privateKeyAlgorithm);
    info.privateKey.set_value(key.data, key.length);
    return fromInfo(info, object);
}

bool isEncrypted(PemBlock const& block) {
    return block.name == kPemEncrypted ||
           block.text.find("\nProc-Type: 4,ENCRYPTED") != std::string_view::npos;
}

} // namespace

PrivateKey decodePrivateKey(PemBlock const& block, std::string const& object, Passphrase&) {
    if (isEncrypted(block)) {
        throw encrypted(object);
    }
    std::optional<SecretBytes> const encoding = decodePem(block);
    if (!encoding) {
        throw noPrivateKey(object);
    }
    if (block.name == kPemRsa) {
        return fromRsa(bytesOf(*encoding), object);
    }
    if (block.name != kPemPrivateKey) {
        throw notRsa(object, std::string(block.name.substr(0, block.name.find(' '))));
    }
    TVKASNPrivateKeyInfo info(TVKASNSecure);
    if (!decodeAll(bytesOf(*encoding), info)) {
        throw noPrivateKey(object);
    }
    return fromInfo(info, object);
}

PrivateKey decodeDerPrivateKey(std::string_view der, std::string const& object, Passphrase&) {
    TVKASNPrivateKeyInfo info(TVKASNSecure);
    if (decodeAll(der, info)) {
        return fromInfo(info, object);
    }
    if (EncryptedPrivateKeyInfo sealed; decodeAll(der, sealed)) {
        throw encrypted(object);
    }
    return fromRsa(der, object);
}

} // namespace tvkstore
