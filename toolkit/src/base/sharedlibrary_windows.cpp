#include "sharedlibrary.h"

#include <windows.h>

#include <algorithm>
#include <cstdlib>

namespace tvk {

namespace {

// Paths are UTF-8 in the toolkit and wide here. Empty for text that isn't UTF-8.
std::wstring wideOf(std::string const& text) {
    int const given = static_cast<int>(text.size());
    int const size = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), given, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(std::max(size, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), given, wide.data(), size);
    return wide;
}

std::string narrowOf(std::wstring const& wide) {
    int const given = static_cast<int>(wide.size());
    int const size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), given, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(std::max(size, 0)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), given, text.data(), size, nullptr, nullptr);
    return text;
}

std::string textOf(DWORD error) {
    wchar_t* text = nullptr;
    DWORD const length = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                            FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                        nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::string const result =
        length == 0 ? "error " + std::to_string(error) : narrowOf(std::wstring(text, length));
    LocalFree(text);
    return result;
}

} // namespace

void* openSharedLibrary(std::string const& path, std::string& error) {
    std::wstring const wide = wideOf(path);
    if (wide.empty()) {
        error = "the path isn't UTF-8 text";
        return nullptr;
    }
    // The libraries that it needs are looked for beside it and in the system's folders, not where the process
    // happens to stand.
    HMODULE library = LoadLibraryExW(wide.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr) {
        error = textOf(GetLastError());
    }
    return library;
}

void closeSharedLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

std::vector<std::string> pluginFolders() {
    std::vector<std::string> folders;
    if (wchar_t const* path = _wgetenv(L"TVK_PLUGIN_PATH"); path != nullptr && *path != L'\0') {
        std::string const list = narrowOf(path);
        for (std::size_t begin = 0; begin <= list.size();) {
            std::size_t const end = std::min(list.find(';', begin), list.size());
            if (end != begin) {
                folders.push_back(list.substr(begin, end - begin));
            }
            begin = end + 1;
        }
        return folders;
    }
    HMODULE self = nullptr;
    DWORD const flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (GetModuleHandleExW(flags, reinterpret_cast<wchar_t const*>(&pluginFolders), &self) != 0) {
        std::wstring own(32768, L'\0');
        own.resize(GetModuleFileNameW(self, own.data(), static_cast<DWORD>(own.size())));
        std::size_t const slash = own.find_last_of(L"\\/");
        std::string const folder = slash == std::wstring::npos ? "." : narrowOf(own.substr(0, slash));
        folders.push_back(folder);
        folders.push_back(folder + "\\tvkcore");
    }
    return folders;
}

std::string moduleFileName(std::string const& name) { return name + ".dll"; }

bool isPath(std::string const& name) { return name.find_first_of("\\/:") != std::string::npos; }

bool fileExists(std::string const& path) {
    std::wstring const wide = wideOf(path);
    return !wide.empty() && GetFileAttributesW(wide.c_str()) != INVALID_FILE_ATTRIBUTES;
}

} // namespace tvk
