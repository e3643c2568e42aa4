#include "program.h"

#include "commands.h"
#include "failure.h"
#include "process_locks.h"
#include "run_failure.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <array>
#include <cctype>
#include <new>

namespace wincryptctl {
namespace {

constexpr char description[] = "wincryptctl: looks after the database of stores and keys under libwincrypt";

constexpr char exitCodes[] =
    "Exit codes: 0 done, 1 no (no database, answered with no), 2 wrong usage, 3 failed, 4 refused\n"
    "(permission, cancelled), 5 damaged. \"wincryptctl COMMAND --help\" tells more of a command.";

constexpr char globalOptionsToo[] = "\"wincryptctl --help\" tells the options that go with every command.";

struct Command {
    char const* name;
    char const* summary;
    Work (*define)(CLI::App& command);
};

constexpr std::array commands{
    Command{"containers", "list the key containers and the certificates that name them", defineContainers},
    Command{"orphans", "list or remove containers that no certificate names", defineOrphans},
    Command{"check", "look for damage", defineCheck},
    Command{"backup", "copy the database and its sealing key while they are in use", defineBackup},
};

class CommandLine {
public:
    explicit CommandLine(Run& run) : app_(description, "wincryptctl") {
        // Global options may stand behind the command too.
        app_.fallthrough();
        app_.require_subcommand(1);
        app_.set_help_flag("-h,--help", "show this text");
        app_.set_version_flag("--version", "wincryptctl " WINCRYPTCTL_VERSION, "show the version");
        auto const formatter = app_.get_formatter();
        formatter->column_width(26);
        formatter->label("SUBCOMMAND", "COMMAND");
        formatter->label("Positionals", "Arguments");
        formatter->label("REQUIRED", "");
        app_.footer(exitCodes);
        app_.add_option_function<std::string>(
                "--scope",
                [&run](std::string const& name) {
                    run.scope = name == "machine" ? wincrypt::Scope::machine : wincrypt::Scope::user;
                },
                "whose database: user or machine (default user)")
            ->type_name("SCOPE")
            ->check([](std::string const& name) {
                return name == "user" || name == "machine"
                           ? std::string()
                           : "no scope \"" + name + "\": it is user or machine";
            });
        app_.add_flag("--json", run.json, "write one JSON value instead of lines");
        for (Command const& command : commands) {
            CLI::App* const part = app_.add_subcommand(command.name, command.summary);
            part->group("Commands");
            part->footer(globalOptionsToo);
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

private:
    RunFailure usageFailure(CLI::ParseError const& error) const {
        auto const chosen = app_.get_subcommands();
        if (chosen.empty()) {
            auto const words = app_.remaining();
            return RunFailure(ExitCode::usage,
                              words.empty() ? "no command" : "no command \"" + words.front() + '"',
                              {"\"wincryptctl --help\" lists the commands"});
        }
        std::string message = error.what();
        // The first letter of a sentence, but not of a name.
        if (message.size() > 1 && std::islower(static_cast<unsigned char>(message[1])) != 0)
            message.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(message.front())));
        return RunFailure(ExitCode::usage, message,
                          {"\"wincryptctl " + chosen.front()->get_name() + " --help\" shows the usage"});
    }

    CLI::App app_;
    Work work_;
};

ExitCode runCommand(int argc, char const* const* argv) {
    Run run;
    CommandLine line(run);
    std::string text;
    Work const work = line.parse(argc, argv, text);
    ExitCode exitCode = ExitCode::done;
    if (work) {
        // Held as a call of the layer would, which the end of the process waits for.
        wincrypt::Lease const lease;
        exitCode = work(run);
    } else {
        run.output.text(text);
    }
    run.output.finish();
    return exitCode;
}

} // namespace

ExitCode runProgram(int argc, char const* const* argv) {
    auto const ended = [](RunFailure const& failure) {
        report(failure);
        return failure.exitCode();
    };
    try {
        return runCommand(argc, argv);
    } catch (RunFailure const& failure) {
        return ended(failure);
    } catch (wincrypt::Failure const& failure) {
        return ended(layerFailure("the database", failure.code()));
    } catch (std::bad_alloc const&) {
        return ended(RunFailure(ExitCode::failed, "out of memory"));
    } catch (std::exception const& exception) {
        return ended(RunFailure(ExitCode::failed, exception.what()));
    }
}

} // namespace wincryptctl
