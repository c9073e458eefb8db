// tests/proof/spectrum.cpp: products, interleaving, power, decibels.
#include "models/fft_abs.h"
#include "models/mix.h"
#include "models/mult.h"
#include "models/spec_log.h"
#include "proof/proof.h"

#include <cmath>

namespace proof {
namespace {

template <class Fn, class T>
void product(Call& call)
{
    const auto dst = call.output<T>(call.n);
    const auto a = call.input<T>(call.n);
    const auto b = call.input<T>(call.n);
    const mult::Blocks blocks =
        mult::mult_blocks(mult::width(call.level), dst.at, a.at, b.at, call.n);
    call.expect([&] {
        for (std::size_t i = 0; i < call.n; ++i)
            dst.want[i] = mult::mult_model(blocks.hold(i), a.at[i], b.at[i]);
    });
    call.run([&] { call.kernel<Fn>()(dst.at, a.at, b.at, call.n); });
}

void scaled_and_shifted(Call& call)
{
    const auto x = call.input<float>(call.n);
    const auto scale = call.number<float>();
    const auto offset = call.number<float>();
    call.expect([&] {
        for (std::size_t i = 0; i < call.n; ++i)
            x.want[i] = mult::mult_add_model(x.at[i], scale, offset);
    });
    call.run([&] { call.kernel<mult_add_f32_fn>()(x.at, call.n, scale, offset); });
}

void interleaved(Call& call)
{
    const auto re = call.input<double>(call.n);
    const auto im = call.input<double>(call.n);
    const auto out = call.output<double>(2 * call.n);
    const mix::Place at = {re.offset(), im.offset(), out.offset(), rig::Edge::end};
    const bool faults = mix::faulty(call.level, at, call.n);
    for (std::size_t i = 0; i < (faults ? mix::single_pairs(at.re % 32, call.n) : call.n); ++i) {
        std::memcpy(out.want + 2 * i, re.at + i, sizeof(double));
        std::memcpy(out.want + 2 * i + 1, im.at + i, sizeof(double));
    }
    const auto body = [&] { call.kernel<mix_f64_fn>()(re.at, im.at, call.n, out.at); };
    faults ? call.faults(body) : call.run(body);
}

// Single precision rounds each half up to whole blocks; double precision must have whole blocks.
// With both arrays aligned and a half that is not whole blocks the first store at half faults.
template <class Fn, class T>
void powers(Call& call)
{
    const std::size_t bytes = mult::width(call.level);
    const fft_abs::Shape shape = {call.level, bytes, bytes / sizeof(T)};
    const std::size_t half = call.n / 2;
    std::size_t read = 2 * half;
    std::size_t written = call.n;
    if (bytes != 0) {
        if (sizeof(T) == 8 && call.n % (2 * shape.lanes) != 0)
            return call.outside();
        const fft_abs::Extent extent = fft_abs::extent(shape, call.n);
        read = extent.read;
        written = std::max(call.n, extent.written);
    }
    const auto in = call.input<T>(2 * read);
    const auto out = call.output<T>(written);
    const bool faults = bytes != 0 && call.n != 0 && in.offset() % bytes == 0 &&
                        out.offset() % bytes == 0 && half % shape.lanes != 0;
    call.expect([&] {
        if (bytes == 0)
            fft_abs::baseline_model(in.at, call.n, out.want);
        else if (!faults)
            fft_abs::vector_model(shape, in.at, call.n, out.want);
    });
    const auto body = [&] { call.kernel<Fn>()(in.at, call.n, out.at); };
    faults ? call.faults(body) : call.run(body);
}

/// Every exponent, any mantissa.
template <class T>
void some_powers(rig::Random& random, T* at, std::size_t n)
{
    using F = model::Format<T>;
    for (std::size_t i = 0; i < n; ++i)
        at[i] = model::from_bits<T>(static_cast<typename F::Bits>(random.bits()) & ~F::sign);
}

// Above the threshold a count that is not whole blocks runs past the arrays, and arrays that are
// not aligned fault.
void decibels_f32(Call& call)
{
    const bool blocks = call.n > spec_log::threshold(call.level);
    const std::size_t lanes = spec_log::lanes(call.level);
    if (blocks && call.n % lanes != 0)
        return call.outside();
    const auto in = call.input<float>(
        call.n, [&](float* at, std::size_t size) { some_powers(call.random(), at, size); });
    const auto out = call.output<float>(call.n);
    const auto offset = call.number<float>();
    const bool faults =
        blocks && (in.offset() % (4 * lanes) != 0 || out.offset() % (4 * lanes) != 0);
    call.expect([&] {
        for (std::size_t i = 0; i < call.n && !faults; ++i)
            out.want[i] = blocks
                              ? spec_log::block_model(in.at[i], offset)
                              : spec_log::decibels(std::log10(spec_log::clamped(in.at[i])), offset);
    });
    const auto body = [&] { call.kernel<spec_log_f32_fn>()(in.at, call.n, out.at, offset); };
    faults ? call.faults(body) : call.run(body);
}

void decibels_f64(Call& call)
{
    const auto in = call.input<double>(
        call.n, [&](double* at, std::size_t size) { some_powers(call.random(), at, size); });
    const auto out = call.output<double>(call.n);
    const auto offset = call.number<double>();
    call.expect([&] {
        for (std::size_t i = 0; i < call.n; ++i)
            out.want[i] = spec_log::decibels(std::log10(spec_log::clamped(in.at[i])), offset);
    });
    call.run([&] { call.kernel<spec_log_f64_fn>()(in.at, call.n, out.at, offset); });
}

} // namespace

const std::vector<Kernel>& spectrum_kernels()
{
    static const std::vector<Kernel> list = {
        {.name = "mult_f32",
         .steps = {4, 4, 4},
         .run = product<mult_f32_fn, float>,
         .inputs = 2,
         .crossing = 31},
        {.name = "mult_f64",
         .steps = {8, 8, 8},
         .run = product<mult_f64_fn, double>,
         .inputs = 2,
         .crossing = 15},
        {.name = "mult_add_f32",
         .steps = {4},
         .run = scaled_and_shifted,
         .numbers = 2,
         .crossing = 31},
        {.name = "mix_f64", .steps = {8, 8, 8}, .run = interleaved, .inputs = 2, .crossing = 15},
        {.name = "fft_abs_f32",
         .steps = {4, 4},
         .run = powers<fft_abs_f32_fn, float>,
         .crossing = 48},
        {.name = "fft_abs_f64",
         .steps = {8, 8},
         .run = powers<fft_abs_f64_fn, double>,
         .crossing = 24},
        {.name = "spec_log_f32",
         .steps = {4, 4},
         .run = decibels_f32,
         .numbers = 1,
         .crossing = 48,
         .libm = true},
        {.name = "spec_log_f64",
         .steps = {8, 8},
         .run = decibels_f64,
         .numbers = 1,
         .crossing = 8,
         .libm = true},
    };
    return list;
}

} // namespace proof
