// Counts have 64 bits: 2^32 elements, of arrays with room for a few, run into the forbidden page. A
// kernel that cuts its count to 32 bits finds nothing to do and comes back.
#include "rig/buffer.h"
#include "rig/call.h"

#include <gtest/gtest.h>

namespace {

using rig::Level;

constexpr std::size_t n = std::size_t{1} << 32;

/// Arrays of any type: zeros on 64 bytes before a forbidden page.
class Arrays {
public:
    Arrays() : zeros_(elements)
    {
        zeros_.place(elements, 0, rig::Edge::end);
        for (std::size_t i = 0; i < elements; ++i)
            zeros_.data()[i] = 0;
    }
    template <class T>
    operator T*() const // NOLINT(google-explicit-constructor): stands for any argument
    {
        return reinterpret_cast<T*>(zeros_.data());
    }

private:
    static constexpr std::size_t elements = 4096;
    rig::Buffer<std::uint64_t> zeros_;
};

std::vector<Level> every_level()
{
    return {std::begin(rig::all_levels), std::end(rig::all_levels)};
}

/// A call must fault at all these levels.
template <class Call>
void runs_on(const std::vector<Level>& levels, const Call& call)
{
    for (const Level level : levels)
        EXPECT_TRUE(rig::faults([&] { call(rig::at(level)); })) << rig::name(level);
}

// What each call gets, at every level that has a variant of its own. (vfilter_* count in 32 bits, and
// pack_* are in pack_test.)
#define COUNTS(entry, ...)                                                                         \
    TEST(counts, entry)                                                                            \
    {                                                                                              \
        const Arrays p;                                                                            \
        const Arrays q;                                                                            \
        runs_on(rig::table().at(#entry), [&](const rig::Library& library) {                        \
            KERNEL(library, entry)(__VA_ARGS__);                                                   \
        });                                                                                        \
    }

COUNTS(fill_f32, p, n, 0)
COUNTS(memcpy_fast, p, q, n)
COUNTS(swap_words_u32, p, n, p)
COUNTS(unpack_u8_f32, p, n, p, 1, 0)
COUNTS(unpack_s16_f32, p, n, p, 1, 0)
COUNTS(unpack_u8_f64, p, n, p, 1, 0)
COUNTS(unpack_s16_f64, p, n, p, 1, 0)
COUNTS(unpack_u16_f64, p, n, p, 1, 0)
COUNTS(unpack_alt_s16_f64, p, n, p, p, 1, 0)
COUNTS(unpack_cmb_s16_f64, p, p, n, p, 1, 0)
COUNTS(min_u8, p, n)
COUNTS(max_u8, p, n)
COUNTS(min_s16, p, n)
COUNTS(max_s16, p, n)
COUNTS(minmax_s16, p, n, p, p)
COUNTS(min_f32, p, n)
COUNTS(max_f32, p, n)
COUNTS(minmax_f32, p, n, p, p)
COUNTS(min_f64, p, n)
COUNTS(max_f64, p, n)
COUNTS(minmax_f64, p, n, p, p)
COUNTS(avg_f32, p, n)
COUNTS(avg_f64, p, n)
COUNTS(avg_lvl_f32, p, n, 0)
COUNTS(avg_lvl_f64, p, n, 0)
COUNTS(avg_abs_s16, p, n)
COUNTS(minmaxmed_f32, p, n, p, p, p)
COUNTS(minmaxmed_f64, p, n, p, p, p)
COUNTS(max_array_f32, p, p, n)
COUNTS(max_array_f64, p, p, n)
COUNTS(mult_f32, p, p, p, n)
COUNTS(mult_f64, p, p, p, n)
COUNTS(mult_add_f32, p, n, 1, 0)
COUNTS(mix_f64, p, p, n, p)
COUNTS(fft_abs_f32, p, n, p)
COUNTS(fft_abs_f64, p, n, p)
COUNTS(spec_log_f32, p, n, p, 0)
COUNTS(spec_log_f64, p, n, p, 0)
COUNTS(fir_step_c32, p, p, p, n, p, p)
COUNTS(fir_step_c64, p, p, p, n, p, p)
COUNTS(iir1_f32, p, n, p, 1)
COUNTS(iir1_f64, p, n, p, 1)
COUNTS(vfilter2_chunk, p, p, n, 0)

#define STREAM(name, ...)                                                                          \
    TEST(counts, name)                                                                             \
    {                                                                                              \
        const Arrays p;                                                                            \
        runs_on(every_level(), [&](const rig::Library& library) {                                  \
            library.function<decltype(::name)>(#name)(__VA_ARGS__);                                \
        });                                                                                        \
    }

STREAM(fir_c16_alt, p, n, p, 3, p, p, p, p, 1, 0)
STREAM(fir_c32_alt, p, n, p, 3, p, p, p, p)
STREAM(fir_c64_alt, p, n, p, 3, p, p, p, p)

TEST(counts, all_kernels_but_those_of_other_tests)
{
    int here = 0;
    const testing::TestSuite* const suite = testing::UnitTest::GetInstance()->current_test_suite();
    for (int i = 0; i < suite->total_test_count(); ++i)
        here += rig::table().contains(suite->GetTestInfo(i)->name());
    EXPECT_EQ(here, 50 - 5 - 2);
}

} // namespace
