// tests/fir_step_test.cpp: fir_step_c32 and fir_step_c64, bit for bit at every level.
#include "models/fir_step.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <limits>
#include <string>
#include <vector>
#include <xmmintrin.h>

using namespace rig;

namespace {

struct c32 {
    using Element = float;
    using Fn = fir_step_c32_fn;
    static constexpr const char* name = "fir_step_c32";
};
struct c64 {
    using Element = double;
    using Fn = fir_step_c64_fn;
    static constexpr const char* name = "fir_step_c64";
};

template <class K>
testing::AssertionResult installed(Level level)
{
    const std::string want = std::string(K::name) + "_" + name(level);
    const std::string got = at(level).variant(K::name);
    return got == want ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "want " << want << ", got " << got;
}

/// Offsets of the three inputs, in bytes modulo 64.
struct Offsets {
    std::size_t re, im, taps;
};

/// The five arrays of a call and what the inputs are filled from.
template <class K>
class Step {
public:
    using T = typename K::Element;
    static constexpr std::size_t most = 96;
    static constexpr std::size_t steps = 64 / sizeof(T);

    std::vector<T> re_data = std::vector<T>(most), im_data = re_data, taps_data = re_data;

    void make(Random& random, Kind kind)
    {
        fill(re_data.data(), most, random, kind);
        fill(im_data.data(), most, random, kind);
        fill(taps_data.data(), most, random, kind);
    }

    void place(std::size_t n, Offsets at, Edge edge, std::size_t out_offset = 0)
    {
        n_ = n;
        re_.place(n, at.re, edge);
        im_.place(n, at.im, edge);
        taps_.place(n, at.taps, edge);
        out_re_.place(1, out_offset, edge);
        out_im_.place(1, (out_offset + 24) % 64, edge);
        std::memcpy(re_.data(), re_data.data(), n * sizeof(T));
        std::memcpy(im_.data(), im_data.data(), n * sizeof(T));
        std::memcpy(taps_.data(), taps_data.data(), n * sizeof(T));
    }

    std::size_t head(Level level) const
    {
        return model::fir_head(re_.data(), im_.data(), taps_.data(), model::fir_lanes<T>(level));
    }

    /// One call on the placed arrays: faults, canaries, inputs, outputs.
    testing::AssertionResult call(Level level)
    {
        typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
        out_re_.fill_bytes(0xa5);
        out_im_.fill_bytes(0x5a);
        if (auto ok = armed(level,
                            [&] {
                                kernel(re_.data(), im_.data(), taps_.data(), n_, out_re_.data(),
                                       out_im_.data());
                            });
            !ok)
            return ok;
        for (const auto& ok :
             {re_.intact(), im_.intact(), taps_.intact(), out_re_.intact(), out_im_.intact(),
              same_bits(re_data.data(), re_.data(), n_), same_bits(im_data.data(), im_.data(), n_),
              same_bits(taps_data.data(), taps_.data(), n_)})
            if (!ok)
                return ok;
        got_re = out_re_.get(0);
        got_im = out_im_.get(0);
        return testing::AssertionSuccess();
    }

    /// The same, against the model.
    testing::AssertionResult compare(Level level)
    {
        if (auto ok = call(level); !ok)
            return ok;
        const std::size_t lanes = model::fir_lanes<T>(level);
        const std::size_t h = head(level);
        const T want_re = model::fir_sum(re_data.data(), taps_data.data(), n_, lanes, h);
        const T want_im = model::fir_sum(im_data.data(), taps_data.data(), n_, lanes, h);
        if (auto ok = same_bits(want_re, got_re); !ok)
            return ok << " in out_re";
        if (auto ok = same_bits(want_im, got_im); !ok)
            return ok << " in out_im";
        return testing::AssertionSuccess();
    }

