#include "certificate_json.h"
#include "commands/commands.h"
#include "table.h"

namespace tvkstore {

namespace {

ExitCode listProviders(Session& session) {
    Table table({"TYPE", "NAME"});
    auto json = nlohmann::ordered_json::array();
    for (CSPEntry const* entry : *session.manager().getCspNameList()) {
        table.add({std::to_string(entry->type), entry->name});
        json.push_back({{"name", entry->name}, {"type", entry->type}});
    }
    if (session.options().json) {
        writeJson(session.output(), json);
    } else {
        table.write(session.output());
    }
    return ExitCode::done;
}

} // namespace

Work defineProviders(CLI::App&) { return listProviders; }

} // namespace tvkstore
