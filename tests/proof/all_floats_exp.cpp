// tests/proof/all_floats_exp.cpp: the exponential of vfilter2_chunk's blocks.
//
// The exponential shows in a quotient only. For each float y one call with centre c = -y:
//
//     a sample 0 with weight 2^100: its distance is exactly y, its share of num 0, of den
//     g = e(y) * 2^100, exactly;
//     a sample at the centre with a weight w_r: e is 1 there, its share of num c * w_r, of den
//     w_r, too small to change the sum;
//     weights 0 elsewhere.
//
// So the result is (c * w_r) / g. w_r is chosen so that the mantissa of that quotient stands near 2:
// there a last bit of e moves it by a whole last bit or more. The program itself checks for each
// float that the neighbours of e would give other results; those few for which they would not get
// another w_r. Where e is 0 the quotient is c with w_r = 2^-30, beside which the smallest e would
// show. A tiny y takes the sample 1 for the centre, so that num stays normal. The kernel's argument
// is -d * d with d = y * 0.15, rounded: with all y all arguments occur that it can form.
#include "models/vfilter2.h"
#include "proof/all_floats.h"
#include "rig/library.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace all_floats {
namespace {

using model::from_bits;
using rig::bits_of;
using rig::Level;

float exp_at_distance(float y)
{
    const float d = vfilter2::scaled(0.0F, -y);
    return vfilter2::exp_lane(model::mul(model::sub(0.0F, d), d));
}

constexpr float usual_weight = 0x1p100F;

/// One call's weight of the sample 0, its reference, and what it then returns.
struct Reference {
    float own, sample, weight, e;

    /// For finite numbers, faster: what another value of e would give.
    float neighbour(float e_of_y) const
    {
        return sample * (e * weight) / (e_of_y * own + e * weight);
    }
    float result(float e_of_y) const
    {
        using model::add, model::mul;
        const float g = mul(e_of_y, own);
        const float other = mul(e, weight);
        return model::div(add(mul(0.0F, g), mul(sample, other)), add(g, other));
    }
};

float next_bits(float x, std::uint32_t by) { return from_bits<float>(bits_of(x) + by); }

/// The reference for y, if with one of a few weights the neighbours of e give other results.
bool choose(float y, float e, Reference& reference)
{
    if (std::fabs(y) < 0x1p-20F)
        reference = {usual_weight, 1.0F, 0.0F, exp_at_distance(1.0F + y)};
    else
        reference = {usual_weight, -y, 0.0F, 1.0F};
    if (e == 0.0F) {
        reference.weight = 0x1p-30F;
        return bits_of(reference.neighbour(0x1p-126F)) != bits_of(reference.neighbour(0.0F));
    }
    const float share = std::fabs(reference.sample * reference.e);
    const float mantissa = from_bits<float>((bits_of(share) & 0x007FFFFFU) | 0x3F800000U);
    reference.weight = 0x1.fffff0p73F * e / mantissa / (reference.e < 1.0F ? 2.0F : 1.0F);
    for (int attempt = 0; attempt < 16; ++attempt) {
        const std::uint32_t result = bits_of(reference.neighbour(e));
        if (result != bits_of(reference.neighbour(next_bits(e, 1))) &&
            result != bits_of(reference.neighbour(next_bits(e, ~0U))))
            return true;
        reference.weight = next_bits(reference.weight, attempt < 8 ? 1U : ~0U << attempt);
    }
    return false;
}

/// With c infinite or NaN every sample is as far off, and no reference is known. An infinite y has
/// e = 0, so that 0 / 0 tells it from any other. For a NaN, which is clamped like a large argument,
/// the weights are the largest at which e * weight is finite, and the next, at which it is not, in
/// turn: the result is 0 or NaN.
bool choose_alone(float y, float e, Reference& reference)
{
    reference = {1.0F, 0.0F, 0.0F, 0.0F};
    if (e == 0.0F)
        return true;
    float own = std::numeric_limits<float>::max() / e;
    while (std::isinf(e * own))
        own = next_bits(own, ~0U);
    while (!std::isinf(e * next_bits(own, 1)))
        own = next_bits(own, 1);
    reference.own = bits_of(y) % 2 == 0 ? own : next_bits(own, 1);
    return true;
}

/// The calls of some floats in a row, made ready before any of them is made.
struct Batch {
    static constexpr std::size_t size = 64;

    float y[size], want[size];
    Reference reference[size];
    alignas(64) float x[size][16], w[size][16];

    void prepare(std::uint64_t first, Shared& shared)
    {
        for (std::size_t i = 0; i < size; ++i) {
            y[i] = from_bits<float>(static_cast<std::uint32_t>(first + i));
            const float e = exp_at_distance(y[i]);
            const bool shows = std::isfinite(y[i]) ? choose(y[i], e, reference[i])
                                                   : choose_alone(y[i], e, reference[i]);
            if (!shows)
                ++shared.hidden;
            want[i] = reference[i].result(e);
        }
    }

    /// The float in a lane that changes from one to the next, its reference in another.
    void lay_out(std::size_t elements)
    {
        std::fill_n(&x[0][0], size * 16, 0.0F);
        std::fill_n(&w[0][0], size * 16, 0.0F);
        for (std::size_t i = 0; i < size; ++i) {
            const std::uint32_t bits = bits_of(y[i]);
            const std::size_t at = bits % elements;
            const std::size_t other = (at + 1 + (bits >> 5) % (elements - 1)) % elements;
            w[i][at] = reference[i].own;
            x[i][other] = reference[i].sample;
            w[i][other] = reference[i].weight;
        }
    }
};

} // namespace

void exp_chunk(std::size_t chunk, Shared& shared)
{
    vfilter2_chunk_fn* const kernels[2] = {KERNEL(rig::at(Level::sse2), vfilter2_chunk),
                                           KERNEL(rig::at(Level::avx2), vfilter2_chunk)};
    static Batch batch;
    Hash hash[2];
    for (std::uint64_t first = chunk * chunk_floats; first < (chunk + 1) * chunk_floats;
         first += Batch::size) {
        batch.prepare(first, shared);
        for (std::size_t k = 0; k < 2; ++k) {
            const std::size_t elements = k == 0 ? 8 : 16; // two blocks
            batch.lay_out(elements);
            for (std::size_t i = 0; i < Batch::size; ++i) {
                const float got = kernels[k](batch.x[i], batch.w[i], elements, -batch.y[i]);
                hash[k].take(got);
                if (bits_of(got) != bits_of(batch.want[i]))
                    shared.differs(names[2 + k], bits_of(batch.y[i]), batch.want[i], got);
            }
        }
    }
    for (std::size_t k = 0; k < 2; ++k)
        shared.hash[2 + k][chunk] = hash[k].state();
}

} // namespace all_floats
