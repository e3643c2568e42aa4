#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tvkstore {

// Open files and streams by the number that the C library gives them.
constexpr int kStandardInput = 0;
constexpr int kStandardOutput = 1;
constexpr int kStandardError = 2;

// Opens a file, which may be a pipe. Throws Failure.
int openForReading(std::string const& path);

// Standard input, which gives its bytes as they come from now on.
int openStandardInput();

// False, and the cause in errno, when the file may not have been written.
bool closeFile(int file) noexcept;

// Reads up to `size` bytes; 0 at the end. Throws Failure that names `object`.
std::size_t readPart(int file, char* bytes, std::size_t size, std::string const& object);

// Writes all of it. Throws Failure that names `object`.
void writeAll(int file, std::string_view bytes, std::string const& object);

bool isTerminal(int file);

// Whether it is a terminal on which a line can be written anew by control sequences.
bool canRewriteLine(int file);

// Whether the two are one and the same regular file, the second an open one or that to which a path leads.
bool isSameFile(int file, int other);
bool isSameFile(int file, std::string const& path);

} // namespace tvkstore