    Buffer<T> re_{most}, im_{most}, taps_{most}, out_re_{1}, out_im_{1};
    std::size_t n_ = 0;
    T got_re{}, got_im{};
};

std::string where(Level level, std::size_t n, Offsets at, Kind kind, Edge edge)
{
    return std::string(name(level)) + " n " + std::to_string(n) + " offsets " +
           std::to_string(at.re) + " " + std::to_string(at.im) + " " + std::to_string(at.taps) +
           " kind " + std::to_string(static_cast<int>(kind)) +
           (edge == Edge::start ? " start" : " end");
}

// ---- Every count, and every crossing of alignments ----------------------------------------------

/// All counts to beyond four of the widest blocks and a head, all kinds, both edges; alignments
/// alike and unlike.
template <class K>
void counts(Level level)
{
    ASSERT_TRUE(installed<K>(level));
    using T = typename K::Element;
    Step<K> step;
    Random random(61);
    std::vector<Offsets> list;
    for (std::size_t o = 0; o < 64; o += sizeof(T)) {
        list.push_back({o, o, o});
        list.push_back({o, (o + 32) % 64, (o + 16) % 64});
        list.push_back({o, (o + sizeof(T)) % 64, o});
        list.push_back({o, o, (o + sizeof(T)) % 64});
    }
    const std::size_t beyond = 4 * (32 / sizeof(T)) + 64 / sizeof(T) + 3;
    for (std::size_t n = 0; n <= beyond; ++n)
        for (const Kind kind : all_kinds) {
            step.make(random, kind);
            for (const Offsets& at : list)
                for (const Edge edge : both_edges) {
                    step.place(n, at, edge);
                    ASSERT_TRUE(step.compare(level)) << where(level, n, at, kind, edge);
                }
        }
}

/// The three addresses crossed modulo 64.
template <class K>
void alignments(Level level)
{
    ASSERT_TRUE(installed<K>(level));
    using T = typename K::Element;
    const std::size_t w = model::fir_lanes<T>(level);
    Step<K> step;
    Random random(62);
    bool odd = false;
    for (const std::size_t n : {w - 1, w, w + 1, 2 * w + 1, 3 * w - 1, 4 * w + 2})
        for (const Kind kind : {Kind::ordinary, Kind::mixed}) {
            step.make(random, kind);
            for (std::size_t re = 0; re < 64; re += sizeof(T))
                for (std::size_t im = 0; im < 64; im += sizeof(T))
                    for (std::size_t taps = 0; taps < 64; taps += sizeof(T)) {
                        const Offsets at{re, im, taps};
                        const Edge edge = (odd = !odd) ? Edge::start : Edge::end;
                        step.place(n, at, edge);
                        ASSERT_TRUE(step.compare(level)) << where(level, n, at, kind, edge);
                    }
        }
}

/// The out-pointers at every alignment, each with canaries of its own.
template <class K>
void out_pointers(Level level)
{
    using T = typename K::Element;
    Step<K> step;
    Random random(63);
    step.make(random, Kind::ordinary);
    for (const std::size_t n : {0U, 1U, 5U, 19U, 40U})
        for (std::size_t o = 0; o < 64; o += sizeof(T))
            for (const Edge edge : both_edges) {
                step.place(n, {4 * sizeof(T), 4 * sizeof(T), 4 * sizeof(T)}, edge, o);
                ASSERT_TRUE(step.compare(level))
                    << name(level) << " n " << n << " outputs at " << o;
            }
}

// ---- The order of the sum -----------------------------------------------------------------------

/// One block with an empty head: every other way to join the lanes gives other bits on this data.
template <class K>
void lane_pairs(Level level)
{
    using T = typename K::Element;
    using model::add;
    const std::size_t w = model::fir_lanes<T>(level);
    Step<K> step;
    Random random(64);
    for (int found = 0; found < 20;) {
        step.make(random, Kind::ordinary);
        T l[8] = {};
        for (std::size_t j = 0; j < w; ++j)
            l[j] = model::mul(step.re_data[j], step.taps_data[j]);
        const T want = model::fold(l, w);
        std::vector<T> wrong;
        T plain = 0;
        for (std::size_t j = 0; j < w; ++j)
            plain = add(plain, l[j]);
        wrong.push_back(plain);
        if (w == 4) {
            wrong.push_back(add(add(l[0], l[1]), add(l[2], l[3])));
            wrong.push_back(add(add(l[0], l[3]), add(l[1], l[2])));
        } else {
            const auto four = [&](std::size_t a, std::size_t b, std::size_t c, std::size_t d) {
                return add(add(l[a], l[b]), add(l[c], l[d]));
            };
            wrong.push_back(add(four(0, 1, 2, 3), four(4, 5, 6, 7)));
            wrong.push_back(add(four(0, 4, 1, 5), four(2, 6, 3, 7)));
            wrong.push_back(add(four(0, 2, 1, 3), four(4, 6, 5, 7)));
            wrong.push_back(add(four(0, 2, 4, 6), four(1, 3, 5, 7)));
            wrong.push_back(add(four(0, 4, 3, 7), four(1, 5, 2, 6)));
        }
        bool tells = true;
        for (const T other : wrong)
            tells = tells && bits_of(other) != bits_of(want);
        if (!tells)
            continue;
        ++found;
        step.place(w, {0, sizeof(T), 0}, Edge::end);
        ASSERT_TRUE(step.call(level));
        ASSERT_TRUE(same_bits(want, step.got_re)) << name(level);
    }
}

/// The head keeps a sum of its own, which joins after the lanes and before the tail.
template <class K>
void head_sum_apart(Level level)
{
    using T = typename K::Element;
    const std::size_t w = model::fir_lanes<T>(level);
    Step<K> step;
    const T big = T(1152921504606846976.0); // 1 is lost beside it
    for (std::size_t head = 1; head < w; ++head) {
        const std::size_t n = head + w + 1;
        for (std::size_t i = 0; i < n; ++i) {
            step.re_data[i] = 0;
            step.im_data[i] = 0;
            step.taps_data[i] = 1;
        }
        step.re_data[head - 1] = big; // -big + big, then + 1
        step.re_data[head] = -big;
        step.re_data[n - 1] = 1;
        step.im_data[head - 1] = 1; // (big - big) + 1
        step.im_data[head] = big;
        step.im_data[head + w - 1] = -big;
        const std::size_t o = 64 - head * sizeof(T);
        step.place(n, {o, o, o}, Edge::end);
        ASSERT_EQ(step.head(level), head);
        ASSERT_TRUE(step.compare(level)) << name(level);
        ASSERT_TRUE(same_bits(T(1), step.got_re)) << name(level);
        ASSERT_TRUE(same_bits(T(1), step.got_im)) << name(level);
    }
}

/// The head ends where re is aligned or where the array ends.
template <class K>
void head_ends_with_the_array(Level level)
{
    using T = typename K::Element;
    Step<K> step;
    Random random(65);
    for (std::size_t o = 0; o < 64; o += sizeof(T))
        for (std::size_t n = 0; n <= 2 * model::fir_lanes<T>(level); ++n) {
            step.make(random, Kind::mixed);
            step.place(n, {o, o, o}, Edge::end);
            ASSERT_TRUE(step.compare(level)) << name(level) << " n " << n << " at " << o;
        }
}

/// The choice of path is by the level's own width: addresses alike modulo 16 but not modulo 32
/// have a head for the 16-byte levels and none for AVX.
template <class K>
void path_by_own_width(Level level)
{
    using T = typename K::Element;
    const std::size_t w = model::fir_lanes<T>(level);
    Step<K> step;
    Random random(66);
    const std::size_t o = 16 - sizeof(T);
    const Offsets list[] = {{o, o + 16, o}, {o, o, o + 16}, {o + 16, o, o}, {o + 16, o + 16, o}};
    int told = 0;
    for (int round = 0; round < 30; ++round)
        for (const Offsets& at : list) {
            step.make(random, Kind::ordinary);
            step.place(3 * w + 3, at, Edge::start);
            const bool wide = level == Level::avx;
            ASSERT_EQ(step.head(level), wide ? 0U : 1U);
            ASSERT_TRUE(step.compare(level)) << name(level);
            const std::size_t other = wide ? (32 - at.re % 32) / sizeof(T) : 0;
            told += bits_of(step.got_re) !=
                    bits_of(model::fir_sum(step.re_data.data(), step.taps_data.data(), step.n_, w,
                                           other));
        }
    ASSERT_GT(told, 0) << "the data does not tell the paths apart";
}

// ---- NaN ----------------------------------------------------------------------------------------

/// Two NaNs at every pair of places, in the plane or in the taps: which one survives, and quiet.
template <class K>
void nan_pairs(Level level)
{
    using T = typename K::Element;
    using F = model::Format<T>;
    using B = typename F::Bits;
    const std::size_t w = model::fir_lanes<T>(level);
    const std::size_t n = 2 * w + 3;
    Step<K> step;
    Random random(67);
    const auto nan = [](B payload, bool negative, bool quiet) {
        return model::from_bits<T>(F::exponent | payload | (negative ? F::sign : 0) |
                                   (quiet ? F::quiet : 0));
    };
    step.make(random, Kind::ordinary);
    const auto re = step.re_data;
    const auto im = step.im_data;
    const auto taps = step.taps_data;
    for (const Offsets& at :
         {Offsets{0, 0, 0}, Offsets{64 - sizeof(T), 32 - sizeof(T), 64 - sizeof(T)},
          Offsets{48, 16, 48}, Offsets{0, sizeof(T), 0}})
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                for (int kind = 0; kind < 3; ++kind) {
                    step.re_data = re;
                    step.im_data = im;
                    step.taps_data = taps;
                    step.re_data[i] = nan(0x11, true, false);
                    step.im_data[i] = nan(0x12, false, true);
                    if (kind == 0) { // plane and plane
                        if (i == j)
                            continue;
                        step.re_data[j] = nan(0x21, false, true);
                        step.im_data[j] = nan(0x22, true, false);
                    } else { // plane and taps; in one place for i == j
                        step.taps_data[j] = nan(0x31, kind == 1, kind == 1);
                    }
                    step.place(n, at, Edge::end);
                    ASSERT_TRUE(step.compare(level))
                        << where(level, n, at, Kind::special, Edge::end) << " NaNs at " << i << ", "
                        << j << " kind " << kind;
                }
}

/// Of re * taps, both NaN, re's survives; of sum and product the sum's.
template <class K>
void nan_of_product(Level level)
{
    using T = typename K::Element;
    using F = model::Format<T>;
    Step<K> step;
    for (std::size_t n = 1; n <= 3 * model::fir_lanes<T>(level); ++n)
        for (std::size_t i = 0; i < n; ++i) {
            for (std::size_t k = 0; k < n; ++k)
                step.re_data[k] = step.im_data[k] = step.taps_data[k] = 1;
            step.re_data[i] = model::from_bits<T>(F::exponent | 0x1234);
            step.im_data[i] = model::from_bits<T>(F::sign | F::exponent | F::quiet | 0x2345);
            step.taps_data[i] = model::from_bits<T>(F::exponent | F::quiet | 0x3456);
            step.place(n, {0, 0, 0}, Edge::end);
            ASSERT_TRUE(step.call(level));
            ASSERT_TRUE(
                same_bits(model::from_bits<T>(F::exponent | F::quiet | 0x1234), step.got_re))
                << name(level) << " n " << n << " i " << i;
            ASSERT_TRUE(same_bits(step.im_data[i], step.got_im)) << name(level) << " n " << n;
        }
}

// ---- Edge cases ---------------------------------------------------------------------------------

/// n = 0 stores +0 twice and reads nothing, whatever the three addresses.
template <class K>
void nothing_to_sum(Level level)
{
    using T = typename K::Element;
    typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
    Buffer<T> re(1);
    Buffer<T> im(1);
    Buffer<T> taps(1);
    Buffer<T> out(2);
    for (const std::size_t o : {std::size_t{0}, sizeof(T), 32 - sizeof(T)})
        for (const std::size_t apart : {std::size_t{0}, sizeof(T)}) {
            const auto forbidden = [](Buffer<T>& buffer, std::size_t offset) { // beyond the room
                return reinterpret_cast<T*>(reinterpret_cast<char*>(buffer.place(0, 0, Edge::end)) +
                                            offset);
            };
            const T* const r = forbidden(re, o);
            const T* const i = forbidden(im, o + apart);
            const T* const t = forbidden(taps, o);
            ASSERT_TRUE(faults([&] { static_cast<void>(*const_cast<const volatile T*>(r)); }));
            out.place(2, 0, Edge::end);
            out.fill_bytes(0xff);
            ASSERT_TRUE(armed(level, [&] { kernel(r, i, t, 0, out.data(), out.data() + 1); }));
            ASSERT_TRUE(same_bits(T(0), out.get(0))) << name(level);
            ASSERT_TRUE(same_bits(T(0), out.get(1))) << name(level);
            ASSERT_TRUE(out.intact());
        }
    out.fill_bytes(0xff);
    ASSERT_TRUE(
        armed(level, [&] { kernel(nullptr, nullptr, nullptr, 0, out.data(), out.data() + 1); }));
    ASSERT_TRUE(same_bits(T(0), out.get(0)));
    ASSERT_TRUE(same_bits(T(0), out.get(1)));
}

/// Below W elements the baseline's bits, by the baseline itself.
template <class K>
void below_a_block(Level level)
{
    using T = typename K::Element;
    Step<K> step;
    Random random(68);
    for (std::size_t n = 0; n < model::fir_lanes<T>(level); ++n)
        for (const Kind kind : all_kinds)
            for (std::size_t o = 0; o < 64; o += sizeof(T))
                for (const std::size_t apart : {std::size_t{0}, sizeof(T)}) {
                    step.make(random, kind);
                    step.place(n, {o, o, (o + apart) % 64}, Edge::end);
                    ASSERT_TRUE(step.call(Level::base));
                    const T re = step.got_re;
                    const T im = step.got_im;
                    ASSERT_TRUE(step.call(level));
                    ASSERT_TRUE(same_bits(re, step.got_re)) << name(level) << " n " << n;
                    ASSERT_TRUE(same_bits(im, step.got_im)) << name(level) << " n " << n;
                }
}

/// From W elements on the last bits differ from the baseline's (two lanes: from 2W on).
template <class K>
void from_a_block_on(Level level)
{
    using T = typename K::Element;
    const std::size_t w = model::fir_lanes<T>(level);
    Step<K> step;
    Random random(69);
    for (const std::size_t n : {w == 2 ? 2 * w : w, 2 * w, 4 * w + 1}) {
        int differ = 0;
        for (int round = 0; round < 100; ++round) {
            step.make(random, Kind::ordinary);
            step.place(n, {0, 0, 0}, Edge::end);
            ASSERT_TRUE(step.call(Level::base));
            const T plain = step.got_re;
            ASSERT_TRUE(step.compare(level));
            differ += bits_of(plain) != bits_of(step.got_re);
        }
        ASSERT_GT(differ, 0) << name(level) << " n " << n;
    }
}

/// Addresses that differ modulo the width: the aligned path's bits for an empty head, and not those
/// of a head.
template <class K>
void unlike_addresses(Level level)
{
    using T = typename K::Element;
    const std::size_t w = model::fir_lanes<T>(level);
    const std::size_t o = sizeof(T); // a head of W - 1
    Step<K> step;
    Random random(70);
    int differ = 0;
    for (int round = 0; round < 100; ++round) {
        step.make(random, Kind::ordinary);
        step.place(4 * w + 1, {0, 0, 0}, Edge::end);
        ASSERT_TRUE(step.call(level));
        const T empty_head = step.got_re;
        for (const Offsets& at : {Offsets{o, 0, 0}, Offsets{0, o, 0}, Offsets{0, 0, o},
                                  Offsets{o, o, 0}, Offsets{o, 0, o}, Offsets{0, o, o}}) {
            step.place(4 * w + 1, at, Edge::end);
            ASSERT_TRUE(step.call(level));
            ASSERT_TRUE(same_bits(empty_head, step.got_re)) << name(level);
        }
        step.place(4 * w + 1, {o, o, o}, Edge::end);
        ASSERT_TRUE(step.compare(level));
        differ += bits_of(empty_head) != bits_of(step.got_re);
    }
    ASSERT_GT(differ, 0) << name(level);
}

/// Products that are all -0 sum to +0: the sum, the lanes and the head start at +0.
template <class K>
void minus_zeros(Level level)
{
    using T = typename K::Element;
    Step<K> step;
    for (std::size_t n = 0; n <= 3 * model::fir_lanes<T>(level) + 1; ++n)
        for (std::size_t o = 0; o < 64; o += sizeof(T))
            for (const std::size_t apart : {std::size_t{0}, sizeof(T)}) {
                for (std::size_t i = 0; i < n; ++i) {
                    step.re_data[i] = T(-0.0);
                    step.im_data[i] = T(0.0);
                    step.taps_data[i] = T(3);
                }
                step.place(n, {o, o, (o + apart) % 64}, Edge::start);
                ASSERT_TRUE(step.call(level));
                ASSERT_TRUE(same_bits(T(0), step.got_re)) << name(level) << " n " << n;
                for (std::size_t i = 0; i < n; ++i)
                    step.taps_data[i] = T(-3);
                step.place(n, {o, o, (o + apart) % 64}, Edge::start);
                ASSERT_TRUE(step.call(level));
                ASSERT_TRUE(same_bits(T(0), step.got_im)) << name(level) << " n " << n;
            }
}

/// Outputs over the inputs are stored like any other: each value is stored after its sum.
template <class K>
void outputs_over_inputs(Level level)
{
    using T = typename K::Element;
    const std::size_t lanes = model::fir_lanes<T>(level);
    typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
    Step<K> step;
    Random random(71);
    for (const std::size_t n : {std::size_t{1}, lanes, 3 * lanes + 1})
        for (std::size_t i = 0; i < n; ++i) {
            step.make(random, Kind::ordinary);
            step.place(n, {0, 0, 0}, Edge::end);
            ASSERT_TRUE(armed(level, [&] {
                kernel(step.re_.data(), step.im_.data(), step.taps_.data(), n, step.re_.data() + i,
                       step.im_.data() + i);
            }));
            ASSERT_TRUE(same_bits(model::fir_sum(step.re_data.data(), step.taps_data.data(), n,
                                                 lanes, std::size_t{0}),
                                  step.re_.get(i)));
            ASSERT_TRUE(same_bits(model::fir_sum(step.im_data.data(), step.taps_data.data(), n,
                                                 lanes, std::size_t{0}),
                                  step.im_.get(i)));
        }
}

/// Each product is rounded before it is added: (1 + u)^2 - (1 + 2u) is 0; fused it would be u^2.
template <class K>
void products_rounded(Level level)
{
    using T = typename K::Element;
    const T u = std::numeric_limits<T>::epsilon();
    const std::size_t n = 4 * model::fir_lanes<T>(level) + 3;
    Step<K> step;
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = i + 1; j < n; ++j)
            for (const std::size_t o : {std::size_t{0}, 64 - sizeof(T)}) {
                for (std::size_t k = 0; k < n; ++k)
                    step.re_data[k] = step.im_data[k] = step.taps_data[k] = 0;
                step.re_data[i] = step.im_data[i] = -(1 + 2 * u);
                step.taps_data[i] = 1;
                step.re_data[j] = step.im_data[j] = step.taps_data[j] = 1 + u;
                step.place(n, {o, o, o}, Edge::end);
                ASSERT_TRUE(step.call(level));
                ASSERT_TRUE(same_bits(T(0), step.got_re)) << name(level) << " " << i << " " << j;
                ASSERT_TRUE(same_bits(T(0), step.got_im)) << name(level) << " " << i << " " << j;
            }
}

