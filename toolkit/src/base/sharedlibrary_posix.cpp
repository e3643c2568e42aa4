#include "sharedlibrary.h"

#include <algorithm>
#include <cstdlib>
#include <dlfcn.h>
#include <sys/stat.h>

namespace tvk {

void* openSharedLibrary(std::string const& path, std::string& error) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        char const* cause = dlerror();
        error = cause == nullptr ? "unknown cause" : cause;
    }
    return library;
}

void closeSharedLibrary(void* library) { dlclose(library); }

std::vector<std::string> pluginFolders() {
    std::vector<std::string> folders;
    // A set-uid program must not take code from where its caller points.
    if (char const* path = secure_getenv("TVK_PLUGIN_PATH"); path != nullptr && *path != '\0') {
        std::string const list(path);
        for (std::size_t begin = 0; begin <= list.size();) {
            std::size_t const end = std::min(list.find(':', begin), list.size());
            if (end != begin) {
                folders.push_back(list.substr(begin, end - begin));
            }
            begin = end + 1;
        }
        return folders;
    }
    Dl_info self;
    if (dladdr(reinterpret_cast<void const*>(&pluginFolders), &self) != 0 && self.dli_fname != nullptr) {
        std::string const own(self.dli_fname);
        std::size_t const slash = own.rfind('/');
        std::string const folder = slash == std::string::npos ? "." : own.substr(0, slash);
        folders.push_back(folder);
        folders.push_back(folder + "/tvkcore");
    }
    return folders;
}

std::string moduleFileName(std::string const& name) { return name + ".so"; }

bool isPath(std::string const& name) { return name.find('/') != std::string::npos; }

bool fileExists(std::string const& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0;
}

} // namespace tvk
