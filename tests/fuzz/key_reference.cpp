// Key blobs that a host hands to the module. The first octet tells what the rest is: the blob itself, the
// object id in a good record, or what is changed of the image of a good reference.
#include "capi/module_fixture.h"
#include "cspmanager.h"
#include "fuzz.h"

#include <tvkcore/asn/tvkcapiasnkeyrecord.h>
#include <tvkcore/base/tvkexception.h>

using namespace capi_tests;

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static test_support::ScratchProfile const profile;
    static KeyWorld const world;
    static CSPManager manager("", 1);
    static auto const factory = owned(manager.getTVKKRYAlgorithmFactory());
    fuzz::Input input{{data, data + size}};
    unsigned const form = input.octet() % 3;
    TVKBuffer bytes = form == 2 ? world.reference : buffer(input.rest);
    while (form == 2 && !input.rest.empty()) {
        test_support::Bytes const change = input.take(2);
        const_cast<unsigned char*>(bytes.getValue())[change.front() % bytes.getLength()] = change.back();
    }
    TVKBuffer const record = TVKCAPIASNKeyRecord("", bytes, 512, TVKBuffer()).getBuffer();
    TVKKRYKey const key = privateKey(TVKKRYKey::KeyRecord, form == 0 ? bytes : record);
    auto const signer = owned(factory->make_SHA1WithRSA_SignatureAlgorithm(key));
    if (signer != nullptr)
        fuzz::attempt<TVKException>([&] { signer->signData(bytes.get()); });
    PlatformCalls::instance().forget();
    return 0;
}
