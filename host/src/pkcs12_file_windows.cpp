#include "pkcs12_file.h"

#include "rsa_encoding_windows.h"

namespace tvkstore {

namespace {

constexpr long kVersion = 3;

// PFX (RFC 7292, 4).
class Pfx : public TVKASNSequence {
public:
    Pfx() : TVKASNSequence(TVKASNSecure), version(TVKASNSecure), content(TVKASNSecure), check(TVKASNSecure) {
        register_child(&version);
        register_child(&content);
        register_child(&check);
        check.set_optional(true);
    }

    TVKASNInteger version;
    TVKASNAny content;
    TVKASNAny check;
};

} // namespace

std::optional<Pkcs12Content> readPkcs12File(std::string_view bytes, std::string const& object, Passphrase&) {
    Pfx file;
    long version = 0;
    if (!decodeAll(bytes, file) || file.version.get_value(version) != TVKASN_OK || version != kVersion) {
        return std::nullopt;
    }
    throw Failure(ExitCode::failed, object + ": is a PKCS#12 file, which this build can't read",
                  {"it takes the certificates in PEM or DER, and the key in clear with --key"});
}

} // namespace tvkstore
