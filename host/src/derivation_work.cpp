#include "derivation_work.h"

#include "failure.h"
#include "libcrypto_objects.h"

#include <openssl/asn1t.h>
#include <openssl/err.h>

#include <algorithm>
#include <limits>

namespace tvkstore {

namespace {

constexpr std::uint64_t most = 5'000'000;
constexpr std::uint64_t uncountable = std::numeric_limits<std::uint32_t>::max();

template <typename Parameters>
CryptoObject<Parameters> decoded(X509_ALGOR const* scheme, ASN1_ITEM const* type) {
    void const* value = nullptr;
    int kind = 0;
    X509_ALGOR_get0(nullptr, &kind, &value, scheme);
    CryptoObject<Parameters> parameters(
        kind == V_ASN1_SEQUENCE
            ? static_cast<Parameters*>(ASN1_item_unpack(static_cast<ASN1_STRING const*>(value), type))
            : nullptr);
    ERR_clear_error();
    return parameters;
}

std::uint64_t valueOf(ASN1_INTEGER const* number) {
    std::uint64_t value = 1;
    if (number != nullptr && ASN1_INTEGER_get_uint64(&value, number) != 1) {
        ERR_clear_error();
        return uncountable;
    }
    return std::min(value, uncountable);
}

int identifierOf(X509_ALGOR const* scheme) {
    ASN1_OBJECT const* identifier = nullptr;
    X509_ALGOR_get0(&identifier, nullptr, nullptr, scheme);
    return OBJ_obj2nid(identifier);
}

} // namespace

void DerivationWork::addRounds(std::uint64_t rounds) {
    rounds_ += rounds;
    if (rounds_ > most) {
        throw Failure(ExitCode::failed, object_ + ": its passphrase would have to be hashed more than " +
                                            std::to_string(most) + " times");
    }
}

void DerivationWork::addRounds(ASN1_INTEGER const* rounds) { addRounds(valueOf(rounds)); }

// PBES2 names one of these; it can't name itself again, however often a hostile file does.
void DerivationWork::addFunction(X509_ALGOR const* function) {
    switch (identifierOf(function)) {
    case NID_id_pbkdf2:
        if (auto const parameters = decoded<PBKDF2PARAM>(function, ASN1_ITEM_rptr(PBKDF2PARAM))) {
            addRounds(parameters->iter);
        }
        break;
    case NID_id_scrypt:
        // Libcrypto bounds the memory alone. One of its steps takes about as long as two rounds.
        if (auto const parameters = decoded<SCRYPT_PARAMS>(function, ASN1_ITEM_rptr(SCRYPT_PARAMS))) {
            std::uint64_t const across = std::min(
                valueOf(parameters->blockSize) * valueOf(parameters->parallelizationParameter), uncountable);
            addRounds(std::min(valueOf(parameters->costParameter) * across, uncountable));
        }
        break;
    default:
        break;
    }
}

void DerivationWork::add(X509_ALGOR const* scheme) {
    if (identifierOf(scheme) == NID_pbes2) {
        if (auto const parameters = decoded<PBE2PARAM>(scheme, ASN1_ITEM_rptr(PBE2PARAM))) {
            addFunction(parameters->keyfunc);
        }
    } else if (auto const parameters = decoded<PBEPARAM>(scheme, ASN1_ITEM_rptr(PBEPARAM))) {
        addRounds(parameters->iter);
    }
}

} // namespace tvkstore
