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

    GlobalOptions const& options() const { return options_; }
    Output& output() { return output_; }

    // Throws Failure: usage for a provider that isn't listed.
    TVKCAPIManager& manager();

    // A store, by default the chosen one, over the chosen provider. It has to be gone before the session
    // goes.
    std::unique_ptr<TVKCspManager> openStore() { return openStore(options_.store); }
    std::unique_ptr<TVKCspManager> openStore(std::string const& name) {
        return openStore(name, options_.provider);
    }
    std::unique_ptr<TVKCspManager> openStore(std::string const& name, std::string const& provider);

    // The factory for algorithm objects that work with keys of an open store.
    std::unique_ptr<TVKKRYAlgorithmFactory> makeAlgorithmFactory(TVKCspManager& store) const;

    // Shows what the layer under the module has logged since the last time. True when that was anything.
    bool relayLayerLog() { return log_ && log_->relay(); }

private:
    void checkProvider() const;

    GlobalOptions const& options_;
    Output& output_;
    std::optional<LayerLog> log_;
    std::optional<TVKTraceStreamSink> sink_;
    std::optional<Module> module_;
    std::unique_ptr<TVKCAPIManager> manager_;
};

} // namespace tvkstore
