// The module's records of RSA keys, public and private: what libcrypto accepts too has the same numbers.
#include "fuzz.h"
#include "support/libcrypto.h"
#include "tvkcapisubjectpublickeyinfo.h"

#include <tvkcore/base/tvkexception.h>

#include <openssl/core_names.h>
#include <openssl/err.h>

using namespace fuzz;
using namespace test_support;

namespace {

template <class Record>
void decode(TVKBuffer const& der, Owned<EVP_PKEY> const& theirs) {
    attempt<TVKException>([&] {
        Record ours(der);
        TVKBuffer const modulus = ours.getModulus(true);
        require(Record(ours.getDER()).getModulus(true).compare(modulus) == 0, "written and read again");
        BIGNUM* number = nullptr;
        if (modulus.getLength() == 0 || theirs == nullptr ||
            EVP_PKEY_get_bn_param(theirs.get(), OSSL_PKEY_PARAM_RSA_N, &number) != 1)
            return;
        Bytes octets(static_cast<std::size_t>(BN_num_bytes(number)));
        BN_bn2bin(number, octets.data());
        BN_free(number);
        require(TVKBuffer(TVKASNCBuffer(octets.data(), octets.size())).compare(modulus) == 0, "modulus");
    });
}

} // namespace

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    TVKBuffer const der(static_cast<unsigned int>(size), data);
    unsigned char const* end = data;
    Owned<EVP_PKEY> const publicKey(d2i_PUBKEY(nullptr, &end, static_cast<long>(size)));
    decode<TVKCapiSubjectPublicKeyInfo>(der, publicKey);
    end = data;
    Owned<PKCS8_PRIV_KEY_INFO> const info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &end, static_cast<long>(size)));
    Owned<EVP_PKEY> const privateKey(info ? EVP_PKCS82PKEY(info.get()) : nullptr);
    decode<TVKCapiPrivateKeyInfo>(der, privateKey);
    ERR_clear_error();
    return 0;
}