/// Below a block, too, the head's sum goes onto the lanes' +0 before the tail follows: where the
/// control word takes subnormals for zeros, that is one more addition for it to be lost in.
template <class K>
void head_under_control_words(Level level)
{
    using T = typename K::Element;
    using Sum = T(const T*, const T*, std::size_t, std::size_t, std::size_t);
    Sum* volatile const expected = model::fir_sum<T>; // called under the control word
    const std::size_t lanes = model::fir_lanes<T>(level);
    const T least = std::numeric_limits<T>::min();
    const T some[] = {T(-1.5) * least, T(1.5) * least, -least, least, T(-0.0), T(0.0)};
    const unsigned before = _mm_getcsr();
    Step<K> step;
    Random random(67);
    int other_than_in_sequence = 0;
    for (unsigned word = 0; word < 16; ++word)
        for (std::size_t n = 0; n <= 2 * lanes; ++n)
            for (std::size_t o = 0; o < 64; o += sizeof(T))
                for (int round = 0; round < 4; ++round) {
                    const unsigned mxcsr =
                        0x1F80 | (word & 3) << 13 | (word & 4) << 13 | (word & 8) << 3;
                    for (std::size_t i = 0; i < n; ++i) {
                        step.re_data[i] = some[random.below(std::size(some))];
                        step.im_data[i] = some[random.below(std::size(some))];
                        step.taps_data[i] = 1;
                    }
                    step.place(n, {o, o, o}, Edge::end);
                    const std::size_t head = step.head(level);
                    const T *re = step.re_data.data(), *im = step.im_data.data(),
                            *taps = step.taps_data.data();
                    _mm_setcsr(mxcsr);
                    const T want_re = expected(re, taps, n, lanes, head);
                    const T want_im = expected(im, taps, n, lanes, head);
                    const T in_sequence = expected(re, taps, n, 1, 0);
                    _mm_setcsr(before);
                    if (n < lanes && !same_bits(in_sequence, want_re))
                        ++other_than_in_sequence;
                    ASSERT_TRUE(armed(level, [&] {
                        _mm_setcsr(mxcsr);
                        (*at(level).entry<typename K::Fn>(K::name))(
                            step.re_.data(), step.im_.data(), step.taps_.data(), n,
                            step.out_re_.data(), step.out_im_.data());
                        _mm_setcsr(before);
                    }));
                    ASSERT_TRUE(same_bits(want_re, step.out_re_.get(0)))
                        << name(level) << " n " << n << " offset " << o << " word " << word;
                    ASSERT_TRUE(same_bits(want_im, step.out_im_.get(0)))
                        << name(level) << " n " << n << " offset " << o << " word " << word;
                }
    EXPECT_TRUE(other_than_in_sequence > 10 || lanes <= 2);
}

} // namespace

