#pragma once

#include "input.h"
#include "output_file.h"
#include "session.h"

#include <CLI/App.hpp>

#include <optional>
#include <string>

namespace tvkstore {

// Bytes don't go to a terminal, and are digits in JSON; PEM is text.
enum class ResultForm { bytes, pem };

// Where a command's result goes: to a file, else to standard output; with --json as one value.
class ResultOutput {
public:
    void define(CLI::App& command);

    // Makes sure that the result can be written, before anything else is touched. Throws Failure: usage for a
    // place where it can't go, among them the input.
    void open(Session& session, Input const& input);
    void open(Session& session, ResultForm form);

    void write(Session& session, std::string_view bytes);

private:
    void writeJsonText(Session& session, std::string_view text) const;

    ResultForm form_ = ResultForm::bytes;
    std::string path_;
    bool force_ = false;
    std::optional<OutputFile> file_;
};

} // namespace tvkstore
