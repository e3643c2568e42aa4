#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace wincryptctl {

using Json = nlohmann::ordered_json;

// Standard output, written at the end of the run.
class Output {
public:
    void text(std::string const& text) { buffer_ += text; }
    void line(std::string const& line); // made printable here
    void json(Json const& value);

    // Writes what there is now, before something that can't be taken back. Throws RunFailure.
    void flush();

    // Closes the stream too, as some file systems tell of a failed write only then.
    void finish();

private:
    std::string buffer_;
};

} // namespace wincryptctl
