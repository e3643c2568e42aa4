#pragma once

#include <filesystem>
#include <set>
#include <string>

namespace report {

// The machine and the versions, in a line of text: processor, cores, load, file system of the databases,
// kernel, compiler, libraries, and the given names with versions.
std::string machineText(std::filesystem::path const& workDirectory, std::set<std::string> const& versions);

} // namespace report
