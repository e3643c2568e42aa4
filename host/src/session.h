#pragma once

#include "global_options.h"
#include "layer_log.h"
#include "module.h"
#include "output.h"

#include <tvkcore/base/tvktrace.h>

#include <memory>
#include <optional>

namespace tvkstore {

// What a command works with. The module is loaded when something of it is asked for first, so that a command
// can check its arguments before.
class Session {
public:
    Session(GlobalOptions const& options, Output& output);
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    GlobalOptions const& options() const { return m_options; }
    Output& output() { return m_output; }

    // Throws Failure: usage for a provider that isn't listed.
    TVKCAPIManager& manager();

    // The chosen store over the chosen provider. It has to be gone before the session goes.
    std::unique_ptr<TVKCspManager> openStore();

    // The factory for a command's algorithm objects.
    std::unique_ptr<TVKKRYAlgorithmFactory> makeAlgorithmFactory();

    // Shows what the layer under the module has logged since the last time. True when that was anything.
    bool relayLayerLog() { return m_log && m_log->relay(); }

private:
    void checkProvider() const;

    GlobalOptions const& m_options;
    Output& m_output;
    std::optional<LayerLog> m_log;
    std::optional<TVKTraceStreamSink> m_sink;
    std::optional<Module> m_module;
    std::unique_ptr<TVKCAPIManager> m_manager;
};

} // namespace tvkstore
