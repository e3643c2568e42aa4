#pragma once

#include "certificate_view.h"
#include "session.h"

#include <functional>
#include <map>
#include <string>

namespace tvkstore {

enum class Certificates { all, withKey };

// Shows each certificate of an open store to `visit`, in store order. One that can't be read is reported on
// standard error and passed over. True when all could be read.
bool walkCertificates(Session& session, TVKCspManager& store, Certificates which,
                      std::function<void(CertificateView const&)> const& visit);

// The same for the items with a private key. An item's key is a reference to the one that the provider holds.
bool walkKeyItems(Session& session, TVKCspManager& store,
                  std::function<void(CertificateView const&, TVKKeyCertItem const&)> const& visit);

// The references to the private keys of the certificates that can be read, by the certificate's encoding; and
// how many can't be read, which a walk over all certificates reports.
struct KeysByCertificate {
    std::map<std::string, TVKKRYKey> keys;
    std::size_t failures = 0;
};
KeysByCertificate keysByCertificate(TVKCspManager& store);

} // namespace tvkstore
