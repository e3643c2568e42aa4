#include "certificate_listing.h"
#include "certificate_walk.h"
#include "commands/commands.h"

#include <memory>

namespace tvkstore {

namespace {

ExitCode list(Session& session, Certificates which) {
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    CertificateListing listing(session.options().json);
    bool const complete =
        walkCertificates(session, *store, which, [&](CertificateView const& view) { listing.add(view); });
    listing.write(session.output());
    return complete ? ExitCode::done : ExitCode::damaged;
}

} // namespace

Work defineList(CLI::App& command) {
    auto const keys = std::make_shared<bool>(false);
    command.add_flag("--keys", *keys, "only certificates with a private key");
    return
        [keys](Session& session) { return list(session, *keys ? Certificates::withKey : Certificates::all); };
}

} // namespace tvkstore
