// tests/vfilter2_test.cpp: vfilter2_chunk, bit for bit at every level.
#include "models/vfilter2.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

using namespace rig;
using namespace vfilter2;

namespace {

constexpr Level levels[] = {Level::base, Level::sse2, Level::avx2};

testing::AssertionResult installed(Level level)
{
    const std::string want = std::string("vfilter2_chunk_") + name(level);
    const std::string got = at(level).variant("vfilter2_chunk");
    return got == want ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "want " << want << ", got " << got;
}

// ---- Calls --------------------------------------------------------------------------------------

class Chunk {
public:
    static constexpr std::size_t most = 96;
    std::vector<float> x_data = std::vector<float>(most), w_data = x_data;
    float got = 0;

    /// Samples within the Gaussian, some at its rim; weights of either size.
    void make(Random& random, float c)
    {
        for (std::size_t i = 0; i < most; ++i) {
            const double side = random.below(2) == 0 ? -1 : 1;
            const double distance =
                random.below(8) == 0 ? 55 + 20 * random.unit() : 15 * random.unit() * random.unit();
            x_data[i] = static_cast<float>(static_cast<double>(c) + side * distance);
            w_data[i] = static_cast<float>(random.unit() + 0.01);
        }
    }

    testing::AssertionResult call(Level level, std::size_t n, float c, std::size_t x_offset = 0,
                                  std::size_t w_offset = 0, Edge edge = Edge::end)
    {
        vfilter2_chunk_fn* const kernel = KERNEL(at(level), vfilter2_chunk);
        x.place(n, x_offset, edge);
        w.place(n, w_offset, edge);
        std::memcpy(x.data(), x_data.data(), x.bytes());
        std::memcpy(w.data(), w_data.data(), w.bytes());
        got = -1;
        if (auto ok = armed(level, [&] { got = kernel(x.data(), w.data(), n, c); }); !ok)
            return ok;
        for (const auto& ok : {x.intact(), w.intact(), same_bits(x_data.data(), x.data(), n),
                               same_bits(w_data.data(), w.data(), n)})
            if (!ok)
                return ok;
        return testing::AssertionSuccess();
    }

    testing::AssertionResult compare(Level level, std::size_t n, float c, std::size_t x_offset = 0,
                                     std::size_t w_offset = 0, Edge edge = Edge::end)
    {
        if (auto ok = call(level, n, c, x_offset, w_offset, edge); !ok)
            return ok;
        return same_bits(expect(x_data.data(), w_data.data(), n, c, level).mean, got);
    }

    Buffer<float> x{most}, w{most};
};

std::string where(Level level, std::size_t n, std::size_t x, std::size_t w, float c)
{
    return std::string(name(level)) + " n " + std::to_string(n) + " x " + std::to_string(x) +
           " w " + std::to_string(w) + " c " + show(c);
}

// ---- Bits ---------------------------------------------------------------------------------------

/// Every n to 40, x and w at every pair of offsets modulo 64.
void bits(Level level)
{
    ASSERT_TRUE(installed(level));
    Chunk chunk;
    Random random(111);
    for (std::size_t n = 0; n <= 40; ++n) {
        const auto c = static_cast<float>(random.unit() * 20 - 10);
        chunk.make(random, c);
        for (std::size_t x = 0; x < 64; x += 4)
            for (std::size_t w = 0; w < 64; w += 4) {
                const Edge edge = (x ^ w ^ n << 2) % 8 == 0 ? Edge::start : Edge::end;
                ASSERT_TRUE(chunk.compare(level, n, c, x, w, edge)) << where(level, n, x, w, c);
            }
    }
}

/// Every n to 80, many centres, every kind of data.
void kinds(Level level)
{
    Chunk chunk;
    Random random(112);
    for (std::size_t n = 0; n <= 80; ++n)
        for (int round = 0; round < 60; ++round) {
            const Kind kind = all_kinds[static_cast<std::size_t>(round) % std::size(all_kinds)];
            float c = make_f32(random, round % 3 == 0 ? kind : Kind::ordinary);
            if (round % 2 == 0) {
                c = static_cast<float>(random.unit() * 200 - 100);
                chunk.make(random, c);
                for (std::size_t i = 0; i < n; ++i)
                    if (random.below(8) == 0)
                        chunk.w_data[i] = make_f32(random, kind);
            } else {
                fill(chunk.x_data.data(), n, random, kind);
                fill(chunk.w_data.data(), n, random, kind);
            }
            ASSERT_TRUE(chunk.compare(level, n, c))
                << where(level, n, 0, 0, c) << " kind " << static_cast<int>(kind);
        }
}

/// NaNs at every pair of places, in x and in w: which one reaches the result.
void nan_pairs(Level level)
{
    using F = model::Format<float>;
    Chunk chunk;
    Random random(113);
    const float first = from_bits<float>(F::exponent | 0x11);
    const float second = from_bits<float>(F::sign | F::exponent | F::quiet | 0x22);
    for (const std::size_t n : {6U, 11U, 21U})
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = 0; j < n; ++j)
                for (int set = 0; set < 4; ++set)
                    for (const float c : {1.0F, from_bits<float>(F::exponent | 0x33)}) {
                        chunk.make(random, 1.0F);
                        ((set & 1) != 0 ? chunk.x_data : chunk.w_data)[i] = first;
                        ((set & 2) != 0 ? chunk.x_data : chunk.w_data)[j] = second;
                        ASSERT_TRUE(chunk.compare(level, n, c))
                            << where(level, n, 0, 0, c) << " NaNs at " << i << ", " << j << " set "
                            << set;
                    }
}

