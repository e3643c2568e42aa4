#include "system_failure_windows.h"

#include "wide_text.h"

#include <windows.h>

namespace tvkstore {

namespace {

std::string textOf(DWORD error) {
    wchar_t* wide = nullptr;
    DWORD const length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                            FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                        nullptr, error, 0, reinterpret_cast<wchar_t*>(&wide), 0, nullptr);
    std::string text = length == 0 ? "error " + std::to_string(error) : utf8Of(wide);
    LocalFree(wide);
    while (text.ends_with(' ') || text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

} // namespace

Failure platformFailure(std::string const& object, unsigned long error) {
    bool const refused =
        error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT || error == ERROR_PRIVILEGE_NOT_HELD;
    return Failure(refused ? ExitCode::refused : ExitCode::failed, object + ": " + textOf(error));
}

} // namespace tvkstore