// Every variant: (entry, level).
#define EVERY(entry, K, level)                                                                     \
    TEST(entry, level##_counts) { counts<K>(Level::level); }                                       \
    TEST(entry, level##_alignments) { alignments<K>(Level::level); }                               \
    TEST(entry, level##_out_pointers) { out_pointers<K>(Level::level); }                           \
    TEST(entry, level##_nan_pairs) { nan_pairs<K>(Level::level); }                                 \
    TEST(entry, level##_nan_of_product_is_the_planes) { nan_of_product<K>(Level::level); }         \
    TEST(entry, level##_no_elements) { nothing_to_sum<K>(Level::level); }                          \
    TEST(entry, level##_minus_zeros_sum_to_plus_zero) { minus_zeros<K>(Level::level); }            \
    TEST(entry, level##_outputs_over_inputs) { outputs_over_inputs<K>(Level::level); }             \
    TEST(entry, level##_products_are_rounded) { products_rounded<K>(Level::level); }

#define VECTOR(entry, K, level)                                                                    \
    TEST(entry, level##_head_sum_apart) { head_sum_apart<K>(Level::level); }                       \
    TEST(entry, level##_head_under_control_words) { head_under_control_words<K>(Level::level); }   \
    TEST(entry, level##_head_ends_with_the_array) { head_ends_with_the_array<K>(Level::level); }   \
    TEST(entry, level##_path_by_own_width) { path_by_own_width<K>(Level::level); }                 \
    TEST(entry, level##_below_a_block_as_baseline) { below_a_block<K>(Level::level); }             \
    TEST(entry, level##_from_a_block_on_own_order) { from_a_block_on<K>(Level::level); }           \
    TEST(entry, level##_unlike_addresses_have_no_head) { unlike_addresses<K>(Level::level); }

EVERY(fir_step_c32, c32, base)
EVERY(fir_step_c32, c32, sse)
EVERY(fir_step_c32, c32, avx)
VECTOR(fir_step_c32, c32, sse)
VECTOR(fir_step_c32, c32, avx)

EVERY(fir_step_c64, c64, base)
EVERY(fir_step_c64, c64, sse2)
EVERY(fir_step_c64, c64, avx)
VECTOR(fir_step_c64, c64, sse2)
VECTOR(fir_step_c64, c64, avx)

TEST(fir_step_c32, sse_lane_pairs) { lane_pairs<c32>(Level::sse); }
TEST(fir_step_c32, avx_lane_pairs) { lane_pairs<c32>(Level::avx); }
TEST(fir_step_c64, avx_lane_pairs) { lane_pairs<c64>(Level::avx); } // two lanes have one order only
