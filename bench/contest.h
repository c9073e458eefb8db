// bench/contest.h: who runs against whom on what, and how that is timed.
#pragma once

#include "bench/row.h"

#include <benchmark/benchmark.h>
#include <functional>

namespace bench {

struct Contestant {
    std::string name;
    std::function<void(benchmark::State&)> run;
    int threads = 1;
};

/// The first contestant is the row's own; without any the row is not timed.
struct Contest {
    Row row;             ///< what is measured is filled in
    double elements = 0; ///< of a call
    double bytes = 0;    ///< read and written by a call
    std::vector<Contestant> field;
    std::size_t turns = 1; ///< calls come in multiples of it
};

/// A contest that has yet to be built: arrays are made and results checked by then.
struct Job {
    Row row;
    std::function<Contest()> build;
};

struct Pace {
    int rounds = 9;
    double seconds = 1e-3; ///< per contestant and round
};

/// Times all contestants in rounds, in changing order, with Google Benchmark.
Row measure(const Contest& contest, const Pace& pace);

/// Nanoseconds of a processor cycle, from a chain of dependent 64-bit multiplications, each taken to
/// last 3 cycles.
double cycle_length();

} // namespace bench
