#include "argument_checks.h"
#include "bytes.h"
#include "certificate_json.h"
#include "commands/commands.h"
#include "failure.h"
#include "module_failure.h"
#include "output_file.h"
#include "toolkit_bytes.h"

#include <tvkcore/kry/tvkkryutility.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>

namespace tvkstore {

namespace {

constexpr std::uint64_t kPart = std::uint64_t{1} << 20;

struct RandomArguments {
    std::string count;
    std::string file;
    bool hex = false;
    bool force = false;
};

// 0 for anything but a whole number above it.
std::uint64_t parseCount(std::string const& text) {
    std::uint64_t count = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    return error == std::errc() && end == text.data() + text.size() ? count : 0;
}

std::string checkCount(std::string const& text) {
    return parseCount(text) != 0 ? "" : '"' + text + "\" isn't a number of bytes";
}

void checkArguments(RandomArguments const& arguments, Session& session) {
    if (arguments.force && arguments.file.empty()) {
        throw Failure(ExitCode::usage, "--force goes with --out");
    }
    bool const binary = !arguments.hex && !session.options().json;
    if (arguments.file.empty() && binary && session.output().isTerminal()) {
        throw Failure(ExitCode::usage, "random bytes aren't written to a terminal",
                      {"--hex writes them as digits, --out to a file"});
    }
}

void writeRandom(RandomArguments const& arguments, bool asDigits, Session& session, ByteSink& out) {
    std::unique_ptr<TVKKRYAlgorithmFactory> const factory =
        session.makeAlgorithmFactory(*session.openStore());
    for (std::uint64_t left = parseCount(arguments.count); left > 0;) {
        auto const count = static_cast<unsigned int>(std::min(left, kPart));
        TVKBuffer const bytes = attempt("can't make random bytes", [&] {
            return TVKKRYUtility::generateRandomData(count, nullptr, factory.get());
        });
        std::string_view const view = bytesOf(bytes);
        if (asDigits) {
            out.write(lowerHex(view));
        } else {
            out.write(view);
        }
        left -= count;
    }
}

ExitCode random(Session& session, RandomArguments const& arguments) {
    checkArguments(arguments, session);
    bool const json = session.options().json;
    if (!arguments.file.empty()) {
        OutputFile file(arguments.file, arguments.force);
        writeRandom(arguments, arguments.hex, session, file);
        if (arguments.hex) {
            file.write("\n");
        }
        file.finish();
        if (json) {
            writeJson(session.output(), {{"bytes", parseCount(arguments.count)}, {"file", arguments.file}});
        }
        return ExitCode::done;
    }
    // Written piece by piece, as the amount may be larger than the memory.
    Output& out = session.output();
    out.write(json ? "{\n  \"bytes\": " + std::to_string(parseCount(arguments.count)) + ",\n  \"hex\": \""
                   : "");
    writeRandom(arguments, json || arguments.hex, session, out);
    out.write(json ? "\"\n}\n" : arguments.hex ? "\n" : "");
    return ExitCode::done;
}

} // namespace

Work defineRandom(CLI::App& command) {
    auto const arguments = std::make_shared<RandomArguments>();
    command.add_option("N", arguments->count, "how many bytes")->required()->type_name("")->check(checkCount);
    command.add_option("--out", arguments->file, "write to a file instead of standard output")
        ->type_name("FILE")
        ->check(checkNotEmpty);
    command.add_flag("--hex", arguments->hex, "write hexadecimal digits");
    command.add_flag("--force", arguments->force, "replace an existing file");
    return [arguments](Session& session) { return random(session, *arguments); };
}

} // namespace tvkstore
