#pragma once

#include <windows.h>
#include <memory>
#include <string_view>

namespace tvkstore {

struct FreeLocal {
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};

// What the platform's decoder makes of an encoding: of the structure that its number `kind` stands for. Null
// when the bytes aren't one.
std::unique_ptr<void, FreeLocal> decodeStructure(char const* kind, std::string_view encoding);

} // namespace tvkstore
