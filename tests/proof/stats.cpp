// tests/proof/stats.cpp: extremes, means, levels, running peaks.
#include "models/avg.h"
#include "models/max_array.h"
#include "models/minmax.h"
#include "models/minmaxmed.h"
#include "proof/proof.h"

namespace proof {
namespace {

/// Models by level: the baseline's, the 16-byte level's, AVX's, AVX2's. At a level without a
/// variant of its own no call is made.
template <class Model>
struct Models {
    Model base, narrow, avx, avx2;

    Model at(Level level) const
    {
        switch (level) {
        case Level::base:
            return base;
        case Level::avx:
            return avx;
        case Level::avx2:
            return avx2;
        default:
            return narrow;
        }
    }
};

// p[0] is read whatever the count.
template <class Fn, class T, auto Of>
void extreme(Call& call)
{
    const auto p = call.input<T>(std::max<std::size_t>(call.n, 1));
    T want{};
    T got{};
    call.expect([&] { want = Of().at(call.level)(p.at, call.n, p.offset()); });
    call.run([&] { got = call.kernel<Fn>()(p.at, call.n); });
    call.returned(want, got);
}

template <class T>
using ExtremeModels = Models<T (*)(const T*, std::size_t, std::size_t)>;

template <class Sel, class T>
ExtremeModels<T> exact_models()
{
    return {minmax::exact<Sel, T>, minmax::exact<Sel, T>, nullptr, minmax::exact<Sel, T>};
}

template <class Sel>
ExtremeModels<float> f32_models()
{
    return {minmax::single_base<Sel, float>, minmax::f32_sse<Sel>, minmax::f32_avx<Sel>, nullptr};
}

ExtremeModels<double> min_f64_models()
{
    return {minmax::single_base<minmax::Min, double>, minmax::f64_sse2<minmax::Min>,
            minmax::min_f64_avx, nullptr};
}

ExtremeModels<double> max_f64_models()
{
    return {minmax::single_base<minmax::Max, double>, minmax::f64_sse2<minmax::Max>,
            minmax::max_f64_avx, nullptr};
}

template <class T>
using PairModels = Models<void (*)(const T*, std::size_t, std::size_t, T&, T&)>;

template <class T>
PairModels<T> pair_models()
{
    if constexpr (std::is_same_v<T, float>)
        return {minmax::pair_base<float>, minmax::minmax_f32_sse, minmax::minmax_f32_avx, nullptr};
    else if constexpr (std::is_same_v<T, double>)
        return {minmax::pair_base<double>, minmax::minmax_f64_sse2, minmax::minmax_f64_avx,
                nullptr};
    else
        return {minmax::pair_base<T>, minmax::minmax_s16_blocks<15, 8>, nullptr,
                minmax::minmax_s16_blocks<31, 16>};
}

template <class Fn, class T>
void extremes(Call& call)
{
    const auto p = call.input<T>(call.n);
    const auto min = call.output<T>(1);
    const auto max = call.output<T>(1);
    call.expect([&] {
        if (call.n != 0)
            pair_models<T>().at(call.level)(p.at, call.n, p.offset(), *min.want, *max.want);
    });
    call.run([&] { call.kernel<Fn>()(p.at, call.n, min.at, max.at); });
}

template <class Fn, class T, std::size_t Narrow, std::size_t Wide>
void average(Call& call)
{
    constexpr Models<T (*)(const T*, std::size_t, std::size_t)> models = {
        avg::avg_base<T>, avg::avg_lanes<T, Narrow, 4>, avg::avg_lanes<T, Wide, 8>, nullptr};
    const auto x = call.input<T>(call.n);
    T want{};
    T got{};
    call.expect([&] { want = models.at(call.level)(x.at, call.n, x.offset()); });
    call.run([&] { got = call.kernel<Fn>()(x.at, call.n); });
    call.returned(want, got);
}

template <class Fn, class T, std::size_t Narrow, std::size_t Wide>
void average_below(Call& call)
{
    constexpr Models<T (*)(const T*, std::size_t, std::size_t, T)> models = {
        avg::avg_lvl_base<T>, avg::avg_lvl_lanes<T, Narrow, Narrow>, avg::avg_lvl_lanes<T, Wide, 8>,
        avg::avg_lvl_lanes<T, Wide, Wide>};
    const auto x = call.input<T>(call.n);
    auto limit = call.number<T>();
    if (call.n != 0 && call.below(3) != 0)
        limit = x.at[call.below(call.n)]; // one of them, which itself counts
    call.overrule(limit);
    T want{};
    T got{};
    call.expect([&] { want = models.at(call.level)(x.at, call.n, x.offset(), limit); });
    call.run([&] { got = call.kernel<Fn>()(x.at, call.n, limit); });
    call.returned(want, got);
}

void average_magnitude(Call& call)
{
    constexpr Models<std::uint64_t (*)(const std::int16_t*, std::size_t, std::size_t)> models = {
        avg::avg_abs_base, avg::avg_abs_lanes<8>, nullptr, avg::avg_abs_lanes<16>};
    const auto x = call.input<std::int16_t>(call.n);
    const std::uint64_t want = models.at(call.level)(x.at, call.n, x.offset());
    std::uint64_t got = 0;
    call.run([&] { got = call.kernel<avg_abs_s16_fn>()(x.at, call.n); });
    call.returned(want, got);
}

template <class T>
using MeanModels = Models<void (*)(const T*, std::size_t, std::size_t, T&, T&, T&)>;

template <class T>
MeanModels<T> mean_models()
{
    if constexpr (std::is_same_v<T, float>)
        return {minmaxmed::base<float>, minmaxmed::f32_sse, minmaxmed::f32_avx, nullptr};
    else
        return {minmaxmed::base<double>, minmaxmed::f64_sse2, minmaxmed::f64_avx, nullptr};
}

template <class Fn, class T>
void extremes_and_mean(Call& call)
{
    const auto p = call.input<T>(call.n);
    const auto min = call.output<T>(1);
    const auto max = call.output<T>(1);
    const auto mean = call.output<T>(1);
    call.expect([&] {
        if (call.n != 0)
            mean_models<T>().at(call.level)(p.at, call.n, p.offset(), *min.want, *max.want,
                                            *mean.want);
    });
    call.run([&] { call.kernel<Fn>()(p.at, call.n, min.at, max.at, mean.at); });
}

template <class Fn, class T, std::size_t AvxThreshold>
void peak(Call& call)
{
    const auto dst = call.input<T>(call.n);
    const auto src = call.input<T>(call.n);
    const bool avx = call.level == Level::avx;
    const auto blocks = call.level == Level::base
                            ? max_array::Blocks()
                            : max_array::Blocks(call.n, dst.offset(), src.offset(), sizeof(T),
                                                avx ? 32 : 16, avx ? AvxThreshold : 15);
    call.expect([&] { max_array::peak(dst.want, src.at, call.n, blocks); });
    call.run([&] { call.kernel<Fn>()(dst.at, src.at, call.n); });
}

using minmax::Max;
using minmax::Min;
using u8 = std::uint8_t;
using s16 = std::int16_t;

template <std::size_t Element>
Kernel one_array(const char* name, void (*run)(Call&), std::size_t crossing, unsigned numbers = 0)
{
    return {.name = name, .steps = {Element}, .run = run, .numbers = numbers, .crossing = crossing};
}

} // namespace

const std::vector<Kernel>& stats_kernels()
{
    static const std::vector<Kernel> list = {
        one_array<1>("min_u8", extreme<min_u8_fn, u8, exact_models<Min, u8>>, 130),
        one_array<1>("max_u8", extreme<max_u8_fn, u8, exact_models<Max, u8>>, 130),
        one_array<2>("min_s16", extreme<min_s16_fn, s16, exact_models<Min, s16>>, 70),
        one_array<2>("max_s16", extreme<max_s16_fn, s16, exact_models<Max, s16>>, 70),
        one_array<2>("minmax_s16", extremes<minmax_s16_fn, s16>, 70),
        one_array<4>("min_f32", extreme<min_f32_fn, float, f32_models<Min>>, 45),
        one_array<4>("max_f32", extreme<max_f32_fn, float, f32_models<Max>>, 45),
        one_array<4>("minmax_f32", extremes<minmax_f32_fn, float>, 45),
        one_array<8>("min_f64", extreme<min_f64_fn, double, min_f64_models>, 25),
        one_array<8>("max_f64", extreme<max_f64_fn, double, max_f64_models>, 25),
        one_array<8>("minmax_f64", extremes<minmax_f64_fn, double>, 41),
        one_array<4>("avg_f32", average<avg_f32_fn, float, 4, 8>, 31),
        one_array<8>("avg_f64", average<avg_f64_fn, double, 2, 4>, 27),
        one_array<4>("avg_lvl_f32", average_below<avg_lvl_f32_fn, float, 4, 8>, 31, 1),
        one_array<8>("avg_lvl_f64", average_below<avg_lvl_f64_fn, double, 2, 4>, 27, 1),
        one_array<2>("avg_abs_s16", average_magnitude, 70),
        one_array<4>("minmaxmed_f32", extremes_and_mean<minmaxmed_f32_fn, float>, 45),
        one_array<8>("minmaxmed_f64", extremes_and_mean<minmaxmed_f64_fn, double>, 25),
        {.name = "max_array_f32",
         .steps = {4, 4},
         .run = peak<max_array_f32_fn, float, 31>,
         .inputs = 2,
         .crossing = 45},
        {.name = "max_array_f64",
         .steps = {8, 8},
         .run = peak<max_array_f64_fn, double, 15>,
         .inputs = 2,
         .crossing = 25},
    };
    return list;
}

} // namespace proof
