#include <tvkcore/base/tvklibrarymanager.h>

#include "sharedlibrary.h"

#include <tvkcore/base/tvkexception.h>
#include <tvkcore/base/tvkprocessmutex.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char kFile[] = "./toolkit/src/base/tvklibrarymanager";

struct Entry {
    TVKString name;
    TVKLibraryManager::LibraryFunction function;
};

struct LoadedLibrary {
    TVKString name;
    void* library;
};

struct Registry {
    TVKProcessMutex mutex;
    std::vector<Entry> entries;
    std::vector<LoadedLibrary> libraries;
};

// Never destroyed: modules that are still loaded at exit remove their entries then.
Registry& registry() {
    static auto* const s_registry = new Registry;
    return *s_registry;
}

constinit thread_local bool s_isUnloading = false;

void* openBareName(std::string const& name, std::string& error) {
    std::string const file = tvk::moduleFileName(name);
    std::string looked;
    for (std::string const& folder : tvk::pluginFolders()) {
        std::string const path = folder + "/" + file;
        if (tvk::fileExists(path)) {
            return tvk::openSharedLibrary(path, error);
        }
        looked += (looked.empty() ? "" : ", ") + folder;
    }
    error = file + " not found in " + (looked.empty() ? "any plug-in folder" : looked);
    return nullptr;
}

} // namespace

void TVKLibraryManager::addLibEntry(TVKString const& name, LibraryFunction function) {
    std::lock_guard<TVKProcessMutex> const guard(registry().mutex);
    registry().entries.push_back({name, function});
}

void TVKLibraryManager::removeLibEntries(LibraryFunction function) {
    std::lock_guard<TVKProcessMutex> const guard(registry().mutex);
    std::erase_if(registry().entries, [function](Entry const& entry) { return entry.function == function; });
}

TVKLibraryManager::LibraryFunction TVKLibraryManager::getLibEntry(TVKString const& name) {
    std::lock_guard<TVKProcessMutex> const guard(registry().mutex);
    auto const& entries = registry().entries;
    auto const found = std::find_if(entries.rbegin(), entries.rend(),
                                    [&name](Entry const& entry) { return entry.name == name; });
    return found == entries.rend() ? nullptr : found->function;
}

void TVKLibraryManager::loadLibrary(TVKString const& name) {
    std::string const text(name.view());
    std::string error;
    // The lock isn't held here: the module's static objects call addLibEntry.
    void* library = tvk::isPath(text) ? tvk::openSharedLibrary(text, error) : openBareName(text, error);
    if (library == nullptr) {
        throw TVKException(kFile, __LINE__, TVKCORE_LIBRARY_NOT_LOADED,
                           ("module " + text + " can't be loaded: " + error).c_str());
    }
    try {
        std::lock_guard<TVKProcessMutex> const guard(registry().mutex);
        registry().libraries.push_back({name, library});
    } catch (...) {
        tvk::closeSharedLibrary(library);
        throw;
    }
}

void TVKLibraryManager::unloadLibrary(TVKString const& name) {
    void* library = nullptr;
    {
        std::lock_guard<TVKProcessMutex> const guard(registry().mutex);
        auto& libraries = registry().libraries;
        auto const found = std::find_if(libraries.begin(), libraries.end(),
                                        [&name](LoadedLibrary const& loaded) { return loaded.name == name; });
        if (found == libraries.end()) {
            throw TVKException(kFile, __LINE__, TVKCORE_LIBRARY_NOT_KNOWN,
                               ("module " + std::string(name.view()) + " isn't loaded").c_str());
        }
        library = found->library;
        libraries.erase(found);
    }
    // A module that is unloaded may unload another.
    bool const before = std::exchange(s_isUnloading, true);
    tvk::closeSharedLibrary(library);
    s_isUnloading = before;
}

bool TVKLibraryManager::isUnloading() { return s_isUnloading; }
