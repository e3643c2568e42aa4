// Files that a person gives to the command line: certificates and keys in PEM and DER, and PKCS#12.
#include "certificate_details.h"
#include "certificate_file.h"
#include "certificate_view.h"
#include "fuzz.h"
#include "import_content.h"
#include "private_key.h"
#include "support/scratch_profile.h"

#include <tvkcore/base/tvkexception.h>

#include <fstream>

using namespace tvkstore;
using fuzz::attempt;

int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static test_support::ScratchProfile const profile;
    static test_support::EnvironmentVariable const variable("FUZZ_PASSPHRASE", "fuzz");
    Passphrase passphrase;
    CLI::App command;
    passphrase.define(command);
    command.parse("--passphrase-source env:FUZZ_PASSPHRASE");

    std::string const path = profile.file("input").string();
    std::ofstream(path) << std::string(data, data + size);
    attempt<Failure>([&] { readPublicKeyFile(path); });
    attempt<Failure>([&] { readPrivateKeyFile(path, passphrase); });
    attempt<Failure>([&] {
        for (ImportedCertificate const& each : readImport({path}, "", passphrase).certificates) {
            fuzz::require(certificateDetails(each.encoding).has_value(), "what is imported has details");
            // Libcrypto takes some that the toolkit refuses, and the stores with it.
            attempt<TVKException>([&] {
                viewCertificate(TVKCertItem(
                    TVKString(each.encoding.data(), static_cast<unsigned int>(each.encoding.size())),
                    TVKBuffer()));
            });
        }
    });
    return 0;
}
