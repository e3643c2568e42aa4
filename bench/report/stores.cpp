#include "stores.h"

#include "rows.h"

namespace report {

namespace {

struct Operation {
    char const* title;
    char const* ours;
    char const* theirs; // behind the store's name
};

constexpr Operation operations[] = {
    {"sign, theirs with the key open", "sign/module/1", "sign open"},
    {"find by name and sign, 1 key", "sign/module/1", "sign/1"},
    {"find by name and sign, 100 keys", "sign/module/100", "sign/100"},
    {"verify, theirs with the key open", "verify/module", "verify"},
    {"durable insert at 100", "insert/layer/100", "insert"},
    {"durable delete at 100", "delete/layer/100", "delete"},
    {"8 processes, 50 inserts each", "processes/layer", "processes"},
};

std::string text(Results const& results, std::string const& name) {
    std::optional<double> const seconds = results.median(name);
    std::string found = seconds ? timeText(*seconds) : "-";
    std::optional<double> const stored = results.median(name + " stored");
    if (constexpr int wanted = 400; stored && *stored < wanted) {
        found += ", " + std::to_string(wanted - static_cast<int>(*stored)) + " of 400 failed";
    }
    return found;
}

} // namespace

std::string storesTable(Results const& results) {
    std::string table = "| operation | ours | SoftHSM | NSS |\n| --- | ---: | ---: | ---: |\n";
    for (Operation const& operation : operations) {
        table += std::string("| ") + operation.title + " | " + text(results, operation.ours);
        for (char const* store : {"SoftHSM", "NSS"}) {
            table += " | " + text(results, std::string("tokens/") + store + '/' + operation.theirs);
        }
        table += " |\n";
    }
    return table;
}

} // namespace report
