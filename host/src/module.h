#pragma once

#include <tvkcore/store/tvkcapimanager.h>

#include <memory>
#include <string>

namespace tvkstore {

// The loaded module. What comes from it has to be gone before it goes.
class Module {
public:
    // `name`: a path, or a bare name that is looked up in the plug-in folder. Throws Failure.
    explicit Module(std::string const& name);
    ~Module();
    Module(Module const&) = delete;
    Module& operator=(Module const&) = delete;

    // A new manager from the module's library function.
    std::unique_ptr<TVKCAPIManager> makeManager() const;

private:
    TVKString name_;
};

} // namespace tvkstore
