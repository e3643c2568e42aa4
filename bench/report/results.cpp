#include "results.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <string_view>

namespace fs = std::filesystem;
using nlohmann::json;

namespace report {

namespace {

// Google Benchmark puts the way of measuring behind the name.
std::string plainName(std::string name) {
    for (std::string_view const suffix : {"/iterations:", "/repeats:", "/real_time", "/manual_time"}) {
        name.resize(std::min(name.size(), name.find(suffix)));
    }
    return name;
}

double secondsOf(std::string const& unit) {
    if (unit == "ns") {
        return 1e-9;
    }
    if (unit == "us") {
        return 1e-6;
    }
    return unit == "ms" ? 1e-3 : 1;
}

} // namespace

Results::Results(fs::path const& directory) {
    for (fs::directory_entry const& entry : fs::directory_iterator(directory)) {
        if (entry.path().extension() != ".json") {
            continue;
        }
        std::ifstream in(entry.path());
        json const content = json::parse(in, nullptr, false);
        if (content.is_discarded() || !content.contains("benchmarks")) {
            failures_[entry.path().filename().string()] = "no whole result: the program failed";
            continue;
        }
        for (json const& run : content["benchmarks"]) {
            if (run.value("run_type", "") != "iteration") {
                continue;
            }
            std::string const name = plainName(run.at("run_name"));
            if (run.value("error_occurred", false)) {
                failures_[name] = run.value("error_message", "");
                continue;
            }
            if (std::string const label = run.value("label", ""); !label.empty()) {
                versions_.insert(label);
            }
            // Counters with a slash are times of their own, of what was measured by turns.
            for (auto const& [key, value] : run.items()) {
                if (key.find('/') != std::string::npos) {
                    times_[key].push_back(value.get<double>());
                }
            }
            double const time = run.at("real_time").get<double>() * secondsOf(run.at("time_unit"));
            times_[name].push_back(time / run.value("units", 1.0));
        }
    }
}

std::optional<double> Results::median(std::string const& name) const {
    auto const found = times_.find(name);
    if (found == times_.end() || failures_.contains(name)) {
        return std::nullopt;
    }
    std::vector<double> sorted = found->second;
    std::sort(sorted.begin(), sorted.end());
    std::size_t const middle = sorted.size() / 2;
    return sorted.size() % 2 != 0 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

} // namespace report
