#include "global_options.h"

#include "argument_checks.h"

#include <tvkcore/base/tvktrace.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace tvkstore {

namespace {

// At the place of its number.
constexpr std::array<std::string_view, 4> kStores{"CA", "MY", "UserDS", "ROOT"};

constexpr std::string_view kAllComponents = "all";

// What the command line's reader gives for an option without a value.
constexpr std::string_view kNoValue = "true";

std::string checkStore(std::string const& name) {
    bool const known = std::find(kStores.begin(), kStores.end(), name) != kStores.end();
    return known ? "" : "no store \"" + name + "\": it is one of MY, CA, ROOT, UserDS";
}

unsigned long parseComponents(std::string const& text, bool& good) {
    if (text == kAllComponents || text == kNoValue) {
        good = true;
        return TVKTrace::allComponents;
    }
    char* end = nullptr;
    unsigned long const mask = std::strtoul(text.c_str(), &end, 0);
    good = !text.empty() && text.front() >= '0' && text.front() <= '9' && *end == '\0' && mask != 0 &&
           mask <= TVKTrace::allComponents;
    return mask;
}

std::string checkTrace(std::string const& text) {
    bool good = false;
    parseComponents(text, good);
    return good ? "" : "\"" + text + "\" is neither \"all\" nor a mask of components, such as 0x800";
}

} // namespace

unsigned long storeKind(std::string_view name) {
    return static_cast<unsigned long>(std::find(kStores.begin(), kStores.end(), name) - kStores.begin());
}

unsigned long GlobalOptions::traceComponents() const {
    bool good = false;
    return parseComponents(trace, good);
}

void defineGlobalOptions(CLI::App& program, GlobalOptions& options) {
    program
        .add_option("--store", options.store, "the certificate store: MY, CA, ROOT or UserDS (default MY)")
        ->type_name("STORE")
        ->check(checkStore);
    program.add_option("--provider", options.provider, "the provider, as \"providers\" lists it")
        ->type_name("NAME")
        ->check(checkNotEmpty);
    program.add_flag("--json", options.json, "write one JSON value instead of a table");
    program.add_option("--module", options.module, "the module's file, or its name in the plug-in folder")
        ->type_name("PATH")
        ->check(checkNotEmpty);
    program
        .add_flag(
            "--trace", options.trace,
            "trace the module's calls on standard error, all of them or those of the components in MASK")
        ->option_text("or --trace=MASK")
        ->check(checkTrace);
}

} // namespace tvkstore
