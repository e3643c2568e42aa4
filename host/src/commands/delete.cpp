#include "certificate_listing.h"
#include "change_failures.h"
#include "commands/commands.h"
#include "key_reference.h"
#include "progress.h"
#include "stored_items.h"
#include "terminal.h"

#include <memory>
#include <set>

namespace tvkstore {

namespace {

struct DeleteArguments {
    ItemName item;
    bool all = false;
    bool force = false;
    bool dryRun = false;
};

// The private keys of the items, each once.
std::set<KeyReference> keysOf(std::vector<StoredItem> const& items) {
    std::set<KeyReference> keys;
    for (StoredItem const& item : items) {
        if (item.key) {
            if (std::optional<KeyReference> const reference = readKeyReference(*item.key)) {
                keys.insert(*reference);
            }
        }
    }
    return keys;
}

std::string counted(std::size_t count, std::string const& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

class Deletion {
public:
    Deletion(Session& session, TVKCspManager& store, StoredItems items)
        : session_(session), store_(store), items_(std::move(items.items)), complete_(items.complete) {}

    // "3 certificates and 1 private key"
    std::string description() const { return description(items_); }

    // Certificates that stay without their key, as they share it with one that goes.
    void warnOfSharedKeys(StoredItems const& everything) const {
        std::set<KeyReference> const keys = keysOf(items_);
        std::set<std::string> going;
        for (StoredItem const& item : items_) {
            going.insert(item.view.encoding);
        }
        for (StoredItem const& item : everything.items) {
            std::optional<KeyReference> const key = item.key ? readKeyReference(*item.key) : std::nullopt;
            if (key && keys.contains(*key) && !going.contains(item.view.encoding)) {
                warn(item.view.name + " has the same private key, and would stay without one");
            }
        }
    }

    void run() {
        std::vector<StoredItem> deleted;
        ChangeFailures failures(session_);
        {
            Progress progress("deleting", items_.size());
            for (StoredItem const& item : items_) {
                progress.step();
                try {
                    if (deleteOne(item)) {
                        deleted.push_back(item);
                    } else if (session_.relayLayerLog()) {
                        complete_ = false; // not found, as not all could be read
                    }
                } catch (TVKException const& exception) {
                    progress.hide();
                    failures.add("can't delete " + item.view.name, exception);
                }
            }
        }
        items_ = std::move(deleted);
        worst_ = failures.finish();
    }

    ExitCode tell(bool isDryRun) const {
        if (session_.options().json) {
            auto items = nlohmann::ordered_json::array();
            for (StoredItem const& item : items_) {
                items.push_back(toJson(item.view));
            }
            writeJson(session_.output(), {{"dryRun", isDryRun},
                                          {"certificates", items_.size()},
                                          {"privateKeys", keysOf(items_).size()},
                                          {"items", items}});
        } else {
            if (isDryRun) {
                CertificateListing listing(false);
                for (StoredItem const& item : items_) {
                    listing.add(item.view);
                }
                listing.write(session_.output());
            }
            session_.output().write((isDryRun ? "would delete " : "deleted ") + description(items_) + '\n');
        }
        return worst_ != ExitCode::done ? worst_ : complete_ ? ExitCode::done : ExitCode::damaged;
    }

    bool isEmpty() const { return items_.empty(); }

private:
    bool deleteOne(StoredItem const& item) {
        if (item.key) {
            TVKKeyCertItem doomed = keyItem(item.view.encoding, *item.key, item.view.label);
            return store_.deleteItem(doomed) != 0;
        }
        TVKCertItem doomed = certificateItem(item.view.encoding, item.view.label);
        return store_.deleteItem(doomed) != 0;
    }

    static std::string description(std::vector<StoredItem> const& items) {
        std::size_t const keys = keysOf(items).size();
        return counted(items.size(), "certificate") +
               (keys == 0 ? "" : " and " + counted(keys, "private key"));
    }

    Session& session_;
    TVKCspManager& store_;
    std::vector<StoredItem> items_;
    bool complete_;
    ExitCode worst_ = ExitCode::done;
};

void check(DeleteArguments& arguments) {
    if (!arguments.all) {
        arguments.item.check();
    } else if (arguments.item.isGiven()) {
        throw Failure(ExitCode::usage, "--all goes without the name of an item");
    }
    if (!arguments.force && !arguments.dryRun && !canConfirm()) {
        throw Failure(ExitCode::usage, "nobody can be asked whether to delete",
                      {"--force deletes without asking, --dry-run shows what would go"});
    }
}

ExitCode deleteItems(Session& session, DeleteArguments& arguments) {
    check(arguments);
    std::unique_ptr<TVKCspManager> const store = session.openStore();
    StoredItems const everything = findItems(session, *store, [](CertificateView const&) { return true; });
    StoredItems wanted{{}, everything.complete};
    for (StoredItem const& item : everything.items) {
        if (arguments.all || arguments.item.names(item.view)) {
            wanted.items.push_back(item);
        }
    }
    if (!arguments.all) {
        requireOne(wanted.items.size(), wanted.complete, "certificate", arguments.item, session);
    }
    Deletion deletion(session, *store, std::move(wanted));
    deletion.warnOfSharedKeys(everything);
    if (!arguments.dryRun && !deletion.isEmpty()) {
        if (!arguments.force &&
            !confirm("delete " + deletion.description() + " from store " + session.options().store + '?')) {
            throw Failure(ExitCode::refused, "cancelled: nothing was deleted");
        }
        deletion.run();
    }
    return deletion.tell(arguments.dryRun);
}

} // namespace

Work defineDelete(CLI::App& command) {
    auto const arguments = std::make_shared<DeleteArguments>();
    arguments->item.define(command);
    command.add_flag("--all", arguments->all, "all certificates of the store, with their private keys");
    command.add_flag("--force", arguments->force, "don't ask");
    command.add_flag("--dry-run", arguments->dryRun, "show what would be deleted, and change nothing");
    return [arguments](Session& session) { return deleteItems(session, *arguments); };
}

} // namespace tvkstore
