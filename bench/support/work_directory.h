#pragma once

#include <filesystem>

namespace bench {

// Where the measurements keep their databases: TVK_BENCH_DIRECTORY, which stays, or else a new directory
// under the current one, removed when the process ends. Never the system's directory for temporary files,
// which may lie in memory, where nothing has to be made durable.
std::filesystem::path const& workDirectory();

// Makes `home` the layer's home of the user, and an empty directory that of the machine. What could bring
// keys from outside is out of the environment. The layer lets go of the former home's database at its next
// call.
void enterHome(std::filesystem::path const& home);

// A home in which nothing is stored.
std::filesystem::path emptyHome();

} // namespace bench
