#pragma once

#include "output.h"

#include <string>

namespace tvkstore {

// A result file that appears whole or not at all: it is written under another name beside its place, made
// durable, and then put there. Without `finish` nothing is left of it, also when a signal ends the program.
// One at a time. The file is for its owner alone.
class OutputFile : public ByteSink {
public:
    // Throws Failure: usage when the path exists and `force` isn't set, or is something else than a file.
    OutputFile(std::string const& path, bool force);
    ~OutputFile() override;
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    void write(std::string_view bytes) override;
    void finish();

private:
    void put();

    std::string path_;
    std::string folder_;
    std::string temporary_;
    int file_ = -1;
    bool force_;
};

} // namespace tvkstore
