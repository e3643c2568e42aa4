#pragma once

#include <string>
#include <vector>

// The operating system's side of loading modules.
namespace tvk {

// Loads a shared object from a path. Gives null and a cause in `error` on failure.
void* openSharedLibrary(std::string const& path, std::string& error);

void closeSharedLibrary(void* library);

// The folders in which a bare module name is looked up, in order.
std::vector<std::string> pluginFolders();

// The file name of a module with this bare name.
std::string moduleFileName(std::string const& name);

// Whether a name is a path and not a bare name.
bool isPath(std::string const& name);

bool fileExists(std::string const& path);

} // namespace tvk
