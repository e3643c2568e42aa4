#include "program.h"

#include "command.h"
#include "failure.h"
#include "module_failure.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <cctype>
#include <new>

namespace tvkstore {

namespace {

constexpr char kDescription[] =
    "tvkstore: certificates and keys of the system stores, through the module tvkbridge";

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 no (not found), 2 wrong usage, 3 failed, 4 refused (permission, PIN,\n"
    "cancelled), 5 damaged. \"tvkstore COMMAND --help\" tells more of a command.";

constexpr char kGlobalOptionsToo[] = "\"tvkstore --help\" tells the options that go with every command.";

class CommandLine {
public:
    CommandLine() : m_app(kDescription, "tvkstore") {
        // Global options may stand behind the command too.
        m_app.fallthrough();
        m_app.require_subcommand(1);
        m_app.set_help_flag("-h,--help", "show this text");
        m_app.set_version_flag("--version", "tvkstore " TVKSTORE_VERSION, "show the version");
        auto const formatter = m_app.get_formatter();
        formatter->column_width(26);
        formatter->label("SUBCOMMAND", "COMMAND");
        formatter->label("Positionals", "Arguments");
        formatter->label("REQUIRED", "");
        m_app.footer(kExitCodes);
        defineGlobalOptions(m_app, m_options);
        for (Command const& command : commands()) {
            CLI::App* const part = m_app.add_subcommand(command.name, command.summary);
            part->group("Commands");
            part->footer(kGlobalOptionsToo);
            Work const work = command.define(*part);
            part->final_callback([this, work] { m_work = work; });
        }
    }

    // The chosen work; none when a text was asked for, which then stands in `text`.
    Work parse(int argc, char const* const* argv, std::string& text) {
        try {
            m_app.parse(argc, argv);
        } catch (CLI::CallForHelp const&) {
            text = m_app.help();
        } catch (CLI::CallForVersion const& version) {
            text = std::string(version.what()) + '\n';
        } catch (CLI::ParseError const& error) {
            throw usageFailure(error);
        }
        return m_work;
    }

    GlobalOptions const& options() const { return m_options; }

private:
    Failure usageFailure(CLI::ParseError const& error) const {
        auto const chosen = m_app.get_subcommands();
        if (chosen.empty()) {
            auto const words = m_app.remaining();
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

    CLI::App m_app;
    GlobalOptions m_options;
    Work m_work;
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

} // namespace

ExitCode runProgram(int argc, char const* const* argv) {
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
