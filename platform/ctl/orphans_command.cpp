#include "boundary.h"
#include "commands.h"
#include "key_opening.h"
#include "key_references.h"
#include "login_name.h"
#include "run_failure.h"
#include "table.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <unistd.h>

namespace wincryptctl {

using namespace wincrypt;

namespace {

struct OrphanOptions {
    bool remove = false;
    bool force = false;
    bool dryRun = false;
};

struct Dangling {
    CertificateEntry certificate;
    Target target;
    bool hasContainer; // the key alone is missing
};

struct Orphans {
    std::vector<ContainerEntry> containers;
    std::vector<Dangling> certificates;
    bool areReferencesKnown = true;
    Findings findings;
};

bool hasKey(ContainerEntry const& container, DWORD slot) {
    return std::any_of(container.keys.begin(), container.keys.end(),
                       [slot](StoredKey const& key) { return key.slot == slot; });
}

// The reference of a certificate of the scope, when what it leads to isn't there. The default container
// always is, and a machine's certificate that leads to a user's container leads to that of each user.
void addDangling(Scope scope, Content const (&contents)[2], bool isOtherHidden, Orphans& orphans) {
    for (CertificateEntry const& certificate : contents[static_cast<std::size_t>(scope)].certificates) {
        auto const target = certificate.reference ? targetOf(*certificate.reference) : std::nullopt;
        if (!target || (target->scope != scope && (scope == Scope::machine || isOtherHidden)))
            continue;
        auto const& containers = contents[static_cast<std::size_t>(target->scope)].containers;
        auto const found =
            std::find_if(containers.begin(), containers.end(),
                         [&](ContainerEntry const& each) { return each.name == target->container; });
        bool const exists = found != containers.end();
        if (exists ? !hasKey(*found, certificate.reference->keySpec) : target->container != loginName())
            orphans.certificates.push_back({certificate, *target, exists});
    }
}

Orphans findOrphans(Scope scope) {
    Scope const other = scope == Scope::user ? Scope::machine : Scope::user;
    Orphans orphans;
    Content contents[2];
    bool const isOtherHidden = isHidden(other);
    if (isOtherHidden)
        orphans.findings.push_back({Finding::Kind::note, Database::of(other)->path(),
                                    "isn't readable, so its certificates aren't counted"});
    std::set<Target> named;
    for (Scope const each : {scope, other}) {
        if (each == other && isOtherHidden)
            continue;
        auto use = Database::of(each)->reader();
        if (!use)
            continue;
        Content& content = contents[static_cast<std::size_t>(each)];
        content = readContent(*use->operator->(), orphans.findings);
        orphans.areReferencesKnown = orphans.areReferencesKnown && content.areReferencesKnown;
        for (CertificateEntry const& certificate : content.certificates)
            if (certificate.reference)
                if (auto target = targetOf(*certificate.reference))
                    named.insert(std::move(*target));
    }
    // Programs reach the default container without a name, so that no certificate needs to name it.
    for (ContainerEntry const& container : contents[static_cast<std::size_t>(scope)].containers)
        if (container.name != loginName() && !named.contains(Target{scope, container.name}))
            orphans.containers.push_back(container);
    addDangling(scope, contents, isOtherHidden, orphans);
    return orphans;
}

enum class Removal { removed, gone, named };

Removal removeOrphan(Database& database, std::string const& name) {
    return database.change([&](Connection& connection) {
        if (namedContainers(database.scope(), connection).contains(Target{database.scope(), name}))
            return Removal::named;
        std::optional<std::int64_t> id;
        if (Statement query = connection.prepare(Query::containerByName); query.bindText(1, name).step())
            id = query.integer(0);
        if (!id)
            return Removal::gone;
        connection.prepare(Query::deleteKeys).bind(1, *id).run();
        connection.prepare(Query::deleteContainer).bind(1, *id).run();
        return Removal::removed;
    });
}

std::string problemOf(Dangling const& dangling) {
    std::string const container = std::string(dangling.target.scope == Scope::machine ? "machine " : "") +
                                  "container " + dangling.target.container;
    return dangling.hasContainer
               ? container + " has no " + slotName(dangling.certificate.reference->keySpec) + " key"
               : container + " isn't there";
}

std::string keysOf(Database const& database, ContainerEntry const& container, Json* json) {
    std::string keys;
    for (StoredKey const& key : container.keys) {
        OpenedKey const opened = openStoredKey(database, container.name, key);
        keys += (keys.empty() ? "" : ", ") + textOf(key, opened);
        if (json != nullptr)
            json->push_back(jsonOf(key, opened));
    }
    return keys.empty() ? "no key" : keys;
}

Json list(Run& run, Orphans const& orphans) {
    std::shared_ptr<Database> const database = Database::of(run.scope);
    Table table({"WHAT", "NAME", "STATE"});
    Json json{{"containers", Json::array()}, {"certificates", Json::array()}};
    for (ContainerEntry const& container : orphans.containers) {
        Json keys = Json::array();
        table.add({"container", container.name, keysOf(*database, container, &keys)});
        json["containers"].push_back({{"name", container.name}, {"keys", std::move(keys)}});
    }
    for (Dangling const& dangling : orphans.certificates) {
        table.add({"certificate", labelOf(dangling.certificate), problemOf(dangling)});
        json["certificates"].push_back({{"store", dangling.certificate.store},
                                        {"name", dangling.certificate.name},
                                        {"serial", dangling.certificate.serial},
                                        {"container", dangling.target.container},
                                        {"problem", problemOf(dangling)}});
    }
    if (!run.json)
        run.output.text(table.text());
    return json;
}

bool isConfirmed(std::size_t count) {
    std::cerr << "remove " << count << (count == 1 ? " container" : " containers")
              << " with the keys in it, for good? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "yes";
}

// Ends at the first that can't be removed, and gives why.
std::optional<RunFailure> removeAll(Run& run, Orphans& orphans, Json& removed) {
    std::shared_ptr<Database> const database = Database::of(run.scope);
    for (ContainerEntry const& container : orphans.containers) {
        Removal removal = Removal::gone;
        if (DWORD const error = outcome([&] { removal = removeOrphan(*database, container.name); });
            error != ERROR_SUCCESS)
            return layerFailure("container " + container.name + " can't be removed", error);
        if (removal == Removal::named)
            orphans.findings.push_back(
                {Finding::Kind::note, "container " + container.name, "is named by now, and stays"});
        if (removal != Removal::removed)
            continue;
        removed.push_back(container.name);
        if (!run.json) {
            run.output.line("removed container " + container.name);
            run.output.flush();
        }
    }
    return std::nullopt;
}

ExitCode orphansCommand(Run& run, OrphanOptions const& options) {
    bool const isAsking = options.remove && !options.force && !options.dryRun;
    if (isAsking && (::isatty(STDIN_FILENO) != 1 || ::isatty(STDERR_FILENO) != 1))
        throw RunFailure(ExitCode::usage, "--remove asks on a terminal, and there is none",
                         {"--force removes without a question, --dry-run shows what would be removed"});
    Orphans orphans = findOrphans(run.scope);
    ExitCode exitCode = ExitCode::done;
    std::optional<RunFailure> failure;
    Json json = list(run, orphans);
    if (options.remove) {
        run.output.flush();
        if (!orphans.areReferencesKnown && !orphans.containers.empty()) {
            reportAll(orphans.findings);
            throw RunFailure(ExitCode::damaged,
                             "nothing was removed: damaged certificates may name a container",
                             {"\"wincryptctl check\" tells what is damaged"});
        }
        Json removed = Json::array();
        if (options.dryRun) {
            for (ContainerEntry const& container : orphans.containers)
                if (!run.json)
                    run.output.line("would remove container " + container.name);
        } else if (!orphans.containers.empty()) {
            if (isAsking && !isConfirmed(orphans.containers.size()))
                exitCode = ExitCode::no;
            else
                failure = removeAll(run, orphans, removed);
        }
        json["removed"] = std::move(removed);
    }
    if (run.json)
        run.output.json(json);
    run.output.flush();
    reportAll(orphans.findings);
    if (failure) {
        report(*failure);
        return failure->exitCode();
    }
    return exitCode == ExitCode::done ? exitCodeOf(orphans.findings) : exitCode;
}

} // namespace

Work defineOrphans(CLI::App& command) {
    auto const options = std::make_shared<OrphanOptions>();
    CLI::Option* const remove = command.add_flag("--remove", options->remove,
                                                 "remove the containers and their keys, after a question");
    command.add_flag("--force", options->force, "remove without a question")->needs(remove);
    command.add_flag("--dry-run", options->dryRun, "only tell what --remove would remove")->needs(remove);
    return [options](Run& run) { return orphansCommand(run, *options); };
}

} // namespace wincryptctl
