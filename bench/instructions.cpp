// bench/instructions.cpp: every variant called once per size and place, one callgrind dump for each,
// named "kernel level n place". scripts/instructions runs it under valgrind and reads the dumps.
#include "bench/kernels.h"

#include "rig/library.h"

#include <cstdio>
#include <map>
#include <string>
#include <valgrind/callgrind.h>

namespace {

using bench::Arrays;
using rig::Level;

// Multiples of what the strictest kernels ask for (fft_abs_f32 at AVX): a block or two, and many.
constexpr std::size_t sizes[] = {64, 1040};

Arrays& arrays(std::size_t n)
{
    static std::map<std::size_t, Arrays> all;
    return all.try_emplace(n, n).first->second;
}

template <class Body>
void count(const std::string& row, const Body& call)
{
    call(); // imported functions are bound, pages touched
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
    call();
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(row.c_str());
}

template <class Fn, class Body>
void count_levels(const char* kernel, std::size_t crossing, const Body& call)
{
    for (const Level level : rig::table().at(kernel)) {
        Fn* const variant = *rig::at(level).entry<Fn>(kernel);
        for (const std::size_t n : sizes)
            for (const std::size_t shift : {std::size_t{0}, crossing}) {
                const std::string row = std::string(kernel) + ' ' + rig::name(level) + ' ' +
                                        std::to_string(n) + (shift == 0 ? " aligned" : " crossed");
                count(row, [&] { call(variant, arrays(n), shift); });
                if (crossing == 0)
                    break;
            }
    }
}

// The streaming FIR, through fir_step_c64 of each of its levels.
void count_streams()
{
    constexpr std::uint64_t taps = 32;
    for (const Level level : rig::table().at("fir_step_c64")) {
        const rig::Library& library = rig::at(level);
        Arrays& a = arrays(sizes[1]);
        double re[taps] = {}, im[taps] = {};
        std::int64_t pos = 0;
        const auto row = [&](const char* kernel) {
            return std::string(kernel) + ' ' + rig::name(level) + " 520 aligned";
        };
        count(row("fir_c16_alt"), [&] {
            library.function<decltype(fir_c16_alt)>("fir_c16_alt")(
                a.s16, 520, a.f64[1], taps - 1, &pos, re, im, a.f64[2], 0.1, 1.0);
        });
        count(row("fir_c32_alt"), [&] {
            library.function<decltype(fir_c32_alt)>("fir_c32_alt")(
                a.f32[0], 520, a.f64[1], taps - 1, &pos, re, im, a.f64[2]);
        });
        count(row("fir_c64_alt"), [&] {
            library.function<decltype(fir_c64_alt)>("fir_c64_alt")(
                a.f64[0], 520, a.f64[1], taps - 1, &pos, re, im, a.f64[2]);
        });
    }
}

} // namespace

int main()
{
    if (!RUNNING_ON_VALGRIND) {
        std::fprintf(stderr, "instructions: run by scripts/instructions, under callgrind\n");
        return 2;
    }
    bench::each_kernel([]<class Fn>(const char* kernel, Fn* PlainLoops::*, std::size_t crossing,
                                    auto call) { count_levels<Fn>(kernel, crossing, call); });
    count_streams();
}
