// tests/proof/filter.cpp: FIR steps and streams, exponential averaging, smoothing.
#include "models/fir_alt.h"
#include "models/fir_step.h"
#include "models/iir1.h"
#include "models/vfilter.h"
#include "models/vfilter2.h"
#include "proof/proof.h"

#include <algorithm>

namespace proof {
namespace {

template <class Fn, class T>
void fir_step(Call& call)
{
    const auto re = call.input<T>(call.n);
    const auto im = call.input<T>(call.n);
    const auto taps = call.input<T>(call.n);
    const auto out_re = call.output<T>(1);
    const auto out_im = call.output<T>(1);
    const std::size_t lanes = model::fir_lanes<T>(call.level);
    const std::size_t head = model::fir_head(re.at, im.at, taps.at, lanes);
    call.expect([&] {
        *out_re.want = model::fir_sum(re.at, taps.at, call.n, lanes, head);
        *out_im.want = model::fir_sum(im.at, taps.at, call.n, lanes, head);
    });
    call.run([&] { call.kernel<Fn>()(re.at, im.at, taps.at, call.n, out_re.at, out_im.at); });
}

/// Lengths of filters: most short, some beyond two blocks and a head.
std::size_t some_length(Call& call) { return 1 + call.below(call.below(8) == 0 ? 40 : 6); }

// Without a sample no step runs, so that nothing clears the upper halves.
template <class F>
void fir_alt_stream(Call& call)
{
    const std::size_t taps_count = some_length(call);
    const auto in = call.input<typename F::In>(2 * call.n);
    const auto taps = call.input<double>(taps_count);
    const auto re = call.input<double>(taps_count);
    const auto im = call.input<double>(taps_count);
    const auto out = call.output<double>(2 * call.n);
    const auto pos = call.output<std::int64_t>(1);
    const fir_alt::Numbers by = {call.number<double>(), call.number<double>()};
    pos.preset(0, static_cast<std::int64_t>(call.below(taps_count)));

    fir_alt::Ring ring{taps.at, re.at,   im.at,          taps.want,
                       re.want, im.want, taps_count - 1, pos.at[0]};
    call.expect([&] { fir_alt::expect<F>(call.level, in.at, call.n, ring, out.want, by); });
    *pos.want = ring.pos;
    call.run(call.n == 0 ? Level::base : call.level, [&] {
        F::call(call.kernel<typename F::Fn>(), in.at, call.n, taps.at, taps_count - 1, pos.at,
                re.at, im.at, out.at, by);
    });
}

template <class K>
void averaging(Call& call)
{
    using T = typename K::Element;
    const auto x = call.input<T>(call.n);
    const auto y = call.input<T>(call.n);
    const T a = call.number<T>();
    const std::size_t bare = iir1::bare<K>(call.level, call.n, x.offset(), y.offset());
    call.expect([&] {
        for (std::size_t i = 0; i < call.n; ++i)
            y.want[i] = i < bare ? model::mul(model::sub(x.at[i], y.at[i]), a)
                                 : iir1::full(x.at[i], y.at[i], a);
    });
    call.run([&] { call.kernel<typename K::Fn>()(x.at, call.n, y.at, a); });
}

// n is at least 2 * (len >> 1); an even len needs one tap more.
template <class Fn, class T>
void smoothing(Call& call)
{
    const auto n = static_cast<std::int32_t>(call.n);
    const std::int32_t len =
        std::min(n, static_cast<std::int32_t>(some_length(call)) - (call.below(16) == 0 ? 3 : 0));
    const std::int32_t half = len > 1 ? len >> 1 : 0;
    const auto x = call.input<T>(call.n);
    const auto taps = call.input<T>(2 * static_cast<std::size_t>(half) + 1);
    const auto y = call.output<T>(call.n);
    call.expect([&] {
        vfilter::expect<T>(x.at, n, taps.at, len, y.want, model::fir_lanes<T>(call.level), x.at,
                           taps.at);
    });
    call.run([&] { call.kernel<Fn>()(x.at, n, taps.at, len, y.at); });
}

/// Distances from the centre: most within the Gaussian, some at its rim.
void around(rig::Random& random, float c, float* at, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i) {
        const double side = random.below(2) == 0 ? -1 : 1;
        const double distance =
            random.below(8) == 0 ? 55 + 20 * random.unit() : 15 * random.unit() * random.unit();
        at[i] = static_cast<float>(static_cast<double>(c) + side * distance);
    }
}

void centre(Call& call)
{
    const bool fitting = call.data() == Data::fitting;
    auto c = call.number<float>();
    if (fitting)
        c = static_cast<float>(call.random().unit() * 200 - 100);
    call.overrule(c);
    const auto x = call.input<float>(
        call.n, [&](float* at, std::size_t size) { around(call.random(), c, at, size); });
    const auto w = call.input<float>(call.n, [&](float* at, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            at[i] = static_cast<float>(call.random().unit() + 0.01);
    });
    float want = 0;
    float got = 0;
    call.expect([&] { want = vfilter2::expect(x.at, w.at, call.n, c, call.level).mean; });
    call.run([&] { got = call.kernel<vfilter2_chunk_fn>()(x.at, w.at, call.n, c); });
    call.returned(want, got);
}

template <class F>
Kernel stream()
{
    return {.name = F::name,
            .steps = {sizeof(typename F::In), 8, 8, 8, 8},
            .run = fir_alt_stream<F>,
            .inputs = 4,
            .numbers = sizeof(typename F::In) == 2 ? 2U : 0U,
            .crossing = 12,
            .function = true};
}

} // namespace

const std::vector<Kernel>& filter_kernels()
{
    static const std::vector<Kernel> list = {
        {.name = "fir_step_c32",
         .steps = {4, 4, 4},
         .run = fir_step<fir_step_c32_fn, float>,
         .inputs = 3,
         .crossing = 31},
        {.name = "fir_step_c64",
         .steps = {8, 8, 8},
         .run = fir_step<fir_step_c64_fn, double>,
         .inputs = 3,
         .crossing = 15},
        stream<fir_alt::c16>(),
        stream<fir_alt::c32>(),
        stream<fir_alt::c64>(),
        {.name = "iir1_f32",
         .steps = {4, 4},
         .run = averaging<iir1::f32>,
         .inputs = 2,
         .numbers = 1,
         .crossing = 45},
        {.name = "iir1_f64",
         .steps = {8, 8},
         .run = averaging<iir1::f64>,
         .inputs = 2,
         .numbers = 1,
         .crossing = 25},
        {.name = "vfilter_f32",
         .steps = {4, 4, 4},
         .run = smoothing<vfilter_f32_fn, float>,
         .inputs = 2,
         .crossing = 40},
        {.name = "vfilter_f64",
         .steps = {8, 8, 8},
         .run = smoothing<vfilter_f64_fn, double>,
         .inputs = 2,
         .crossing = 24},
        {.name = "vfilter2_chunk",
         .steps = {4, 4},
         .run = centre,
         .inputs = 2,
         .numbers = 1,
         .crossing = 19,
         .libm = true},
    };
    return list;
}

} // namespace proof
