#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace report {

// What the measurements wrote.
class Results {
public:
    // Reads each *.json of a directory, as Google Benchmark writes it. A file that isn't whole is a
    // failure.
    explicit Results(std::filesystem::path const& directory);

    // Median over the repetitions of the time of one unit of work, in seconds; nothing when it wasn't
    // measured or any of its repetitions failed.
    std::optional<double> median(std::string const& name) const;

    // What failed, with its reason.
    std::map<std::string, std::string> const& failures() const { return failures_; }

    // Programs that were measured beside ours, each with its version.
    std::set<std::string> const& versions() const { return versions_; }

private:
    std::set<std::string> versions_;
    std::map<std::string, std::vector<double>> times_;
    std::map<std::string, std::string> failures_;
};

} // namespace report
