#include "program.h"

#include "command.h"
#include "failure.h"
#include "module_failure.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

namespace tvkstore {

namespace {

constexpr char kDescription[] =
    "tvkstore: certificates and keys of the system stores, through the module tvkbridge";

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 no (not found, does not verify), 2 wrong usage, 3 failed, 4 refused\n"
    "(permission, PIN, cancelled), 5 damaged. \"tvkstore COMMAND --help\" tells more of a command.";

constexpr char kGlobalOptionsToo[] = "\"tvkstore --help\" tells the options that go with every command.";

class CommandLine {
public:
    CommandLine() : app_(kDescription, "tvkstore") {
        // Global options may stand behind the command too.
        app_.fallthrough();
        app_.require_subcommand(1);
        app_.set_help_flag("-h,--help", "show this text");
        app_.set_version_flag("--version", "tvkstore " TVKSTORE_VERSION, "show the version");
        auto const formatter = app_.get_formatter();
        formatter->column_width(26);
        formatter->label("SUBCOMMAND", "COMMAND");
        formatter->label("Positionals", "Arguments");
        formatter->label("REQUIRED", "");
        app_.footer(kExitCodes);
        defineGlobalOptions(app_, options_);
        for (Command const& command : commands()) {
            CLI::App* const part = app_.add_subcommand(command.name, command.summary);
            part->group("Commands");
            part->footer(kGlobalOptionsToo);
            Work const work = command.define(*part);
            part->final_callback([this, work] { work_ = work; });
        }
    }

    // The chosen work; none when a text was asked for, which then stands in `text`.
    Work parse(int argc, char const* const* argv, std::string& text) {
        try {
            app_.parse(argc, argv);
        } catch (CLI::CallForHelp const&) {
            text = app_.help();
        } catch (CLI::CallForVersion const& version) {
            text = std::string(version.what()) + '\n';
        } catch (CLI::ParseError const& error) {
            throw usageFailure(error);
        }
        return work_;
    }

    GlobalOptions const& options() const { return options_; }

private:
    Failure usageFailure(CLI::ParseError const& error) const {
        auto const chosen = app_.get_subcommands();
        if (chosen.empty()) {
            auto const words = app_.remaining();
            return Failure(ExitCode::usage,
                           words.empty() ? "no command" : "no command \"" + words.front() + '"',
                           {"\"tvkstore --help\" lists the commands"});
        }
        return Failure(ExitCode::usage, inLowerCase(error.what()),
                       {"\"tvkstore " + chosen.front()->get_name() + " --help\" shows the usage"});
    }

    // The first letter of a sentence, but not of a name such as "N".
    static std::string inLowerCase(std::string message) {
        if (message.size() > 1 && std::islower(static_cast<unsigned char>(message[1])) != 0) {
            message.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(message.front())));
        }
        return message;
    }

    CLI::App app_;
    GlobalOptions options_;
    Work work_;
};

ExitCode runCommand(int argc, char const* const* argv) {
    CommandLine line;
    std::string text;
    Work const work = line.parse(argc, argv, text);
    Output output;
    ExitCode exitCode = ExitCode::done;
    if (work) {
        Session session(line.options(), output);
        exitCode = work(session);
    } else {
        output.write(text);
    }
    output.finish();
    return exitCode;
}

// A lack of memory may meet what can't fail, such as the end of one of the JSON library's values.
[[noreturn]] void endProgram() noexcept {
    try {
        if (std::exception_ptr const exception = std::current_exception()) {
            std::rethrow_exception(exception);
        }
    } catch (std::bad_alloc const&) {
        std::fputs("tvkstore: error: out of memory\n", stderr);
        std::_Exit(static_cast<int>(ExitCode::failed));
    } catch (...) {}
    std::abort();
}

} // namespace

ExitCode runProgram(int argc, char const* const* argv) {
    std::set_terminate(endProgram);
    try {
        return runCommand(argc, argv);
    } catch (Failure const& failure) {
        report(failure);
        return failure.exitCode();
    } catch (TVKException const& exception) {
        Failure const failure = moduleFailure("the module failed", exception);
        report(failure);
        return failure.exitCode();
    } catch (std::bad_alloc const&) {
        report(Failure(ExitCode::failed, "out of memory"));
    } catch (std::exception const& exception) {
        report(Failure(ExitCode::failed, exception.what()));
    }
    return ExitCode::failed;
}

} // namespace tvkstore
