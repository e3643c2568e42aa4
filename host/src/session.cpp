#include "session.h"

#include "module_failure.h"
#include "provider_name.h"

#include <iostream>

namespace tvkstore {

Session::Session(GlobalOptions const& options, Output& output) : options_(options), output_(output) {}

Session::~Session() {
    manager_.reset();
    module_.reset();
    // Only now: the module traces its unloading too.
    if (sink_) {
        TVKTrace::s_defaultTracePtr->disable();
    }
}

TVKCAPIManager& Session::manager() {
    if (manager_ == nullptr) {
        if (!options_.trace.empty()) {
            sink_.emplace(std::cerr);
            TVKTrace::s_defaultTracePtr->enable(options_.traceComponents(), *sink_);
        }
        log_.emplace();
        module_.emplace(options_.module);
        manager_ = module_->makeManager();
        checkProvider();
    }
    return *manager_;
}

// The module takes any name and finds out late, or never, that there is no such provider.
void Session::checkProvider() const {
    if (options_.provider.empty() || isMatchedByLayer(options_.provider)) {
        return;
    }
    std::string listed;
    for (CSPEntry const* entry : *manager_->getCspNameList()) {
        if (options_.provider == entry->name) {
            return;
        }
        listed += std::string(listed.empty() ? "" : ", ") + '"' + entry->name + '"';
    }
    throw Failure(ExitCode::usage, "--provider: no provider \"" + options_.provider + '"',
                  {"listed are " + listed});
}

std::unique_ptr<TVKCspManager> Session::openStore(std::string const& name, std::string const& provider) {
    bool const isFirst = manager_ == nullptr;
    TVKCAPIManager& root = manager();
    // The module has looked for all providers, and what went wrong with others is no concern of a command
    // that works with the default one.
    if (isFirst && options_.provider.empty()) {
        log_->forget();
    }
    return attempt("can't open store " + name, [&] {
        return std::unique_ptr<TVKCspManager>(root.getCspManager(provider.c_str(), storeKind(name)));
    });
}

std::unique_ptr<TVKKRYAlgorithmFactory> Session::makeAlgorithmFactory(TVKCspManager& store) const {
    return attempt("can't reach the algorithms of store " + options_.store, [&] {
        return std::unique_ptr<TVKKRYAlgorithmFactory>(store.getTVKKRYAlgorithmFactory());
    });
}

} // namespace tvkstore
