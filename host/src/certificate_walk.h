#pragma once

#include "certificate_view.h"
#include "session.h"

#include <functional>

namespace tvkstore {

enum class Certificates { all, withKey };

// Shows each certificate of an open store to `visit`, in store order. One that can't be read is reported on
// standard error and passed over. True when all could be read.
bool walkCertificates(Session& session, TVKCspManager& store, Certificates which,
                      std::function<void(CertificateView const&)> const& visit);

} // namespace tvkstore
