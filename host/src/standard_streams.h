#pragma once

namespace tvkstore {

// Puts something behind each standard stream that the caller closed, on which every use then fails, so that
// no file opened later takes its number; and has a write to a pipe without a reader fail instead of ending
// the program.
void secureStandardStreams();

} // namespace tvkstore