// ---- expf ---------------------------------------------------------------------------------------

/// Redirects a level's calls of expf for as long as it lives.
class Expf {
public:
    Expf(Level level, float (*to)(float)) : library_(at(level))
    {
        library_.intercept("expf", reinterpret_cast<void*>(to));
    }
    ~Expf() { library_.release(); }
    Expf(const Expf&) = delete;
    Expf& operator=(const Expf&) = delete;

private:
    Library& library_;
};

std::vector<float> asked;

float logged_expf(float v)
{
    asked.push_back(v);
    return expf(v);
}

/// expf is asked once per sample of the scalar form, in order, and never for a block. Its argument
/// is the flipped d times d: -0 for a sample on the centre.
void calls_of_expf(Level level)
{
    Chunk chunk;
    Random random(114);
    const Expf redirected(level, logged_expf);
    for (std::size_t n = 0; n <= 80; ++n)
        for (const Kind kind : {Kind::ordinary, Kind::special, Kind::constant}) {
            chunk.make(random, 1.7F);
            if (kind != Kind::ordinary)
                fill(chunk.x_data.data(), n, random, kind);
            asked.clear();
            ASSERT_TRUE(chunk.compare(level, n, 1.7F)) << n;
            const std::size_t lanes = lanes_for(level, n);
            ASSERT_EQ(asked.size(), lanes == 1 ? n : n % lanes) << name(level) << " n " << n;
            const Result want = expect(chunk.x_data.data(), chunk.w_data.data(), n, 1.7F, level);
            ASSERT_TRUE(same_bits(want.arguments.data(), asked.data(), asked.size())) << n;
            for (std::size_t i = 0; i < asked.size() && kind == Kind::constant; ++i)
                ASSERT_TRUE(same_bits(-0.0F, asked[i]));
        }
}

float steps_of_expf(float v) { return v < -1 ? 0.25F : 2.0F; }

/// Whatever expf returns is taken; and it is the import, not a copy of the block's form.
void expf_is_the_systems(Level level)
{
    Chunk chunk;
    Random random(115);
    const Expf redirected(level, steps_of_expf);
    for (std::size_t n = 0; n <= 40; ++n) {
        chunk.make(random, 0.5F);
        ASSERT_TRUE(chunk.call(level, n, 0.5F)) << n;
        EXPECT_TRUE(same_bits(
            expect(chunk.x_data.data(), chunk.w_data.data(), n, 0.5F, level, steps_of_expf).mean,
            chunk.got))
            << name(level) << " n " << n;
    }
}

float trap_expf(float)
{
    ADD_FAILURE() << "expf called";
    return 0;
}

// ---- The exponential of blocks ------------------------------------------------------------------

