#include "bench/contest.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace bench {
namespace {

/// Takes the times; Google Benchmark's own tables are not wanted.
class Times : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred && run.iterations != 0)
                seconds.push_back(run.real_accumulated_time / static_cast<double>(run.iterations) *
                                  static_cast<double>(run.threads));
    }
    std::vector<double> seconds; ///< of a call, in the order of running
};

struct Turn {
    const Contestant* contestant;
    std::int64_t calls;
    double seconds = 0; ///< that they take, about
};

constexpr double long_round = 0.5; ///< seconds; a third of the rounds must do then

std::vector<double> run(const std::vector<Turn>& turns)
{
    benchmark::ClearRegisteredBenchmarks();
    for (const Turn& turn : turns)
        benchmark::RegisterBenchmark(turn.contestant->name.c_str(), turn.contestant->run)
            ->Iterations(turn.calls)
            ->Threads(turn.contestant->threads)
            ->UseRealTime();
    Times times;
    benchmark::RunSpecifiedBenchmarks(&times, "all");
    if (times.seconds.size() != turns.size())
        throw std::runtime_error("a benchmark did not run");
    return times.seconds;
}

/// How many calls fill a round. A length that seems enough is taken twice and the shorter believed: one
/// that something else has stretched would leave too few calls, and the timer's own cost in each.
Turn turn_for(const Contestant& contestant, std::size_t turns, double seconds)
{
    constexpr double never_stretched = 0.05; // seconds
    const auto unit = static_cast<std::int64_t>(turns);
    for (std::int64_t calls = unit;; calls *= 8) {
        double call = run({{&contestant, calls}}).front();
        const double length = call * static_cast<double>(calls);
        if (length > seconds / 16 && length < never_stretched)
            call = std::min(call, run({{&contestant, calls}}).front());
        if (call * static_cast<double>(calls) > seconds / 16 || calls > (std::int64_t{1} << 40)) {
            const auto fitting =
                static_cast<std::int64_t>(seconds / call / static_cast<double>(unit));
            const std::int64_t chosen = unit * std::max(std::int64_t{1}, fitting);
            return {&contestant, chosen, call * static_cast<double>(chosen)};
        }
    }
}

Spread spread(std::vector<double> list)
{
    std::sort(list.begin(), list.end());
    const auto at = [&](double share) {
        const double place = share * static_cast<double>(list.size() - 1);
        const auto low = static_cast<std::size_t>(place);
        const std::size_t high = std::min(low + 1, list.size() - 1);
        return list[low] + (list[high] - list[low]) * (place - static_cast<double>(low));
    };
    return {at(0.5), at(0.25), at(0.75)};
}

} // namespace

double cycle_length()
{
    using Clock = std::chrono::steady_clock;
    constexpr int links = 20000;
    double best = 1e9;
    for (int attempt = 0; attempt < 3; ++attempt) {
        std::uint64_t x = 3;
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < links; i += 10) // the loop's own instructions run beside the chain
            asm volatile("imulq %0, %0\n\timulq %0, %0\n\timulq %0, %0\n\timulq %0, %0\n\t"
                         "imulq %0, %0\n\timulq %0, %0\n\timulq %0, %0\n\timulq %0, %0\n\t"
                         "imulq %0, %0\n\timulq %0, %0"
                         : "+r"(x)
                         :
                         : "cc");
        const double ns = std::chrono::duration<double, std::nano>(Clock::now() - start).count();
        best = std::min(best, ns / (3.0 * links));
    }
    return best;
}

Row measure(const Contest& contest, const Pace& pace)
{
    Row row = contest.row;
    const std::size_t field = contest.field.size();
    if (field == 0)
        return row;
    std::vector<Turn> turns;
    double round_length = 0;
    for (const Contestant& c : contest.field) {
        turns.push_back(turn_for(c, contest.turns, pace.seconds));
        round_length += turns.back().seconds;
    }
    const int rounds = round_length < long_round ? pace.rounds : (pace.rounds + 2) / 3;

    std::vector<std::vector<double>> ns(field);
    std::vector<double> cycles;
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::size_t> order(field);
        for (std::size_t i = 0; i < field; ++i)
            order[i] = (i + static_cast<std::size_t>(round)) % field;
        if (round % 2 == 1)
            std::reverse(order.begin(), order.end());
        std::vector<Turn> turned;
        turned.reserve(field);
        for (const std::size_t i : order)
            turned.push_back(turns[i]);
        const double cycle = cycle_length();
        const std::vector<double> seconds = run(turned);
        for (std::size_t k = 0; k < field; ++k)
            ns[order[k]].push_back(seconds[k] * 1e9 / contest.elements /
                                   contest.field[order[k]].threads);
        cycles.push_back(ns[0].back() / cycle);
    }
    row.ns = spread(ns[0]).median;
    row.cycles = spread(cycles);
    row.gigabytes = contest.bytes / contest.elements / row.ns;
    for (std::size_t i = 1; i < field; ++i) {
        std::vector<double> ratios;
        for (std::size_t round = 0; round < ns[i].size(); ++round)
            ratios.push_back(ns[i][round] / ns[0][round]);
        row.rivals.push_back({contest.field[i].name, spread(ns[i]).median, spread(ratios)});
    }
    return row;
}

} // namespace bench
