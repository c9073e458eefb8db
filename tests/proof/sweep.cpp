#include "proof/sweep.h"

#include <algorithm>

namespace proof {
namespace {

using Offsets = std::array<std::size_t, most_pointers>;

std::vector<Offsets> crossings(const std::vector<std::size_t>& steps)
{
    std::vector<Offsets> list;
    const auto cross = [&](std::size_t i, std::size_t j) {
        for (std::size_t a = 0; a < 64; a += steps[i])
            for (std::size_t b = 0; b < 64; b += steps[j]) {
                Offsets at{};
                at[i] = a;
                at[j] = b;
                list.push_back(at);
            }
    };
    if (steps.size() == 1)
        for (std::size_t a = 0; a < 64; a += steps[0])
            list.push_back({a});
    for (std::size_t i = 0; i < steps.size(); ++i)
        for (std::size_t j = i + 1; j < steps.size(); ++j)
            cross(i, j);
    return list;
}

Offsets drawn(const std::vector<std::size_t>& steps, rig::Random& random)
{
    Offsets at{};
    for (std::size_t i = 0; i < steps.size(); ++i)
        at[i] = random.below(64 / steps[i]) * steps[i];
    return at;
}

/// Spreads crossings and counts over the parts of a thinned sweep without any regularity of offset
/// and count.
std::uint64_t drawn_part(std::size_t crossing, std::size_t n)
{
    return rig::Random::fixed(crossing * most_elements * 2 + n).bits();
}

/// Kinds of data, edges and seeds in turn.
Case turned(std::size_t turn, std::size_t n, const Offsets& at, std::size_t kinds = data_kinds)
{
    Case c;
    c.n = n;
    c.at = at;
    c.data = static_cast<Data>(turn % kinds);
    c.edge = (turn / kinds) % 2 == 0 ? rig::Edge::end : rig::Edge::start;
    c.seed = turn;
    return c;
}

} // namespace

Extent share(const Kernel& kernel, Level level, Extent all)
{
    if (!kernel.function)
        return all;
    const auto step_of = [](Level at) {
        Level step = Level::base;
        for (const Level own : rig::table().at("fir_step_c64"))
            step = own <= at ? own : step;
        return step;
    };
    std::size_t levels = 0;
    std::size_t before = 0;
    for (const Level other : rig::all_levels)
        if (step_of(other) == step_of(level)) {
            ++levels;
            before += other < level ? 1U : 0U;
        }
    return {all.most, all.thin * levels, all.phase + before * all.thin};
}

void counts_and_offsets(const Kernel& kernel, Extent extent, const Visit& visit)
{
    constexpr std::size_t samples = 64;
    const std::vector<Offsets> list = crossings(kernel.steps);
    const std::size_t drawn_per_count = kernel.steps.size() > 2 ? samples : 0;
    rig::Random random = rig::Random::fixed(7);
    std::size_t turn = 0;
    const std::size_t thin = std::min(extent.thin, list.size()); // about one of each count
    for (std::size_t n = 0; n <= extent.most; ++n) {
        for (std::size_t i = 0; i < list.size(); ++i, ++turn)
            if (drawn_part(i, n) % thin == extent.phase % thin)
                visit(turned(turn, n, list[i]));
        for (std::size_t i = 0; i < drawn_per_count; ++i, ++turn) {
            const Offsets at = drawn(kernel.steps, random);
            if (drawn_part(i, n) % thin == extent.phase % thin)
                visit(turned(turn, n, at));
        }
    }
}

void special_values(const Kernel& kernel, Level level, Extent extent, const Visit& visit)
{
    if (kernel.crossing == 0)
        return;
    std::vector<unsigned> where; // inputs and scalars
    for (unsigned i = 0; i < kernel.inputs; ++i)
        where.push_back(i);
    for (unsigned i = 0; i < kernel.numbers; ++i)
        where.push_back(Plant::scalar + i);

    const std::size_t n = kernel.crossing;
    const std::size_t step = std::ranges::max(kernel.steps);
    std::size_t turn = 0;
    const auto plant = [&](const Offsets& at, Plant first, Plant second) {
        for (unsigned a = 0; a < special_count; ++a)
            for (unsigned b = 0; b < special_count; ++b, ++turn) {
                if (turn % extent.thin != extent.phase)
                    continue;
                Case c = turned(turn, n, at);
                c.data = Data::ordinary;
                c.plants[0] = {first.where, first.place, a};
                c.plants[1] = {second.where, second.place, b};
                visit(c);
            }
    };
    const auto at_offsets = [&](const Offsets& at) {
        for (std::size_t place = 0; place < n; ++place) {
            for (std::size_t i = 0; i < where.size(); ++i)
                for (std::size_t j = i + 1; j < where.size(); ++j)
                    if (where[i] < Plant::scalar)
                        plant(at, {where[i], place, 0}, {where[j], place, 0});
            for (std::size_t i = 0; i < kernel.inputs; ++i) // its neighbour, and one further on
                for (const std::size_t other : {(place + 1) % n, (place * 7 + 3 + i) % n})
                    plant(at, {where[i], place, 0}, {where[i], other, 0});
        }
    };
    const std::size_t width = level == Level::base ? step : level < Level::avx ? 16 : 32;
    for (std::size_t o = 0; o < width; o += step) {
        Offsets at;
        at.fill(o);
        at_offsets(at);
        if (kernel.steps.size() > 1 && level != Level::base) {
            at[kernel.steps.size() - 1] = (o + kernel.steps.back()) % 64;
            at_offsets(at);
        }
    }
}

Visit under_control(const Visit& visit)
{
    return [visit](Case c) {
        const std::uint64_t draw = rig::Random::fixed(c.seed * 2048 + c.n).bits();
        c.mxcsr = setting(draw % settings) | ((draw >> 4 & 1) != 0 ? rig::exception_flags : 0);
        if ((draw >> 5 & 1) != 0)
            c.data = (draw >> 6 & 3) == 0 ? Data::halves : Data::small;
        visit(c);
    };
}

void choice(const Kernel& kernel, const Visit& visit, std::size_t round)
{
    constexpr std::size_t kinds = 13; // that there were when the hashes were recorded
    constexpr std::size_t large[] = {47, 48, 63, 64, 65, 80, 96, 127, 128, 160, 257, 512, 1024};
    rig::Random random = rig::Random::fixed(8 + round);
    std::size_t turn = round << 20;
    const auto count = [&](std::size_t n) {
        for (std::size_t i = 0; i < 2 * kinds; ++i, ++turn) {
            Offsets at = drawn(kernel.steps, random);
            if (i % 4 == 1)
                at.fill(0);
            if (i % 4 > 1)
                for (std::size_t k = 0; k < kernel.steps.size(); ++k)
                    at[k] = at[0] / kernel.steps[k] * kernel.steps[k];
            visit(turned(turn, n, at, kinds));
        }
    };
    for (std::size_t n = 0; n <= 40; ++n)
        count(n);
    for (const std::size_t n : large)
        if (round == 0 || n <= 160)
            count(n);
    for (std::size_t i = 0; i < 100 && round == 0;
         ++i, ++turn) { // values enough to meet every constant
        Case c = turned(turn, most_elements, {}, kinds);
        c.data = i % 2 == 0 ? Data::fitting : Data::ordinary;
        visit(c);
    }
}

} // namespace proof
