// tests/proof/convert.cpp: floating point to integers and back, two-channel layouts.
#include "models/pack.h"
#include "models/unpack.h"
#include "models/unpack_channels.h"
#include "proof/proof.h"

#include <cmath>

namespace proof {
namespace {

std::uintptr_t address(const void* p) { return reinterpret_cast<std::uintptr_t>(p); }

/// Samples whose codes fall on quarters, so that halves tie and the two roundings differ; with
/// NaNs now and then, or with far-off samples that a run of NaNs makes the extremes forget.
template <class K>
void quarters(rig::Random& random, typename K::Sample* at, std::size_t n)
{
    using T = typename K::Sample;
    using F = model::Format<T>;
    constexpr std::uint64_t range = sizeof(typename K::Code) == 1 ? 255 : 65535;
    const auto nan = [&] {
        return model::from_bits<T>(F::exponent |
                                   static_cast<typename F::Bits>(1 + random.below(999)));
    };
    const T unit = static_cast<T>(std::ldexp(1.0, -static_cast<int>(random.below(20))));
    const T low = unit * (static_cast<T>(random.below(4096)) - T(2048));
    for (std::size_t i = 0; i < n; ++i)
        at[i] = low + unit * static_cast<T>(random.below(4 * range + 1)) * T(0.25);
    if (n >= 2) {
        at[random.below(n)] = low;
        at[random.below(n)] = low + unit * static_cast<T>(range);
    }
    const std::uint64_t sort = random.below(3);
    if (sort == 1)
        for (std::size_t i = random.below(12); i < n; i += 1 + random.below(24))
            at[i] = nan();
    if (sort == 2 && n > 36) {
        for (std::size_t i = 8; i < n / 2; ++i)
            at[i] = (at[i] - low) * static_cast<T>(random.below(8) == 0 ? 1e6 : 4.0) + low;
        for (std::size_t i = n / 2; i < n / 2 + 8; ++i)
            at[i] = nan();
    }
}

template <class K>
void pack_kernel(Call& call)
{
    using T = typename K::Sample;
    using U = typename K::Code;
    const auto src = call.input<T>(
        call.n, [&](T* at, std::size_t size) { quarters<K>(call.random(), at, size); });
    const auto dst = call.output<U>(call.n);
    const auto step = call.output<T>(1);
    const auto offset = call.output<T>(1);

    const pack::Row row = pack::row_at<K>(call.level);
    const pack::Plan plan =
        pack::plan(row, address(src.at), sizeof(T), address(dst.at), sizeof(U), call.n);
    call.expect([&] {
        if (call.n == 0)
            return;
        T min;
        T max;
        pack::minmax(call.level, src.at, call.n, &min, &max);
        const pack::Quantiser<K> quantiser(row, min, max);
        for (std::size_t i = 0; i < (plan.faults ? plan.singles : call.n); ++i) {
            const bool in_block = i >= plan.singles && i < plan.tail;
            dst.want[i] = in_block ? quantiser.block(src.at[i]) : quantiser.single(src.at[i]);
        }
        step.want[0] = quantiser.step;
        offset.want[0] = quantiser.offset;
    });
    if (call.n == 0) {
        call.forget(step, 0, 1);
        call.forget(offset, 0, pack::Quantiser<K>::about_centre ? 1 : 0);
    }
    const auto body = [&] {
        call.kernel<typename K::Fn>()(src.at, call.n, dst.at, step.at, offset.at);
    };
    plan.faults ? call.faults(body) : call.run(body);
}

template <class K>
void unpack_kernel(Call& call)
{
    using T = typename K::Sample;
    using U = typename K::Code;
    const auto src = call.input<U>(call.n);
    const auto dst = call.output<T>(call.n);
    const T step = call.number<T>();
    const T offset = call.number<T>();
    const unpack::Plan plan = unpack::plan(unpack::row_at<K>(call.level), address(src.at),
                                           sizeof(U), address(dst.at), sizeof(T), call.n);
    call.expect([&] {
        for (std::size_t i = 0; i < (plan.faults ? plan.singles : call.n); ++i)
            dst.want[i] = unpack::restored(src.at[i], step, offset);
    });
    const auto body = [&] { call.kernel<typename K::Fn>()(src.at, call.n, dst.at, step, offset); };
    plan.faults ? call.faults(body) : call.run(body);
}

// A block that faults may have stored to the destination that it reached first.
void unpack_alt(Call& call)
{
    const auto src = call.input<std::int16_t>(2 * call.n);
    const auto dst0 = call.output<double>(call.n);
    const auto dst1 = call.output<double>(call.n);
    const auto scale = call.number<double>();
    const auto offset = call.number<double>();
    const unpack_channels::Plan plan = unpack_channels::alt_plan(
        call.level, address(src.at), address(dst0.at), address(dst1.at), call.n);
    call.expect([&] {
        for (std::size_t i = 0; i < (plan.faults ? plan.singles : call.n); ++i) {
            dst0.want[i] = unpack_channels::converted(src.at[2 * i], scale, offset);
            dst1.want[i] = unpack_channels::converted(src.at[2 * i + 1], scale, offset);
        }
    });
    const auto body = [&] {
        call.kernel<unpack_alt_s16_f64_fn>()(src.at, call.n, dst0.at, dst1.at, scale, offset);
    };
    if (plan.faults) {
        call.forget(dst0, plan.singles, plan.singles + 4);
        call.forget(dst1, plan.singles, plan.singles + 4);
        call.faults(body);
    } else {
        call.run(body);
    }
}

void unpack_cmb(Call& call)
{
    const auto src0 = call.input<std::int16_t>(call.n);
    const auto src1 = call.input<std::int16_t>(call.n);
    const auto dst = call.output<double>(2 * call.n);
    const auto scale = call.number<double>();
    const auto offset = call.number<double>();
    const unpack_channels::Plan plan = unpack_channels::cmb_plan(
        call.level, address(src0.at), address(src1.at), address(dst.at), call.n);
    call.expect([&] {
        for (std::size_t i = 0; i < (plan.faults ? plan.singles : call.n); ++i) {
            dst.want[2 * i] = unpack_channels::converted(src0.at[i], scale, offset);
            dst.want[2 * i + 1] = unpack_channels::converted(src1.at[i], scale, offset);
        }
    });
    const auto body = [&] {
        call.kernel<unpack_cmb_s16_f64_fn>()(src0.at, src1.at, call.n, dst.at, scale, offset);
    };
    plan.faults ? call.faults(body) : call.run(body);
}

template <class K>
Kernel pack_entry(std::size_t crossing)
{
    return {.name = K::name,
            .steps = {sizeof(typename K::Sample), sizeof(typename K::Code)},
            .run = pack_kernel<K>,
            .crossing = crossing};
}

template <class K>
Kernel unpack_entry(std::size_t crossing)
{
    return {.name = K::name,
            .steps = {sizeof(typename K::Code), sizeof(typename K::Sample)},
            .run = unpack_kernel<K>,
            .numbers = 2,
            .crossing = crossing};
}

} // namespace

const std::vector<Kernel>& convert_kernels()
{
    static const std::vector<Kernel> list = {
        pack_entry<pack::F32U8>(90),
        pack_entry<pack::F32S16>(60),
        pack_entry<pack::F64U8>(70),
        pack_entry<pack::F64S16>(60),
        pack_entry<pack::F64U16>(60),
        unpack_entry<unpack::U8F32>(75),
        unpack_entry<unpack::S16F32>(60),
        unpack_entry<unpack::U8F64>(60),
        unpack_entry<unpack::S16F64>(50),
        unpack_entry<unpack::U16F64>(50),
        {.name = "unpack_alt_s16_f64",
         .steps = {2, 8, 8},
         .run = unpack_alt,
         .numbers = 2,
         .crossing = 20},
        {.name = "unpack_cmb_s16_f64",
         .steps = {2, 2, 8},
         .run = unpack_cmb,
         .inputs = 2,
         .numbers = 2,
         .crossing = 36},
    };
    return list;
}

} // namespace proof