/// One sample x at place `lane`, centre 0, and beside it a weight of 2^60 at the centre that swamps
/// the denominator: the result is x * exp in its last bit.
void exponential(Level level, std::size_t n)
{
    Chunk chunk;
    const Expf redirected(level, trap_expf);
    std::vector<float> at_block(n);
    for (std::size_t lane = 0; lane < n; ++lane) {
        for (std::size_t i = 0; i < n; ++i)
            chunk.x_data[i] = chunk.w_data[i] = 0;
        chunk.w_data[(lane + 1) % n] = 0x1p60F;
        chunk.w_data[lane] = 1;
        const auto one = [&](float x) -> testing::AssertionResult {
            chunk.x_data[lane] = x;
            if (auto ok = chunk.compare(level, n, 0.0F); !ok)
                return ok << " x " << show(x) << " lane " << lane;
            // The data shows the exponential: nothing else is left in the result.
            const float e = exp_lane(mul(sub(0.0F, scaled(x, 0)), scaled(x, 0)));
            return same_bits(mul(add(0.0F, mul(x, e)), 0x1p-60F), chunk.got);
        };
        for (float x = 0; x < 80; x += lane == 0 ? 0.0078F : 0.211F)
            ASSERT_TRUE(one(x)) << name(level);
        for (std::uint32_t e = 100; e < 134; ++e) // small distances, by exponent
            for (const std::uint32_t m : {0U, 0x123456U, 0x7fffffU})
                ASSERT_TRUE(one(from_bits<float>(0x80000000U | e << 23 | m))) << name(level);
        // Around the halves of v / ln 2, where the integer part steps, float by float.
        for (int k = 0; k < 130; k += lane == 0 ? 1 : 13) {
            const double v = (k + 0.5) * 0.69314718055994531;
            std::uint32_t middle = bits_of(static_cast<float>(std::sqrt(v) / 0.15));
            for (std::uint32_t x = middle - 8; x != middle + 8; ++x)
                ASSERT_TRUE(one(from_bits<float>(x))) << name(level);
        }
    }
}

/// A sample and a centre at which the last bits of one constant show.
struct Witness {
    const char* constant;
    std::uint32_t Constants::*single; // or, if null, c[index]
    std::size_t index;
    std::uint32_t off; // added to the constant's bits
    std::uint32_t x, c;
};

constexpr std::uint32_t less = ~std::uint32_t{0};

constexpr Witness witnesses[] = {
    {"log2e", &Constants::log2e, 0, less, 0x405b7481, 0x41e47981},
    {"log2e", &Constants::log2e, 0, less, 0x3d49f075, 0x41d30413},
    {"log2e", &Constants::log2e, 0, 1, 0x3cb1e3d6, 0xc23cf3a5},
    {"q1", &Constants::q1, 0, less, 0x3c800000, 0xc07a2e4b},
    {"q1", &Constants::q1, 0, 1, 0x3c800000, 0xc07a2e4a},
    {"q2", &Constants::q2, 0, less, 0x3c800000, 0xc0b108dc},
    {"q2", &Constants::q2, 0, less, 0x3c800000, 0xc0b124d7},
    {"q2", &Constants::q2, 0, 1, 0x3c800000, 0xc0b11a8e},
    {"q2", &Constants::q2, 0, 1, 0x3c800000, 0xc0faa605},
    // Nothing shows the last two bits of c0.
    {"c0", nullptr, 0, ~std::uint32_t{7}, 0x3de6f8c3, 0xc06a0caf},
    {"c0", nullptr, 0, ~std::uint32_t{7}, 0x3d3adaf5, 0x407d4b26},
    {"c0", nullptr, 0, 4, 0x3cd38da4, 0xc05e2e3f},
    {"c0", nullptr, 0, 4, 0x3dc76744, 0x4075a1ad},
    {"c1", nullptr, 1, less, 0x3c800000, 0xc05140da},
    {"c1", nullptr, 1, 1, 0x3c800000, 0xc06a5fcc},
    {"c2", nullptr, 2, less, 0x3c800000, 0xc02ba16d},
    {"c2", nullptr, 2, 1, 0x3c800000, 0xc0254947},
    {"c3", nullptr, 3, less, 0x3c800000, 0xbfd10400},
    {"c3", nullptr, 3, 1, 0x3c800000, 0xbfc95b5d},
    {"c4", nullptr, 4, less, 0x3c800000, 0xbf79419f},
    {"c4", nullptr, 4, 1, 0x3c800000, 0xbf4198fd},
    {"half", nullptr, 5, less, 0x3c800000, 0xbe2c9dc0},
    {"half", nullptr, 5, 1, 0x3c800000, 0xbe149929},
};

