#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <numeric>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// How many certificates an iteration works through; its time is reported for one.
inline void setUnits(benchmark::State& state, std::size_t units) {
    state.counters["units"] = static_cast<double>(units);
}

inline double medianOf(std::vector<double>& values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

inline double meanOf(std::vector<double> const& values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

// What stands for many turns: their median where only the work counts, the mean where rare expensive turns,
// as the bringing in of a log, are part of the work.
enum class Figure { median, mean };

// Two sides that take turns, so that what goes on in the machine meanwhile meets both alike. At the end the
// time of a turn of each stands in the measurement under its name.
class Turns {
public:
    Turns(benchmark::State& state, Figure figure, std::string ours, std::string counterpart)
        : state_(state), figure_(figure), names_{std::move(ours), std::move(counterpart)} {}

    ~Turns() {
        for (std::size_t side = 0; side < names_.size() && !seconds_[side].empty(); ++side) {
            state_.counters[names_[side]] = figureOf(seconds_[side]);
        }
    }

    Turns(Turns const&) = delete;
    Turns& operator=(Turns const&) = delete;

    // Who begins changes from turn to turn. A side is timed as a whole, unless it gives the seconds that
    // count.
    template <class Ours, class Counterpart>
    void take(Ours&& ours, Counterpart&& counterpart) {
        bool const weBegin = seconds_[0].size() % 2 == 0;
        if (weBegin) {
            seconds_[0].push_back(timeOf(ours));
        }
        seconds_[1].push_back(timeOf(counterpart));
        if (!weBegin) {
            seconds_[0].push_back(timeOf(ours));
        }
    }

private:
    template <class Body>
    static double timeOf(Body& body) {
        if constexpr (std::is_same_v<decltype(body()), double>) {
            return body();
        } else {
            Clock::time_point const start = Clock::now();
            body();
            return secondsSince(start);
        }
    }

    double figureOf(std::vector<double>& times) const {
        return figure_ == Figure::mean ? meanOf(times) : medianOf(times);
    }

    benchmark::State& state_;
    Figure figure_;
    std::array<std::string, 2> names_;
    std::array<std::vector<double>, 2> seconds_;
};

} // namespace bench
