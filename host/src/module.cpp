#include "module.h"

#include "module_failure.h"

#include <tvkcore/base/tvklibrarymanager.h>

namespace tvkstore {

namespace {

// The name under which the module registers itself, whatever its file is called.
constexpr char kEntry[] = "tvkbridge";

} // namespace

Module::Module(std::string const& name) : name_(name.c_str()) {
    try {
        TVKLibraryManager::loadLibrary(name_);
    } catch (TVKException const& exception) {
        throw Failure(ExitCode::failed,
                      std::string(exception.what()) + " (code " + std::to_string(exception.getCode()) + ')',
                      {"TVK_PLUGIN_PATH names the folders in which modules are looked up, --module a file"});
    }
}

Module::~Module() {
    try {
        TVKLibraryManager::unloadLibrary(name_);
    } catch (TVKException const& exception) {
        report(moduleFailure("can't unload the module", exception));
    }
}

std::unique_ptr<TVKCAPIManager> Module::makeManager() const {
    TVKLibraryManager::LibraryFunction const function = TVKLibraryManager::getLibEntry(kEntry);
    if (function == nullptr) {
        throw Failure(ExitCode::failed, std::string(name_.view()) + ": the library doesn't offer " + kEntry);
    }
    return attempt("can't start the module", [&] {
        return std::unique_ptr<TVKCAPIManager>(static_cast<TVKCAPIManager*>(function(nullptr)));
    });
}

} // namespace tvkstore
