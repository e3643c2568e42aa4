#pragma once

#include <filesystem>
#include <string>

namespace report {

// The machine and the versions, in a line of text: processor, cores, load, file system of the databases,
// kernel, compiler, libraries.
std::string machineText(std::filesystem::path const& workDirectory);

} // namespace report