/// The last bits of each constant, where they show: at sample x, beside one at 0 whose weight
/// swamps the denominator.
void last_bits(Level level, std::size_t n)
{
    for (const Witness& witness : witnesses) {
        const float x = from_bits<float>(witness.x);
        const float c = from_bits<float>(witness.c);
        Constants other;
        (witness.single != nullptr ? other.*witness.single : other.c[witness.index]) += witness.off;
        const auto mean = [&](const Constants& by) {
            const float d = scaled(x, c);
            const float beside = scaled(0, c);
            const float e = exp_lane(mul(sub(0.0F, d), d), by);
            const float swamp = exp_lane(mul(sub(0.0F, beside), beside), by);
            return model::div(mul(x, e), add(e, mul(swamp, 0x1p60F)));
        };
        ASSERT_NE(bits_of(mean({})), bits_of(mean(other))) << witness.constant << " does not show";
        for (std::size_t lane = 0; lane < n; ++lane) {
            Chunk chunk;
            chunk.x_data[lane] = x;
            chunk.w_data[lane] = 1;
            chunk.w_data[(lane + 1) % n] = 0x1p60F;
            ASSERT_TRUE(chunk.compare(level, n, c)) << name(level) << " " << witness.constant;
            ASSERT_TRUE(same_bits(mean({}), chunk.got)) << name(level) << " " << witness.constant;
        }
    }
}

} // namespace

