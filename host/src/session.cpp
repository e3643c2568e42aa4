#include "session.h"

#include "module_failure.h"

#include <tvkcore/kry/tvkkryutility.h>

#include <iostream>

namespace tvkstore {

Session::Session(GlobalOptions const& options, Output& output) : m_options(options), m_output(output) {}

Session::~Session() {
    m_manager.reset();
    m_module.reset();
    // Only now: the module traces its unloading too.
    if (m_sink) {
        TVKTrace::s_defaultTracePtr->disable();
    }
}

TVKCAPIManager& Session::manager() {
    if (m_manager == nullptr) {
        if (!m_options.trace.empty()) {
            m_sink.emplace(std::cerr);
            TVKTrace::s_defaultTracePtr->enable(m_options.traceComponents(), *m_sink);
        }
        m_log.emplace();
        m_module.emplace(m_options.module);
        m_manager = m_module->makeManager();
        checkProvider();
    }
    return *m_manager;
}

// The module takes any name and finds out late, or never, that there is no such provider.
void Session::checkProvider() const {
    if (m_options.provider.empty()) {
        return;
    }
    std::string listed;
    for (CSPEntry const* entry : *m_manager->getCspNameList()) {
        if (m_options.provider == entry->name) {
            return;
        }
        listed += std::string(listed.empty() ? "" : ", ") + '"' + entry->name + '"';
    }
    throw Failure(ExitCode::usage, "--provider: no provider \"" + m_options.provider + '"',
                  {"listed are " + listed});
}

std::unique_ptr<TVKCspManager> Session::openStore() {
    TVKCAPIManager& root = manager();
    return attempt("can't open store " + m_options.store, [&] {
        return std::unique_ptr<TVKCspManager>(
            root.getCspManager(m_options.provider.c_str(), m_options.storeKind()));
    });
}

std::unique_ptr<TVKKRYAlgorithmFactory> Session::makeAlgorithmFactory() {
    manager();
    return std::unique_ptr<TVKKRYAlgorithmFactory>(TVKKRYUtility::getDefaultAlgorithmFactory().duplicate());
}

} // namespace tvkstore
