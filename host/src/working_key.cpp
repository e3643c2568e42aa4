#include "working_key.h"

#include "certificate_details.h"
#include "module_failure.h"
#include "public_key_factory.h"
#include "stored_items.h"
#include "toolkit_bytes.h"

#include <tvkcore/asn/tvkasnutility.h>

#include <vector>

namespace tvkstore {

namespace {

WorkingKey publicKeyOf(std::string const& certificate) {
    TVKASNx509Certificate decoded(TVKASNNotSecure);
    TVKASNUtility::setDEREncoding(viewOf(certificate), decoded);
    WorkingKey result{makePublicKeyFactory(), {}, certificate};
    result.key.setType(TVKKRYKey::Public);
    result.key.setFormat(TVKKRYKey::SubjectPublicKeyInfo);
    result.key.setAlgorithm(TVKKRYKey::RSA);
    result.key.setKeyBlob(TVKASNUtility::getDEREncoding(decoded.tbsCertificate.subjectPublicKeyInfo));
    return result;
}

} // namespace

std::size_t WorkingKey::blockLength() const {
    std::optional<CertificateDetails> const details = certificateDetails(certificate);
    if (!details || details->publicKeyBits == 0) {
        throw Failure(ExitCode::failed, "the size of the certificate's key can't be told");
    }
    return (static_cast<std::size_t>(details->publicKeyBits) + 7) / 8;
}

WorkingKey findPrivateKey(Session& session, ItemName const& name) {
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    std::vector<WorkingKey> found;
    bool const complete =
        walkKeyItems(session, *store, [&](CertificateView const& view, TVKKeyCertItem const& item) {
            if (name.names(view)) {
                found.push_back({nullptr, item.getKey(), view.encoding});
            }
        });
    requireOne(found.size(), complete, "certificate with a private key", name, session);
    found.front().factory = session.makeAlgorithmFactory(*store);
    return std::move(found.front());
}

WorkingKey findPublicKey(Session& session, ItemName const& name) {
    if (name.certificate().empty()) {
        return findPrivateKey(session, name);
    }
    if (!session.options().provider.empty()) {
        session.manager(); // refuses a provider that isn't listed
    }
    return attempt("can't take the certificate's key", [&] { return publicKeyOf(name.certificate()); });
}

} // namespace tvkstore
