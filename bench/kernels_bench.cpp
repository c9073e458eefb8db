// bench/kernels_bench.cpp: every variant against a plain loop at -O3 for the same instruction set.
//
//     kernels_bench [--benchmark_filter=REGEX] [--sizes=1024,16384] [--benchmark_...]
//
// The library is loaded by the test rig, once per level, so all levels are measured on one machine
// and in one run. Variant and loop run on the same arrays, in rounds of random order; a row gives
// medians.
#include "bench/plain.h"

#include "rig/library.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <sstream>

namespace {

using rig::Level;

enum class Place { aligned, crossed }; // crossed: source and destination lie differently in a block

/// Arrays for any kernel, filled once per size; 64-byte aligned, and room to move by an element.
/// Kernels whose time depends on the data read the last of each kind, which nothing writes.
struct Arrays {
    explicit Arrays(std::size_t count)
        : n(count), memory(new (std::align_val_t{4096}) char[bytes()])
    {
        char* at = memory.get();
        const auto take = [&](std::size_t size) {
            char* here = at;
            at += (size + 4095) / 4096 * 4096 + 4096 + 192; // no two arrays on the same page offset
            at -= reinterpret_cast<std::uintptr_t>(at) % 64;
            return here;
        };
        for (double*& d : f64)
            d = reinterpret_cast<double*>(take(2 * n * 8 + 64));
        for (float*& f : f32)
            f = reinterpret_cast<float*>(take(2 * n * 4 + 64));
        u8 = reinterpret_cast<std::uint8_t*>(take(n + 64));
        s16 = reinterpret_cast<std::int16_t*>(take(4 * n + 64));
        other_s16 = reinterpret_cast<std::int16_t*>(take(2 * n + 64));
        u32 = reinterpret_cast<std::uint32_t*>(take(4 * n + 64));
        other_u32 = reinterpret_cast<std::uint32_t*>(take(4 * n + 64));
        refill();
    }

    void refill()
    {
        std::uint32_t state = 1;
        for (std::size_t i = 0; i < 2 * n + 8; ++i) {
            state = state * 1664525 + 1013904223;
            const float value = 0.01F + static_cast<float>(state >> 8) / 16777216.0F;
            for (double* d : f64)
                d[i] = static_cast<double>(value);
            for (float* f : f32)
                f[i] = value;
            s16[i] = static_cast<std::int16_t>(state >> 16);
            if (i < n + 32)
                u8[i] = static_cast<std::uint8_t>(state >> 24);
            if (i < n + 16) {
                other_s16[i] = static_cast<std::int16_t>(state >> 8);
                u32[i] = other_u32[i] = state;
            }
        }
    }

    std::size_t bytes() const { return 4 * (16 * n + 9000) + 4 * (8 * n + 9000) + 15 * n + 50000; }

    struct Free {
        void operator()(char* p) const { operator delete[](p, std::align_val_t{4096}); }
    };

    std::size_t n;
    std::unique_ptr<char[], Free> memory;
    double* f64[4];
    float* f32[4];
    std::uint8_t* u8;
    std::int16_t *s16, *other_s16;
    std::uint32_t *u32, *other_u32;
};

using Call = std::function<void()>;

struct Row {
    std::string kernel;
    Level level;
    Place place;
    std::size_t n;
    double ns[2]; // variant, plain loop: per element
};

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

/// Registers a kernel at all its levels: `call(function, arrays, shift)`, where shift is how many
/// elements the destination lies off its boundary, 0 or `crossing` (0: the kernel cannot be
/// crossed).
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

#define ADD(name, crossing, ...) add<name##_fn>(#name, &PlainLoops::name, crossing, __VA_ARGS__)

void register_memory()
{
    ADD(fill_f32, 1, [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.n, 1.0F); });
    ADD(memcpy_fast, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.f32[1], 4 * a.n); });
    ADD(swap_words_u32, 0,
        [](auto* f, Arrays& a, std::size_t) { f(a.u32, a.n - 16, a.other_u32); });
}

void register_convert()
{
    static float f_step, f_offset;
    static double d_step, d_offset;
    ADD(pack_f32_u8, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[3], a.n, a.u8 + s, &f_step, &f_offset); });
    ADD(pack_f32_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[3], a.n, a.s16 + s, &f_step, &f_offset); });
    ADD(pack_f64_u8, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[3], a.n, a.u8 + s, &d_step, &d_offset); });
    ADD(pack_f64_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[3], a.n, a.s16 + s, &d_step, &d_offset); });
    ADD(pack_f64_u16, 2, [](auto* f, Arrays& a, std::size_t s) { // 2 bytes off would fault at SSSE3
        f(a.f64[3], a.n, reinterpret_cast<std::uint16_t*>(a.s16) + s, &d_step, &d_offset);
    });
    ADD(unpack_u8_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.u8 + s, a.n, a.f32[0], 0.1F, 1.0F); });
    ADD(unpack_s16_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.s16 + s, a.n, a.f32[0], 0.1F, 1.0F); });
    ADD(unpack_u8_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.u8 + s, a.n, a.f64[0], 0.1, 1.0); });
    ADD(unpack_s16_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.s16 + s, a.n, a.f64[0], 0.1, 1.0); });
    ADD(unpack_u16_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(reinterpret_cast<const std::uint16_t*>(a.s16) + s, a.n, a.f64[0], 0.1, 1.0);
    });
    ADD(unpack_alt_s16_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.s16 + s, a.n, a.f64[0], a.f64[1], 0.1, 1.0); });
    ADD(unpack_cmb_s16_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(a.s16 + s, a.other_s16, a.n, a.f64[0], 0.1, 1.0);
    });
}

