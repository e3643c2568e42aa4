#include "certificate_json.h"
#include "certificate_walk.h"
#include "commands/commands.h"
#include "table.h"

#include <memory>

namespace tvkstore {

namespace {

ExitCode list(Session& session, Certificates which) {
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    bool const asJson = session.options().json;
    Table table({"KEY", "NOT AFTER", "SERIAL", "NAME", "ISSUER"});
    auto json = nlohmann::ordered_json::array();
    bool empty = true;
    bool const complete = walkCertificates(session, *store, which, [&](CertificateView const& view) {
        empty = false;
        if (asJson) {
            json.push_back(toJson(view));
        } else {
            table.add({view.hasKey ? "yes" : "no", view.notAfter.substr(0, 10), view.serial, view.name,
                       view.issuer});
        }
    });
    if (asJson) {
        writeJson(session.output(), json);
    } else if (empty) {
        session.output().write("no certificates\n");
    } else {
        table.write(session.output());
    }
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
