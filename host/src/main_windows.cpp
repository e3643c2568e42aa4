#include "failure.h"
#include "program.h"
#include "standard_streams.h"
#include "wide_text.h"

#include <windows.h>
#include <shellapi.h>
#include <string>
#include <vector>

namespace tvkstore {

namespace {

// The console as this program writes to it: UTF-8, and sequences that rewrite a line. The caller's console
// is as it was when this goes.
class ConsoleSettings {
public:
    ConsoleSettings() : codePage_(GetConsoleOutputCP()), errors_(GetStdHandle(STD_ERROR_HANDLE)) {
        SetConsoleOutputCP(CP_UTF8);
        isConsole_ = GetConsoleMode(errors_, &mode_) != 0;
        if (isConsole_) {
            SetConsoleMode(errors_, mode_ | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
        }
    }
    ~ConsoleSettings() {
        if (isConsole_) {
            SetConsoleMode(errors_, mode_);
        }
        SetConsoleOutputCP(codePage_);
    }
    ConsoleSettings(ConsoleSettings const&) = delete;
    ConsoleSettings& operator=(ConsoleSettings const&) = delete;

private:
    UINT codePage_;
    HANDLE errors_;
    DWORD mode_ = 0;
    bool isConsole_ = false;
};

// The command line's words in UTF-8. The C library's own are in the system's code page.
std::vector<std::string> arguments() {
    int count = 0;
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> words;
    for (int i = 0; wide != nullptr && i < count; ++i) {
        words.push_back(utf8Of(wide[i]));
    }
    LocalFree(wide);
    return words;
}

ExitCode run() {
    ConsoleSettings const console;
    std::vector<std::string> const words = arguments();
    if (words.empty()) {
        report(Failure(ExitCode::failed, "the command line can't be read"));
        return ExitCode::failed;
    }
    std::vector<char const*> pointers;
    for (std::string const& word : words) {
        pointers.push_back(word.c_str());
    }
    return runProgram(static_cast<int>(pointers.size()), pointers.data());
}

} // namespace

} // namespace tvkstore

int main() {
    tvkstore::secureStandardStreams();
    return static_cast<int>(tvkstore::run());
}