void register_stats()
{
    ADD(min_u8, 1,
        [](auto* f, Arrays& a, std::size_t s) { benchmark::DoNotOptimize(f(a.u8 + s, a.n)); });
    ADD(max_u8, 1,
        [](auto* f, Arrays& a, std::size_t s) { benchmark::DoNotOptimize(f(a.u8 + s, a.n)); });
    ADD(min_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { benchmark::DoNotOptimize(f(a.s16 + s, a.n)); });
    ADD(max_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { benchmark::DoNotOptimize(f(a.s16 + s, a.n)); });
    ADD(minmax_s16, 1, [](auto* f, Arrays& a, std::size_t s) {
        std::int16_t low, high;
        f(a.s16 + s, a.n, &low, &high);
    });
    const auto value_of_f32 = [](auto* f, Arrays& a, std::size_t s) {
        benchmark::DoNotOptimize(f(a.f32[3] + s, a.n));
    };
    const auto value_of_f64 = [](auto* f, Arrays& a, std::size_t s) {
        benchmark::DoNotOptimize(f(a.f64[3] + s, a.n));
    };
    ADD(min_f32, 1, value_of_f32);
    ADD(max_f32, 1, value_of_f32);
    ADD(minmax_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        float low, high;
        f(a.f32[3] + s, a.n, &low, &high);
    });
    ADD(min_f64, 1, value_of_f64);
    ADD(max_f64, 1, value_of_f64);
    ADD(minmax_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        double low, high;
        f(a.f64[3] + s, a.n, &low, &high);
    });
    ADD(avg_f32, 1, value_of_f32);
    ADD(avg_f64, 1, value_of_f64);
    ADD(avg_lvl_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        benchmark::DoNotOptimize(f(a.f32[3] + s, a.n, 0.5F));
    });
    ADD(avg_lvl_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        benchmark::DoNotOptimize(f(a.f64[3] + s, a.n, 0.5));
    });
    ADD(avg_abs_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { benchmark::DoNotOptimize(f(a.s16 + s, a.n)); });
    ADD(minmaxmed_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        float low, high, mean;
        f(a.f32[3] + s, a.n, &low, &high, &mean);
    });
    ADD(minmaxmed_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        double low, high, mean;
        f(a.f64[3] + s, a.n, &low, &high, &mean);
    });
    ADD(max_array_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.f32[1], a.n); });
    ADD(max_array_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0] + s, a.f64[1], a.n); });
}

void register_spectrum()
{
    ADD(mult_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.f32[1], a.f32[2], a.n); });
    ADD(mult_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0] + s, a.f64[1], a.f64[2], a.n); });
    ADD(mult_add_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.n, 1.0F, 0.0F); });
    ADD(mix_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0], a.f64[1], a.n, a.f64[2] + s); });
    ADD(fft_abs_f32, 1, [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0], a.n, a.f32[1] + s); });
    ADD(fft_abs_f64, 1, [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0], a.n, a.f64[1] + s); });
    ADD(spec_log_f32, 0, [](auto* f, Arrays& a, std::size_t) { f(a.f32[3], a.n, a.f32[1], 1.0F); });
    ADD(spec_log_f64, 0, [](auto* f, Arrays& a, std::size_t) { f(a.f64[3], a.n, a.f64[1], 1.0); });
}

void register_filter()
{
    ADD(fir_step_c32, 1, [](auto* f, Arrays& a, std::size_t s) {
        float re, im;
        f(a.f32[0] + s, a.f32[1], a.f32[2], a.n, &re, &im);
    });
    ADD(fir_step_c64, 1, [](auto* f, Arrays& a, std::size_t s) {
        double re, im;
        f(a.f64[0] + s, a.f64[1], a.f64[2], a.n, &re, &im);
    });
    ADD(iir1_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0], a.n, a.f32[1] + s, 0.1F); });
    ADD(iir1_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0], a.n, a.f64[1] + s, 0.1); });
    ADD(vfilter_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(a.f32[0] + s, static_cast<std::int32_t>(a.n), a.f32[1], 31, a.f32[2]);
    });
    ADD(vfilter_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(a.f64[0] + s, static_cast<std::int32_t>(a.n), a.f64[1], 31, a.f64[2]);
    });
    ADD(vfilter2_chunk, 1, [](auto* f, Arrays& a, std::size_t s) {
        benchmark::DoNotOptimize(f(a.f32[3] + s, a.f32[2], a.n, 0.5F));
    });
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
    register_memory();
    register_convert();
    register_stats();
    register_spectrum();
    register_filter();
    Ratios ratios;
    const std::size_t ran = benchmark::RunSpecifiedBenchmarks(&ratios);
    return ran == 0;
}
