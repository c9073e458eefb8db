// tests/proof/control_test.cpp: the control word (MXCSR) belongs to the host. Whatever it says, each
// variant does what its model does under the same word; none changes it, not even for a while.
#include "models/pack.h"
#include "proof/sweep.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace proof {

/// What GoogleTest calls a kernel in the lists of tests.
static void PrintTo(const Kernel* kernel, std::ostream* list) { *list << kernel->name; }

} // namespace proof

namespace {

using namespace proof;

class Control : public testing::TestWithParam<const Kernel*> {};

/// Cases made one by one until one fails.
class Cases {
public:
    Cases(const Kernel& kernel, Level level) : kernel_(kernel), level_(level) {}
    ~Cases()
    {
        EXPECT_EQ(failure_, "");
        EXPECT_GE(made_, 1U) << kernel_.name << " at " << rig::name(level_);
    }
    Cases(const Cases&) = delete;
    Cases& operator=(const Cases&) = delete;

    void operator()(const Case& given)
    {
        if (!failure_.empty())
            return;
        const Verdict verdict = check(kernel_, level_, given);
        failure_ = verdict.failure;
        made_ += verdict.made ? 1U : 0U;
    }

private:
    const Kernel& kernel_;
    const Level level_;
    std::string failure_;
    std::size_t made_ = 0;
};

TEST_P(Control, as_the_model_under_every_setting)
{
    const Kernel& kernel = *GetParam();
    for (const Level level : kernel.levels()) {
        Cases cases(kernel, level);
        const Visit visit = under_control(std::ref(cases));
        for (std::size_t round = 1; round <= 6; ++round)
            choice(kernel, visit, round);
        special_values(kernel, level, {.thin = 53}, visit);
    }
}

TEST_P(Control, untouched_by_every_instruction)
{
    const Kernel& kernel = *GetParam();
    for (const Level level : kernel.levels()) {
        Cases cases(kernel, level);
        std::size_t steps = 0;
        for (unsigned i = 0; i < 3 * settings; ++i) {
            rig::Trace trace;
            Case c;
            c.n = i % 3 == 0 ? i / 3 : std::size_t{64};
            c.at.fill(i % 3 == 1 ? 8 : 0);
            c.seed = i;
            c.mxcsr = setting(i / 3) | (i % 2 != 0 ? 0x21U : 0);
            c.trace = &trace;
            cases(c);
            EXPECT_FALSE(trace.control_word || trace.flags_lost)
                << kernel.name << " at " << rig::name(level) << ", n " << c.n;
            steps += trace.steps.size();
        }
        EXPECT_GE(steps, settings) << "not looked at";
    }
}

/// avg_lvl_* of x, at an address that is `offset` modulo 64, under a control word.
template <class Fn, class T>
T mean_below_one(const char* kernel, Level level, const std::vector<T>& x, std::size_t offset,
                 unsigned mxcsr)
{
    rig::Buffer<T> buffer(x.size());
    const T* const at = buffer.place(x.size(), offset, rig::Edge::end);
    for (std::size_t i = 0; i < x.size(); ++i)
        buffer.set(i, x[i]);
    T mean = 0;
    Fn* const fn = *rig::at(level).entry<Fn>(kernel);
    EXPECT_TRUE(rig::armed(
        level, [&] { mean = fn(at, x.size(), 1); }, mxcsr));
    return mean;
}

// A sum of -0, or what is read as one, shows whether a +0 was added: blocks add it for what exceeds
// the level, single elements add nothing.
template <class Fn, class T>
void zeros_added(const char* kernel, std::initializer_list<Level> with_two_in_head)
{
    const T least = std::numeric_limits<T>::min();
    const std::vector<T> few = {T(-1.5) * least, least, 5};
    for (const unsigned mxcsr : {0x9F80U, 0x1FC0U, 0x9FC0U}) {
        for (const Level level : rig::table().at(kernel)) { // in the tail, but for pairs
            const bool pairs = level == Level::sse2 && sizeof(T) == 8;
            EXPECT_TRUE(rig::same_bits(pairs ? T(0.0) : T(-0.0),
                                       mean_below_one<Fn, T>(kernel, level, few, 0, mxcsr)))
                << kernel << " at " << rig::name(level);
        }
        for (const Level level : with_two_in_head) {
            const std::size_t width = level == Level::sse2 ? 16 : 32;
            const std::size_t lanes = width / sizeof(T);
            std::vector<T> x = {T(-1.5) * least, least};
            x.insert(x.end(), lanes, T(-1.5) * least);
            x.insert(x.end(), lanes, least);
            const std::size_t offset = width - 2 * sizeof(T);
            EXPECT_TRUE(
                rig::same_bits(T(-0.0), mean_below_one<Fn, T>(kernel, level, x, offset, mxcsr)))
                << kernel << " at " << rig::name(level);
            x.insert(x.end(), 2 * lanes, T(5));
            EXPECT_TRUE(
                rig::same_bits(T(0.0), mean_below_one<Fn, T>(kernel, level, x, offset, mxcsr)))
                << kernel << " at " << rig::name(level);
        }
    }
}

TEST(control, zeros_added_by_avg_lvl)
{
    zeros_added<avg_lvl_f32_fn, float>("avg_lvl_f32", {Level::sse2, Level::avx, Level::avx2});
    zeros_added<avg_lvl_f64_fn, double>("avg_lvl_f64", {Level::avx, Level::avx2});
}

// Beyond 2^24 a float holds every other count.
TEST(control, counts_are_rounded_as_the_host_says)
{
    constexpr std::size_t count = (std::size_t{1} << 24) + 1;
    void* const zeros = mmap(nullptr, count * sizeof(float), PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    auto* const x = static_cast<float*>(zeros);
    x[count / 2] = 1;
    for (unsigned i = 0; i < 4; ++i) {
        const auto under_setting = [&](const auto& body) { rig::watch(false, body, setting(i)); };
        float want = 0;
        float mean = 0;
        float min;
        float max;
        under_setting([&] { want = model::div(1.0F, model::as_element<float>(count)); });
        for (const Level level : rig::table().at("avg_f32")) {
            const rig::Library& library = rig::at(level);
            under_setting([&] { mean = KERNEL(library, avg_f32)(x, count); });
            EXPECT_TRUE(rig::same_bits(want, mean)) << rig::name(level) << ", rounding " << i;
            under_setting([&] { KERNEL(library, minmaxmed_f32)(x, count, &min, &max, &mean); });
            EXPECT_TRUE(rig::same_bits(want, mean)) << rig::name(level) << ", rounding " << i;
        }
    }
    munmap(zeros, count * sizeof(float));
}

INSTANTIATE_TEST_SUITE_P(proof, Control, testing::ValuesIn(all_kernels()),
                         [](const auto& tested) { return std::string(tested.param->name); });

// --- What kernels call ---------------------------------------------------------------------------

std::vector<unsigned> seen;

/// What each stand-in does: notes the control word that it is called under, and leaves another
/// rounding behind. A kernel that restores the word undoes that.
void stand_in()
{
    seen.push_back(_mm_getcsr());
    _mm_setcsr(seen.back() ^ 0x2000);
}

template <class T>
void minmax_stand_in(const T*, std::size_t, T* min, T* max)
{
    *min = 1, *max = 2;
    stand_in();
}
void fir_step_stand_in(const double*, const double*, const double*, std::uint64_t, double* re,
                       double* im)
{
    *re = 1, *im = 2;
    stand_in();
}
void* memcpy_stand_in(void* dst, const void*, std::size_t) { return stand_in(), dst; }
template <class T>
T math_stand_in(T x)
{
    return stand_in(), x;
}

/// While one lives, a level's library finds stand-ins at the entries that kernels call and behind
/// its imports.
class StandIns {
public:
    explicit StandIns(rig::Library& library) : library_(library)
    {
        replace("minmax_f32", minmax_stand_in<float>);
        replace("minmax_f64", minmax_stand_in<double>);
        replace("memcpy_fast", memcpy_stand_in);
        replace("fir_step_c64", fir_step_stand_in);
        library.intercept("expf", reinterpret_cast<void*>(math_stand_in<float>));
        library.intercept("log10f", reinterpret_cast<void*>(math_stand_in<float>));
        library.intercept("log10", reinterpret_cast<void*>(math_stand_in<double>));
        library.intercept("memcpy", reinterpret_cast<void*>(memcpy_stand_in));
    }
    ~StandIns()
    {
        library_.release();
        for (const auto& [entry, held] : entries_)
            *entry = held;
    }
    StandIns(const StandIns&) = delete;
    StandIns& operator=(const StandIns&) = delete;

private:
    template <class Fn>
    void replace(const char* name, Fn* by)
    {
        auto** const entry = static_cast<void**>(library_.symbol(name));
        entries_.emplace_back(entry, *entry);
        *entry = reinterpret_cast<void*>(by);
    }

    rig::Library& library_;
    std::vector<std::pair<void**, void*>> entries_;
};

/// Each kernel whose calls at these levels go to a stand-in so many times, under each setting.
void calls(std::size_t times, const std::vector<Level>& levels,
           const std::function<void(const rig::Library&)>& call)
{
    for (const Level level : levels) {
        const StandIns standing(rig::at(level));
        for (unsigned i = 0; i < settings; ++i) {
            seen.clear();
            const auto other = [&](std::size_t k) {
                return setting(i) ^ (k % 2 != 0 ? 0x2000 : 0);
            };
            const auto after = rig::watch(
                false, [&] { call(rig::at(level)); }, setting(i));
            ASSERT_EQ(seen.size(), times) << rig::name(level);
            for (std::size_t k = 0; k < times; ++k)
                EXPECT_EQ(seen[k] & ~rig::exception_flags, other(k)) << rig::name(level);
            EXPECT_EQ(after.mxcsr & ~rig::exception_flags, other(times)) << rig::name(level);
        }
    }
}

constexpr std::size_t n = 3; // so few that all levels ask the mathematics functions
alignas(64) float floats[8] = {2, 3, 4, 5, 6, 7, 8, 9};
alignas(64) double doubles[8] = {2, 3, 4, 5, 6, 7, 8, 9};

/// The levels that ask for the extremes through the entry.
template <class K>
std::vector<Level> by_entry()
{
    std::vector<Level> levels;
    for (const pack::Row& row : K::rows)
        if (row.extremes == pack::Extremes::entry)
            levels.push_back(row.level);
    return levels;
}

template <class K>
void packs()
{
    calls(1, by_entry<K>(), [](const rig::Library& library) {
        typename K::Sample src[n] = {1, 2, 3};
        typename K::Code dst[n];
        typename K::Sample step;
        typename K::Sample offset;
        (*library.entry<typename K::Fn>(K::name))(src, n, dst, &step, &offset);
    });
}

TEST(control, extremes_by_the_entry)
{
    packs<pack::F32U8>();
    packs<pack::F32S16>();
    packs<pack::F64U8>();
    packs<pack::F64S16>();
    packs<pack::F64U16>();
}

TEST(control, copies)
{
    calls(1, rig::table().at("vfilter_f32"), [](const rig::Library& library) {
        KERNEL(library, vfilter_f32)(floats, n, floats, 1, floats + 4);
    });
    calls(1, rig::table().at("vfilter_f64"), [](const rig::Library& library) {
        KERNEL(library, vfilter_f64)(doubles, n, doubles, 1, doubles + 4);
    });
}

TEST(control, mathematics_functions)
{
    calls(n, rig::table().at("spec_log_f32"), [](const rig::Library& library) {
        KERNEL(library, spec_log_f32)(floats, n, floats + 4, 1);
    });
    calls(n, rig::table().at("spec_log_f64"), [](const rig::Library& library) {
        KERNEL(library, spec_log_f64)(doubles, n, doubles + 4, 1);
    });
    calls(n, rig::table().at("vfilter2_chunk"), [](const rig::Library& library) {
        KERNEL(library, vfilter2_chunk)(floats, floats + 4, n, 3);
    });
}

TEST(control, steps_of_streams)
{
    const std::vector<Level> levels(rig::all_levels.begin(), rig::all_levels.end());
    double re[2] = {};
    double im[2] = {};
    double out[2 * n];
    std::int64_t pos = 0;
    const std::int16_t codes[2 * n] = {1, 2, 3, 4, 5, 6};
    calls(2 * n, levels, [&](const rig::Library& library) {
        library.function<decltype(fir_c16_alt)>("fir_c16_alt")(codes, n, doubles, 1, &pos, re, im,
                                                               out, 2, 1);
    });
    calls(2 * n, levels, [&](const rig::Library& library) {
        library.function<decltype(fir_c32_alt)>("fir_c32_alt")(floats, n, doubles, 1, &pos, re, im,
                                                               out);
    });
    calls(2 * n, levels, [&](const rig::Library& library) {
        library.function<decltype(fir_c64_alt)>("fir_c64_alt")(doubles, n, doubles, 1, &pos, re, im,
                                                               out);
    });
}

} // namespace
