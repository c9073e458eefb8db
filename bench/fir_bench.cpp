// bench/fir_bench.cpp: the streaming FIR in samples per second, by number of taps and input format,
// against a plain loop and against what a user would take from a DSP library, where one is
// installed.
//
//     fir_bench [--benchmark_...]
//
// What the peers do is not quite the same: liquid-dsp and VOLK filter complex floats in single
// precision, ours converts any format to double. Their rows stand beside the float input's.
#include "bench/plain.h"

#include "rig/library.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <complex>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#ifdef LIBSIMD_HAVE_LIQUID
#include <liquid/liquid.h>
#endif
#ifdef LIBSIMD_HAVE_VOLK
#include <volk/volk.h>
#endif

namespace {

using rig::Level;

constexpr std::size_t samples = 4096; // a call
constexpr std::size_t most_taps = 512;

template <class S>
std::vector<S> signal()
{
    std::vector<S> in(2 * (samples + most_taps));
    for (std::size_t i = 0; i < in.size(); ++i)
        in[i] = static_cast<S>(1000.0 * std::sin(0.01 * static_cast<double>(i * i % 10007)));
    return in;
}

template <class T>
std::vector<T> low_pass(std::size_t count)
{
    std::vector<T> taps(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double x = (static_cast<double>(i) - static_cast<double>(count - 1) / 2) * 0.3;
        taps[i] = static_cast<T>(x < 1e-9 && x > -1e-9 ? 0.3 : 0.3 * std::sin(x) / x);
    }
    return taps;
}

struct State {
    explicit State(std::size_t taps) : re(taps), im(taps), out(2 * samples) {}
    std::vector<double> re, im, out;
    std::int64_t pos = 0;
};

template <class S, class Fn>
void ours(benchmark::State& run, Fn* fir)
{
    const auto taps = low_pass<double>(static_cast<std::size_t>(run.range(0)));
    const auto in = signal<S>();
    State s(taps.size());
    for (auto _ : run) {
        if constexpr (std::is_same_v<S, std::int16_t>)
            fir(in.data(), samples, taps.data(), taps.size() - 1, &s.pos, s.re.data(), s.im.data(),
                s.out.data(), 1.0 / 32768, 0.0);
        else
            fir(in.data(), samples, taps.data(), taps.size() - 1, &s.pos, s.re.data(), s.im.data(),
                s.out.data());
        benchmark::ClobberMemory();
    }
    run.SetItemsProcessed(run.iterations() * static_cast<std::int64_t>(samples));
}

#ifdef LIBSIMD_HAVE_LIQUID
void liquid(benchmark::State& run)
{
    auto taps = low_pass<float>(static_cast<std::size_t>(run.range(0)));
    auto in = signal<float>();
    std::vector<std::complex<float>> out(samples);
    firfilt_crcf filter = firfilt_crcf_create(taps.data(), static_cast<unsigned>(taps.size()));
    for (auto _ : run) {
        firfilt_crcf_execute_block(filter, reinterpret_cast<liquid_float_complex*>(in.data()),
                                   static_cast<unsigned>(samples),
                                   reinterpret_cast<liquid_float_complex*>(out.data()));
        benchmark::ClobberMemory();
    }
    firfilt_crcf_destroy(filter);
    run.SetItemsProcessed(run.iterations() * static_cast<std::int64_t>(samples));
}
#endif

#ifdef LIBSIMD_HAVE_VOLK
void volk(benchmark::State& run)
{
    // Aligned as VOLK's own allocator does it: its kernels fault on taps that are not.
    const auto list = low_pass<float>(static_cast<std::size_t>(run.range(0)));
    auto* taps =
        static_cast<float*>(volk_malloc(list.size() * sizeof(float), volk_get_alignment()));
    std::copy(list.begin(), list.end(), taps);
    const auto in = signal<float>();
    const auto* x = reinterpret_cast<const lv_32fc_t*>(in.data());
    std::vector<lv_32fc_t> out(samples);
    for (auto _ : run) {
        for (std::size_t k = 0; k < samples; ++k)
            volk_32fc_32f_dot_prod_32fc(&out[k], x + k, taps, static_cast<unsigned>(list.size()));
        benchmark::ClobberMemory();
    }
    volk_free(taps);
    run.SetItemsProcessed(run.iterations() * static_cast<std::int64_t>(samples));
}
#endif

template <class Measure>
void add(const std::string& name, Measure measure)
{
    auto* b = benchmark::RegisterBenchmark(name.c_str(), measure);
    for (const std::int64_t taps : {8, 32, 128, 512})
        b->Arg(taps);
}

/// A table of samples per second, taps across.
class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && run.iterations != 0) {
                const double seconds =
                    run.real_accumulated_time / static_cast<double>(run.iterations);
                rates_[run.run_name.function_name][std::stol(run.run_name.args)].push_back(
                    static_cast<double>(samples) / seconds / 1e6);
            }
    }
    void Finalize() override
    {
        std::printf("%-28s %9s %9s %9s %9s  million samples a second, by taps\n", "", "8", "32",
                    "128", "512");
        for (auto& [name, row] : rates_) {
            std::printf("%-28s", name.c_str());
            for (auto& [taps, list] : row) {
                std::sort(list.begin(), list.end());
                std::printf(" %9.3f", list[list.size() / 2]);
            }
            std::printf("\n");
        }
    }

private:
    std::map<std::string, std::map<long, std::vector<double>>> rates_;
};

template <class Fn>
void add_format(const std::string& format, const char* kernel, Fn* loop_sse2, Fn* loop_avx,
                void (*measure)(benchmark::State&, Fn*))
{
    const auto with = [measure](Fn* fir) {
        return [measure, fir](benchmark::State& run) { measure(run, fir); };
    };
    for (const Level level : {Level::base, Level::sse2, Level::avx})
        if (level != Level::avx || __builtin_cpu_supports("avx"))
            add(format + " " + kernel + " " + rig::name(level),
                with(rig::at(level).function<Fn>(kernel)));
    add(format + " plain loop sse2", with(loop_sse2));
    if (__builtin_cpu_supports("avx"))
        add(format + " plain loop avx", with(loop_avx));
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> arguments(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char repeat[] = "--benchmark_repetitions=7";
    char time[] = "--benchmark_min_time=0.02";
    arguments.insert(arguments.begin() + 1, {interleave, repeat, time});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;

    add_format<decltype(fir_c16_alt)>("s16", "fir_c16_alt", plain_sse2.fir_c16_alt,
                                      plain_avx.fir_c16_alt, ours<std::int16_t>);
    add_format<decltype(fir_c32_alt)>("f32", "fir_c32_alt", plain_sse2.fir_c32_alt,
                                      plain_avx.fir_c32_alt, ours<float>);
    add_format<decltype(fir_c64_alt)>("f64", "fir_c64_alt", plain_sse2.fir_c64_alt,
                                      plain_avx.fir_c64_alt, ours<double>);
#ifdef LIBSIMD_HAVE_LIQUID
    add("f32 liquid-dsp firfilt_crcf", liquid);
#endif
#ifdef LIBSIMD_HAVE_VOLK
    add("f32 VOLK dot_prod", volk);
#endif
    Table table;
    return benchmark::RunSpecifiedBenchmarks(&table) == 0;
}