#define EVERY(level)                                                                               \
    TEST(vfilter2_chunk, level##_bits) { bits(Level::level); }                                     \
    TEST(vfilter2_chunk, level##_kinds) { kinds(Level::level); }                                   \
    TEST(vfilter2_chunk, level##_nan_pairs) { nan_pairs(Level::level); }                           \
    TEST(vfilter2_chunk, level##_calls_of_expf) { calls_of_expf(Level::level); }                   \
    TEST(vfilter2_chunk, level##_expf_is_the_systems) { expf_is_the_systems(Level::level); }

EVERY(base)
EVERY(sse2)
EVERY(avx2)

TEST(vfilter2_chunk, sse2_exponential_of_4) { exponential(Level::sse2, 8); }
TEST(vfilter2_chunk, avx2_exponential_of_4) { exponential(Level::avx2, 8); }
TEST(vfilter2_chunk, avx2_exponential_of_8) { exponential(Level::avx2, 16); }
TEST(vfilter2_chunk, sse2_last_bits_of_constants) { last_bits(Level::sse2, 8); }
TEST(vfilter2_chunk, avx2_last_bits_of_constants) { last_bits(Level::avx2, 16); }

// ---- Edge cases ---------------------------------------------------------------------------------

TEST(vfilter2_chunk, no_samples_give_nan)
{
    for (const Level level : levels) {
        float got = 0;
        ASSERT_TRUE(armed(
            level, [&] { got = KERNEL(at(level), vfilter2_chunk)(nullptr, nullptr, 0, 1.0F); }));
        EXPECT_TRUE(same_bits(model::indefinite<float>(), got)) << name(level);
    }
}

TEST(vfilter2_chunk, one_sample_gives_itself)
{
    for (const Level level : levels) {
        Chunk chunk;
        for (const float x : {0.0F, 1.0F, -3.5F, 12.5F, 1024.0F}) {
            chunk.x_data[0] = x;
            for (const float w : {1.0F, 0.25F, 1e-3F, 1e6F}) {
                chunk.w_data[0] = w;
                ASSERT_TRUE(chunk.compare(level, 1, x + 2.0F));
                ASSERT_NEAR(static_cast<double>(chunk.got), static_cast<double>(x),
                            std::abs(static_cast<double>(x)) * 1e-7);
            }
        }
    }
}

/// On the centre e is 1 exactly: the result is the plain weighted mean.
TEST(vfilter2_chunk, samples_on_the_centre)
{
    for (const Level level : levels)
        for (std::size_t n = 1; n <= 40; ++n) {
            Chunk chunk;
            Random random(116);
            chunk.make(random, 0);
            for (auto& x : chunk.x_data)
                x = 0.5F; // powers of two: x * w is exact, so the mean is
            ASSERT_TRUE(chunk.compare(level, n, 0.5F));
            ASSERT_TRUE(same_bits(0.5F, chunk.got)) << name(level) << " n " << n;
            for (auto& w : chunk.w_data)
                w = 3.0F;
            ASSERT_TRUE(chunk.compare(level, n, 0.5F));
            ASSERT_TRUE(same_bits(0.5F, chunk.got)) << name(level) << " n " << n;
        }
}

/// Whatever the system's exponential makes of the upper halves: it finds them clear, and so does the
/// caller afterwards.
TEST(vfilter2_chunk, avx2_clears_before_and_after_the_systems_exponential)
{
    const Expf dirtying(Level::avx2, &rig::Dirtying::call);
    const float x[25] = {1.0F};
    for (const std::size_t n : {1U, 9U, 17U, 25U}) { // one single sample each
        rig::Dirtying::found_dirty = false;
        EXPECT_TRUE(armed(Level::avx2, [&] {
            KERNEL(at(Level::avx2), vfilter2_chunk)(x, x, n, 0.0F);
        }));
        EXPECT_FALSE(rig::Dirtying::found_dirty) << n;
    }
}

/// 8 to 15 samples at AVX2 are SSE2's, and 16 are not.
TEST(vfilter2_chunk, avx2_short_chunks_as_sse2)
{
    Chunk chunk;
    Random random(117);
    int differ = 0;
    for (int round = 0; round < 100; ++round)
        for (std::size_t n = 8; n <= 16; ++n) {
            const auto c = static_cast<float>(random.unit() * 10);
            chunk.make(random, c);
            if (round % 4 == 0)
                fill(chunk.x_data.data(), n, random, Kind::mixed);
            ASSERT_TRUE(chunk.call(Level::sse2, n, c));
            const float sse2 = chunk.got;
            ASSERT_TRUE(chunk.call(Level::avx2, n, c));
            if (n < 16) {
                ASSERT_TRUE(same_bits(sse2, chunk.got)) << n;
            } else
                differ += bits_of(sse2) != bits_of(chunk.got);
        }
    EXPECT_GT(differ, 0);
}

/// To 7 samples every level is the baseline, and at 8 no longer.
TEST(vfilter2_chunk, few_samples_as_baseline)
{
    for (const Level level : {Level::sse2, Level::avx2}) {
        Chunk chunk;
        Random random(118);
        int differ = 0;
        for (int round = 0; round < 100; ++round)
            for (std::size_t n = 0; n <= 8; ++n) {
                const auto c = static_cast<float>(random.unit() * 10);
                chunk.make(random, c);
                ASSERT_TRUE(chunk.call(Level::base, n, c));
                const float plain = chunk.got;
                ASSERT_TRUE(chunk.call(level, n, c));
                if (n < 8) {
                    ASSERT_TRUE(same_bits(plain, chunk.got)) << name(level) << " n " << n;
                } else
                    differ += bits_of(plain) != bits_of(chunk.got);
            }
        EXPECT_GT(differ, 0) << name(level);
    }
}

namespace {

/// Zero samples at the centre but one at `place`, `distance` from it and of weight `w`: NaN (0/0)
/// if its weight is nothing, else the sample.
float lone_sample(Level level, std::size_t n, std::size_t place, float distance, float w)
{
    Chunk chunk;
    for (std::size_t i = 0; i < n; ++i)
        chunk.x_data[i] = chunk.w_data[i] = 0;
    chunk.x_data[place] = distance;
    chunk.w_data[place] = w;
    EXPECT_TRUE(chunk.compare(level, n, 0.0F)) << name(level) << " place " << place;
    return chunk.got;
}

void far_samples(Level level, std::size_t n)
{
    const std::size_t lanes = lanes_for(level, n);
    const std::size_t blocks = n / lanes * lanes;
    for (std::size_t place = 0; place < n; ++place)
        for (const float side : {1.0F, -1.0F}) {
            // 65: exp(-95.06) is subnormal.
            const float got = lone_sample(level, n, place, 65 * side, 1.0F);
            const float e = expf(single_argument(65, 0));
            ASSERT_GT(e, 0.0F);
            ASSERT_LT(e, std::numeric_limits<float>::min());
            if (place < blocks)
                ASSERT_TRUE(same_bits(model::indefinite<float>(), got)) << "weight not 0";
            else
                ASSERT_TRUE(same_bits(model::div(mul(65 * side, e), e), got));
            // Nothing at all, whatever the sample's weight.
            if (place < blocks) {
                ASSERT_TRUE(model::is_nan(lone_sample(level, n, place, 65 * side, 1e38F)));
                ASSERT_TRUE(model::is_nan(lone_sample(level, n, place, 70 * side, 1e38F)));
                ASSERT_TRUE(model::is_nan(lone_sample(level, n, place, 1e10F * side, 1e38F)));
            }
            // Just inside, both count.
            ASSERT_FALSE(model::is_nan(lone_sample(level, n, place, 62.4F * side, 1.0F)));
            ASSERT_EQ(model::is_nan(lone_sample(level, n, place, 62.45F * side, 1.0F)),
                      place < blocks);
        }
}

} // namespace

/// Beyond about 62.4 from the centre a sample in a block weighs exactly nothing; in the tail it
/// keeps the subnormal weight that expf gives it.
TEST(vfilter2_chunk, sse2_far_sample_in_block_and_tail) { far_samples(Level::sse2, 11); }
TEST(vfilter2_chunk, avx2_far_sample_in_block_and_tail) { far_samples(Level::avx2, 23); }
TEST(vfilter2_chunk, avx2_far_sample_in_short_block_and_tail) { far_samples(Level::avx2, 11); }

/// 70 from the centre: nothing in a block; in the tail what expf gives there, which underflows.
TEST(vfilter2_chunk, sample_70_from_the_centre)
{
    for (const Level level : {Level::sse2, Level::avx2})
        for (const std::size_t n : {11U, 23U}) {
            Chunk chunk;
            Random random(119);
            const std::size_t blocks = n / lanes_for(level, n) * lanes_for(level, n);
            for (std::size_t place = 0; place < n; ++place) {
                chunk.make(random, 5.0F);
                chunk.x_data[place] = 75.0F;
                chunk.w_data[place] = 1e30F;
                ASSERT_TRUE(chunk.compare(level, n, 5.0F));
                const float with = chunk.got;
                if (place < blocks) { // exactly nothing: as with a weight of 0
                    chunk.w_data[place] = 0;
                    ASSERT_TRUE(chunk.compare(level, n, 5.0F));
                    ASSERT_TRUE(same_bits(chunk.got, with)) << name(level) << " place " << place;
                }
            }
        }
}

/// Weights that are all zero give 0/0; a negative total is taken as it is.
TEST(vfilter2_chunk, weights_of_zero_and_below)
{
    for (const Level level : levels)
        for (std::size_t n = 1; n <= 24; ++n) {
            Chunk chunk;
            Random random(120);
            chunk.make(random, 0);
            for (auto& w : chunk.w_data)
                w = 0;
            ASSERT_TRUE(chunk.compare(level, n, 0));
            ASSERT_TRUE(same_bits(model::indefinite<float>(), chunk.got)) << name(level);
            for (auto& w : chunk.w_data)
                w = -0.0F;
            ASSERT_TRUE(chunk.compare(level, n, 0));
            ASSERT_TRUE(same_bits(model::indefinite<float>(), chunk.got)) << name(level);
            for (auto& w : chunk.w_data)
                w = -2.0F;
            for (auto& x : chunk.x_data)
                x = 1.5F;
            ASSERT_TRUE(chunk.compare(level, n, 1.5F));
            ASSERT_TRUE(same_bits(1.5F, chunk.got)) << name(level);
        }
}

/// A NaN argument is clamped to the upper bound in a block, so a NaN centre gives every sample the
/// weight 2.4e38 there, and a finite result when no expf is asked; NaN comes in through expf.
TEST(vfilter2_chunk, nan_centre_follows_the_steps)
{
    const float nan = from_bits<float>(0x7fc01234);
    for (const Level level : levels)
        for (std::size_t n = 1; n <= 40; ++n) {
            Chunk chunk;
            for (std::size_t i = 0; i < n; ++i) {
                chunk.x_data[i] = static_cast<float>(i % 4 + 1);
                chunk.w_data[i] = 0x1p-10F;
            }
            ASSERT_TRUE(chunk.compare(level, n, nan)) << where(level, n, 0, 0, nan);
            const std::size_t lanes = lanes_for(level, n);
            const bool singles = lanes == 1 || n % lanes != 0;
            ASSERT_EQ(model::is_nan(chunk.got), singles) << where(level, n, 0, 0, nan);
            if (!singles) {
                ASSERT_NEAR(static_cast<double>(chunk.got), 2.5, 1e-5);
            }
        }
}

/// That weight to its last bits: the largest sample whose product with it is finite, and the next.
TEST(vfilter2_chunk, nan_centre_weight_to_the_bit)
{
    const float e = exp_lane(from_bits<float>(0x7fc00000));
    const float largest = std::numeric_limits<float>::max();
    for (const Level level : {Level::sse2, Level::avx2})
        for (const std::size_t n : {8U, 16U})
            for (std::size_t place = 0; place < n; ++place)
                for (float w = 0.5F; w < 1; w += 0.0137F) {
                    float x = model::div(largest, mul(e, w));
                    while (mul(x, mul(e, w)) <= largest)
                        x = std::nextafter(x, 4.0F);
                    while (mul(x, mul(e, w)) > largest)
                        x = std::nextafter(x, 0.0F);
                    Chunk chunk;
                    chunk.w_data[place] = w;
                    chunk.x_data[place] = x;
                    ASSERT_TRUE(chunk.compare(level, n, from_bits<float>(0xffc00000)));
                    ASSERT_TRUE(std::isfinite(chunk.got)) << name(level) << " w " << show(w);
                    chunk.x_data[place] = std::nextafter(x, 4.0F);
                    ASSERT_TRUE(chunk.compare(level, n, from_bits<float>(0xffc00000)));
                    ASSERT_TRUE(std::isinf(chunk.got)) << name(level) << " w " << show(w);
                }
}

/// A NaN or infinite sample makes the result NaN, at every level and place.
TEST(vfilter2_chunk, nan_and_infinite_samples)
{
    for (const Level level : levels)
        for (const std::size_t n : {5U, 11U, 16U, 21U})
            for (std::size_t place = 0; place < n; ++place)
                for (const std::uint32_t b : {0x7fc00001U, 0xff800001U, 0x7f800000U, 0xff800000U}) {
                    Chunk chunk;
                    Random random(121);
                    chunk.make(random, 0);
                    chunk.x_data[place] = from_bits<float>(b);
                    ASSERT_TRUE(chunk.compare(level, n, 0)) << where(level, n, 0, 0, 0);
                    ASSERT_TRUE(model::is_nan(chunk.got));
                }
}

/// The model itself, on known values: constants, both ends of the clamp, the steps of the scale.
TEST(vfilter2_chunk, model_of_the_exponential)
{
    EXPECT_TRUE(same_bits(1.0F, exp_lane(0.0F)));
    EXPECT_TRUE(same_bits(1.0F, exp_lane(-0.0F)));
    for (float v = -87.0F; v < 88.0F; v += 0.37F)
        EXPECT_NEAR(static_cast<double>(exp_lane(v)) / std::exp(static_cast<double>(v)), 1, 4e-7);
    EXPECT_TRUE(same_bits(0.0F, exp_lane(-87.7F)));
    EXPECT_TRUE(same_bits(0.0F, exp_lane(-std::numeric_limits<float>::infinity())));
    EXPECT_NEAR(static_cast<double>(exp_lane(std::numeric_limits<float>::quiet_NaN())),
                2.4061436e38, 1e31);
}
