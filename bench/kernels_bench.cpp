// bench/kernels_bench.cpp: every variant against a plain loop at -O3 for the same instruction set.
//
//     kernels_bench [--benchmark_filter=REGEX] [--sizes=1024,16384] [--benchmark_...]
//
// The library is loaded by the test rig, once per level, so all levels are measured on one machine
// and in one run. Variant and loop run on the same arrays, in rounds of random order; a row gives
// medians.
#include "bench/kernels.h"

#include "rig/library.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

namespace {

using rig::Level;

using bench::Arrays;

enum class Place { aligned, crossed }; // crossed: source and destination lie differently in a block

const PlainLoops& plain(Level level)
{
    switch (level) {
    case Level::sse3:
        return plain_sse3;
    case Level::ssse3:
        return plain_ssse3;
    case Level::sse41:
        return plain_sse41;
    case Level::avx:
        return plain_avx;
    case Level::avx2:
        return plain_avx2;
    default: // what every x86-64 compiler assumes
        return plain_sse2;
    }
}

std::vector<std::size_t> sizes = {1024, 16384, 262144, 4194304};
std::map<std::size_t, std::unique_ptr<Arrays>> all_arrays;

Arrays& arrays(std::size_t n)
{
    auto& a = all_arrays[n];
    if (!a)
        a = std::make_unique<Arrays>(n);
    return *a;
}

/// Registers a kernel at all its levels.
template <class Fn, class Body>
void add(const char* kernel, Fn* PlainLoops::*loop, std::size_t crossing, Body call)
{
    for (const Level level : rig::table().at(kernel)) {
        if ((level == Level::avx && !__builtin_cpu_supports("avx")) ||
            (level == Level::avx2 && !__builtin_cpu_supports("avx2")))
            continue;
        Fn* const variant = *rig::at(level).entry<Fn>(kernel);
        if (variant == nullptr) {
            std::fprintf(stderr, "%s at %s is null\n", kernel, rig::name(level));
            continue;
        }
        for (const std::size_t n : sizes)
            for (const Place place : {Place::aligned, Place::crossed}) {
                if (place == Place::crossed && crossing == 0)
                    continue;
                const std::size_t shift = place == Place::crossed ? crossing : 0;
                const std::string base = std::string(kernel) + '/' + rig::name(level) + '/' +
                                         std::to_string(n) + '/' +
                                         (place == Place::crossed ? "crossed" : "aligned");
                const auto measure = [n, shift, call](benchmark::State& state, Fn* f) {
                    Arrays& a = arrays(n);
                    for (auto _ : state) {
                        call(f, a, shift);
                        benchmark::ClobberMemory();
                    }
                    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
                };
                Fn* const peer = plain(level).*loop;
                benchmark::RegisterBenchmark((base + "/simd").c_str(), measure, variant);
                benchmark::RegisterBenchmark((base + "/loop").c_str(), measure, peer);
            }
    }
}

/// Collects the repetitions' times and prints one row per variant, size and place.
class Ratios : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0)
                continue;
            const std::string name = run.run_name.function_name;
            const std::size_t cut = name.rfind('/');
            const std::string row = name.substr(0, cut);
            if (!times_.contains(row))
                order_.push_back(row);
            times_[row][name.substr(cut + 1) == "loop"].push_back(
                run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9);
        }
    }
    void Finalize() override
    {
        std::sort(order_.begin(), order_.end(), [](const auto& a, const auto& b) { return a < b; });
        std::printf("%-18s %-6s %8s %-8s %12s %12s %8s %8s\n", "kernel", "level", "n", "place",
                    "ns/element", "loop", "loop/simd", "spread");
        for (const std::string& row : order_) {
            std::istringstream in(row);
            std::string kernel, level, n, place;
            std::getline(in, kernel, '/');
            std::getline(in, level, '/');
            std::getline(in, n, '/');
            std::getline(in, place, '/');
            auto& [simd, loop] = times_[row];
            if (simd.empty() || loop.empty())
                continue;
            const double elements = std::stod(n);
            const double ours = median(simd);
            const double theirs = median(loop);
            const double spread = simd.back() / simd.front() - 1.0;
            std::printf("%-18s %-6s %8s %-8s %12.4f %12.4f %8.2f %7.0f%%\n", kernel.c_str(),
                        level.c_str(), n.c_str(), place.c_str(), ours / elements, theirs / elements,
                        theirs / ours, 100.0 * spread);
        }
    }

private:
    static double median(std::vector<double>& list)
    {
        std::sort(list.begin(), list.end());
        return list[list.size() / 2];
    }

    std::vector<std::string> order_;
    std::map<std::string, std::array<std::vector<double>, 2>> times_;
};

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> arguments(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char repeat[] = "--benchmark_repetitions=5";
    char time[] = "--benchmark_min_time=0.01";
    arguments.insert(arguments.begin() + 1, {interleave, repeat, time}); // ours may be overridden
    for (std::size_t i = 1; i < arguments.size(); ++i)
        if (std::strncmp(arguments[i], "--sizes=", 8) == 0) {
            sizes.clear();
            std::istringstream list(arguments[i] + 8);
            for (std::string n; std::getline(list, n, ',');)
                sizes.push_back(std::stoul(n));
            arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(i--));
        }
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;
    bench::each_kernel([]<class Fn>(const char* kernel, Fn* PlainLoops::*loop, std::size_t crossing,
                                    auto call) { add<Fn>(kernel, loop, crossing, call); });
    Ratios ratios;
    const std::size_t ran = benchmark::RunSpecifiedBenchmarks(&ratios);
    return ran == 0;
}
