#include "commands.h"
#include "key_opening.h"
#include "key_references.h"
#include "run_failure.h"
#include "table.h"

#include <map>

namespace wincryptctl {

using namespace wincrypt;

namespace {

// What certificates of the scope are called where another scope's stand beside them.
std::string labelIn(Scope scope, CertificateEntry const& certificate) {
    return (scope == Scope::machine ? "machine " : "") + labelOf(certificate);
}

struct Naming {
    Scope scope;
    CertificateEntry certificate;
};

using NamingByTarget = std::multimap<Target, Naming>;

void addNamings(Scope scope, Content const& content, NamingByTarget& namings) {
    for (CertificateEntry const& certificate : content.certificates)
        if (certificate.reference)
            if (auto target = targetOf(*certificate.reference))
                namings.emplace(std::move(*target), Naming{scope, certificate});
}

Json jsonOf(Naming const& naming) {
    return {{"scope", naming.scope == Scope::user ? "user" : "machine"},
            {"store", naming.certificate.store},
            {"name", naming.certificate.name},
            {"serial", naming.certificate.serial}};
}

ExitCode listContainers(Run& run) {
    std::shared_ptr<Database> const database = Database::of(run.scope);
    Findings findings;
    Content content;
    NamingByTarget namings;
    for (Scope const scope : {Scope::user, Scope::machine}) {
        if (scope != run.scope && isHidden(scope)) {
            findings.push_back({Finding::Kind::note, Database::of(scope)->path(),
                                "isn't readable, so its certificates aren't counted"});
            continue;
        }
        auto use = Database::of(scope)->reader();
        if (!use)
            continue;
        Content found = readContent(*use->operator->(), findings);
        addNamings(scope, found, namings);
        if (scope == run.scope)
            content = std::move(found);
    }
    Table table({"CONTAINER", "KEYS", "CERTIFICATES"});
    Json list = Json::array();
    for (ContainerEntry const& container : content.containers) {
        std::string keys;
        std::string certificates;
        Json entry{{"name", container.name}, {"keys", Json::array()}, {"certificates", Json::array()}};
        for (StoredKey const& key : container.keys) {
            OpenedKey const opened = openStoredKey(*database, container.name, key);
            keys += (keys.empty() ? "" : ", ") + textOf(key, opened);
            entry["keys"].push_back(jsonOf(key, opened));
            if (!opened.problem.empty())
                findings.push_back({Finding::Kind::damaged, "container " + container.name,
                                    std::string(slotName(key.slot)) + " key: " + opened.problem});
        }
        auto const [first, last] = namings.equal_range(Target{run.scope, container.name});
        for (auto each = first; each != last; ++each) {
            certificates +=
                (certificates.empty() ? "" : ", ") + labelIn(each->second.scope, each->second.certificate);
            entry["certificates"].push_back(jsonOf(each->second));
        }
        table.add({container.name, keys, certificates});
        list.push_back(std::move(entry));
    }
    if (run.json)
        run.output.json(list);
    else
        run.output.text(table.text());
    run.output.flush();
    reportAll(findings);
    return exitCodeOf(findings);
}

} // namespace

Work defineContainers(CLI::App&) { return listContainers; }

} // namespace wincryptctl
