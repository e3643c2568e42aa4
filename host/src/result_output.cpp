#include "result_output.h"

#include "argument_checks.h"
#include "bytes.h"
#include "certificate_json.h"
#include "descriptors.h"
#include "failure.h"

namespace tvkstore {

void ResultOutput::define(CLI::App& command) {
    command.add_option("--out", path_, "write to a file instead of standard output")
        ->type_name("FILE")
        ->check(checkNotEmpty);
    command.add_flag("--force", force_, "replace an existing file");
}

void ResultOutput::open(Session& session, Input const& input) {
    if (path_.empty() && input.isFile(kStandardOutput)) {
        throw Failure(ExitCode::usage, input.name() + ": is standard output too");
    }
    if (!path_.empty() && input.isFile(path_)) {
        throw Failure(ExitCode::usage, path_ + ": is the input too");
    }
    open(session, ResultForm::bytes);
}

void ResultOutput::open(Session& session, ResultForm form) {
    form_ = form;
    if (!path_.empty()) {
        file_.emplace(path_, force_);
        return;
    }
    if (force_) {
        throw Failure(ExitCode::usage, "--force goes with --out");
    }
    if (form == ResultForm::bytes && !session.options().json && session.output().isTerminal()) {
        throw Failure(ExitCode::usage, "the result's bytes aren't written to a terminal",
                      {"--out writes them to a file, --json as digits"});
    }
}

// By pieces, as the result may be a key, of which nothing is to stay in memory.
void ResultOutput::writeJsonText(Session& session, std::string_view text) const {
    Output& out = session.output();
    bool const isPem = form_ == ResultForm::pem;
    out.write("{\n  \"bytes\": " + std::to_string(text.size()) + ",\n  \"" + (isPem ? "pem" : "hex") +
              "\": \"");
    SecretBytes part;
    for (char const character : text) {
        if (!isPem) {
            append(part, lowerHex({&character, 1}));
        } else if (character == '\n') {
            append(part, "\\n");
        } else {
            part.push_back(character);
        }
    }
    out.writeSecret(bytesOf(part));
    out.write("\"\n}\n");
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
        writeJsonText(session, bytes);
    } else {
        session.output().writeSecret(bytes);
    }
}

} // namespace tvkstore
