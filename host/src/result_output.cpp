#include "result_output.h"

#include "argument_checks.h"
#include "bytes.h"
#include "certificate_json.h"
#include "failure.h"

#include <unistd.h>

namespace tvkstore {

void ResultOutput::define(CLI::App& command) {
    command.add_option("--out", path_, "write to a file instead of standard output")
        ->type_name("FILE")
        ->check(checkNotEmpty);
    command.add_flag("--force", force_, "replace an existing file");
}

void ResultOutput::open(Session& session, Input const& input) {
    if (path_.empty()) {
        if (force_) {
            throw Failure(ExitCode::usage, "--force goes with --out");
        }
        if (!session.options().json && session.output().isTerminal()) {
            throw Failure(ExitCode::usage, "the result's bytes aren't written to a terminal",
                          {"--out writes them to a file, --json as digits"});
        }
        if (input.isFile(STDOUT_FILENO)) {
            throw Failure(ExitCode::usage, input.name() + ": is standard output too");
        }
        return;
    }
    if (input.isFile(path_)) {
        throw Failure(ExitCode::usage, path_ + ": is the input too");
    }
    file_.emplace(path_, force_);
}

void ResultOutput::write(Session& session, std::string_view bytes) {
    bool const json = session.options().json;
    if (file_) {
        file_->write(bytes);
        file_->finish();
        if (json) {
            writeJson(session.output(), {{"bytes", bytes.size()}, {"file", path_}});
        }
    } else if (json) {
        writeJson(session.output(), {{"bytes", bytes.size()}, {"hex", lowerHex(bytes)}});
    } else {
        session.output().write(bytes);
    }
}

} // namespace tvkstore
