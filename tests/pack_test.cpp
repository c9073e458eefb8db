// tests/pack_test.cpp: every variant of the five pack kernels against its model, bit for bit, and
// what hosts know of them beyond that: which minmax kernel they ask, what is stored first, where
// they fault.
#include "models/pack.h"
#include "rig/call.h"
#include "rig/data.h"
#include "vector_access.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <sys/mman.h>
#include <vector>

namespace {

using namespace pack;
using rig::Edge;
using testing::AssertionFailure;
using testing::AssertionResult;
using testing::AssertionSuccess;

// --- Data ----------------------------------------------------------------------------------------

enum class Data {
    ordinary, // these five as rig::Kind
    special,
    mixed,
    constant,
    ties,
    grid,      // v in quarters, so that halves tie and the two roundings differ; extremes exact
    holes,     // the same with a NaN now and then
    forgotten, // the same after far-off samples that a run of NaNs makes minmax forget
};
constexpr Data all_data[] = {Data::ordinary, Data::special, Data::mixed, Data::constant,
                             Data::ties,     Data::grid,    Data::holes, Data::forgotten};
const char* const data_names[] = {"ordinary", "special", "mixed", "constant",
                                  "ties",     "grid",    "holes", "forgotten"};

template <class T>
T nan_of(std::size_t payload, bool quiet = true)
{
    using F = model::Format<T>;
    return model::from_bits<T>(F::exponent | (quiet ? F::quiet : 0) |
                               static_cast<typename F::Bits>(payload));
}

template <class T>
void fill(T* at, std::size_t n, rig::Random& random, Data data, std::size_t range)
{
    if (data < Data::grid)
        return rig::fill(at, n, random, static_cast<rig::Kind>(data));

    const T unit = static_cast<T>(std::ldexp(1.0, -static_cast<int>(random.below(20))));
    const T low = unit * (static_cast<T>(random.below(4096)) - T(2048));
    for (std::size_t i = 0; i < n; ++i)
        at[i] = low + unit * static_cast<T>(random.below(4 * range + 1)) * T(0.25);
    if (n >= 2) {
        const std::size_t i = random.below(n);
        at[i] = low;
        at[(i + 1 + random.below(n - 1)) % n] = low + unit * static_cast<T>(range);
    }
    if (data == Data::holes)
        for (std::size_t i = 0; i < n; ++i)
            if (random.below(12) == 0)
                at[i] = nan_of<T>(1 + i, random.below(2) == 0);
    if (data == Data::forgotten && n > 36) {
        for (std::size_t i = 8; i < n / 2; ++i)
            at[i] = (at[i] - low - unit * static_cast<T>(range / 2)) *
                        static_cast<T>(random.below(8) == 0 ? 1e6 : 4.0) +
                    low;
        for (std::size_t i = n / 2; i < n / 2 + 8; ++i)
            at[i] = nan_of<T>(i);
    }
}

// --- Standing in for minmax ----------------------------------------------------------------------

/// While one lives, every call of the library's internal function arrives at `target`.
class Detour {
public:
    Detour(const rig::Library& library, const char* function, const void* target)
        : at_(static_cast<unsigned char*>(library.internal(function)))
    {
        std::memcpy(saved_.data(), at_, size);
        std::array<unsigned char, size> jump = {0xff, 0x25}; // jmp *0(%rip), and the address
        std::memcpy(jump.data() + 6, &target, sizeof target);
        write(jump);
    }
    ~Detour() { write(saved_); }
    Detour(const Detour&) = delete;
    Detour& operator=(const Detour&) = delete;

private:
    static constexpr std::size_t size = 14;

    void write(const std::array<unsigned char, size>& bytes)
    {
        const std::uintptr_t page = reinterpret_cast<std::uintptr_t>(at_) & ~std::uintptr_t{4095};
        if (mprotect(reinterpret_cast<void*>(page), 8192, PROT_READ | PROT_WRITE | PROT_EXEC) != 0)
            throw std::runtime_error("code stays read-only");
        std::memcpy(at_, bytes.data(), size);
        mprotect(reinterpret_cast<void*>(page), 8192, PROT_READ | PROT_EXEC);
    }

    unsigned char* at_;
    std::array<unsigned char, size> saved_{};
};

template <class T>
struct Asked {
    int calls = 0;
    const T* src = nullptr;
    std::size_t n = 0;
    T *min = nullptr, *max = nullptr;
};

/// The minmax kernel that the tests put in the library's place: notes the call and reports what it
/// is told to; reports nothing for an empty block.
template <class T>
struct StandIn {
    static inline Asked<T> asked;
    static inline T low, high;
    static inline bool even_if_empty, dirty;

    static void minmax(const T* src, std::size_t n, T* min, T* max)
    {
        asked = {asked.calls + 1, src, n, min, max};
        if (n != 0 || even_if_empty) {
            *min = low;
            *max = high;
        }
        if (dirty)
            asm volatile("vcmptrueps %%ymm0, %%ymm0, %%ymm6" ::: "xmm6");
    }
    static void reset(T min, T max)
    {
        asked = {};
        low = min;
        high = max;
        even_if_empty = dirty = false;
    }
};

template <class T>
constexpr const char* minmax_name = std::is_same_v<T, float> ? "minmax_f32" : "minmax_f64";

template <class T>
auto& minmax_entry(const rig::Library& library)
{
    if constexpr (std::is_same_v<T, float>)
        return KERNEL(library, minmax_f32);
    else
        return KERNEL(library, minmax_f64);
}

/// While one lives, the minmax entry of a library is the stand-in.
template <class T>
class EntryReplaced {
public:
    EntryReplaced(const rig::Library& library, T low, T high)
        : entry_(minmax_entry<T>(library)), loaded_(entry_)
    {
        StandIn<T>::reset(low, high);
        entry_ = StandIn<T>::minmax;
    }
    ~EntryReplaced() { entry_ = loaded_; }
    EntryReplaced(const EntryReplaced&) = delete;
    EntryReplaced& operator=(const EntryReplaced&) = delete;

private:
    std::remove_reference_t<decltype(minmax_entry<T>(std::declval<rig::Library&>()))>& entry_;
    std::remove_reference_t<decltype(entry_)> loaded_;
};

/// While one lives, a variant is told these extremes, however it asks.
template <class K>
class Told {
    using T = typename K::Sample;

public:
    Told(Level level, T low, T high)
    {
        if (row_at<K>(level).extremes == Extremes::entry) {
            entry_.emplace(rig::at(level), low, high);
            return;
        }
        StandIn<T>::reset(low, high);
        const std::string own = std::string(minmax_name<T>) + "_" + rig::name(level);
        own_.emplace(rig::at(level), own.c_str(),
                     reinterpret_cast<const void*>(&StandIn<T>::minmax));
    }

private:
    std::optional<EntryReplaced<T>> entry_;
    std::optional<Detour> own_;
};

// --- One call, compared --------------------------------------------------------------------------

constexpr std::size_t most = 400;
std::size_t compared = 0;

template <class K>
class Bench {
public:
    using T = typename K::Sample;
    using U = typename K::Code;
    static constexpr std::size_t range = sizeof(U) == 1 ? 255 : 65535;

    const Row row;
    const Level level;
    typename K::Fn* const kernel;
    rig::Buffer<T> src{most};
    rig::Buffer<U> dst{most};
    rig::Buffer<T> step{1}, offset{1};
    std::vector<T> samples = std::vector<T>(most);
    std::vector<U> codes = std::vector<U>(most);
    rig::Random random{sizeof(T) * 16 + sizeof(U)};

    explicit Bench(Level at_level)
        : row(row_at<K>(at_level)), level(at_level),
          kernel(*rig::at(at_level).entry<typename K::Fn>(K::name))
    {
        EXPECT_EQ(rig::at(level).variant(K::name), std::string(K::name) + "_" + rig::name(level));
        step.place(1, 64 - sizeof(T), Edge::end); // right before the forbidden page
        offset.place(1, 64 - sizeof(T), Edge::end);
    }
    ~Bench() { testing::Test::RecordProperty("compared", std::to_string(compared)); }

    void generate(std::size_t n, Data data) { fill(samples.data(), n, random, data, range); }

    /// Packs the first n samples from and to the given places; extremes as told, or the model's.
    AssertionResult packs(std::size_t n, std::size_t src_at, std::size_t dst_at, Edge edge,
                          const T* told = nullptr)
    {
        const T* const s = src.place(n, src_at, edge);
        U* const d = dst.place(n, dst_at, edge);
        std::memcpy(static_cast<void*>(src.data()), samples.data(), n * sizeof(T));
        const T untouched = nan_of<T>(0x1234);
        step.set(0, untouched);
        offset.set(0, untouched);

        T min = untouched;
        T max = untouched;
        if (told != nullptr)
            min = told[0], max = told[1];
        else
            minmax(level, s, n, &min, &max);
        const Quantiser<K> quantiser(row, min, max);
        const Plan where = plan(row, reinterpret_cast<std::uintptr_t>(s), sizeof(T),
                                reinterpret_cast<std::uintptr_t>(d), sizeof(U), n);
        for (std::size_t i = 0; i < n; ++i) {
            const bool in_block = i >= where.singles && i < where.tail;
            codes[i] = in_block ? quantiser.block(samples[i]) : quantiser.single(samples[i]);
            dst.set(i, static_cast<U>(~codes[i])); // what is not written shows
        }
        if (where.faults)
            for (std::size_t i = where.singles; i < n; ++i)
                codes[i] = static_cast<U>(~codes[i]);

        ++compared;
        const auto call = [&] { kernel(s, n, d, step.data(), offset.data()); };
        if (where.faults) {
            if (!rig::faults(call))
                return AssertionFailure() << "no fault";
        } else if (AssertionResult fine = rig::armed(level, call); !fine) {
            return fine;
        }

        if (AssertionResult same = rig::same_bits(codes.data(), dst.data(), n); !same)
            return same << " (" << where.singles << " singly, then blocks up to " << where.tail
                        << "; v = " << first_difference(quantiser, n) << ")";
        if (n != 0)
            if (AssertionResult same = rig::same_bits(quantiser.step, step.get(0)); !same)
                return same << " (step)";
        if (n != 0 || !Quantiser<K>::about_centre)
            if (AssertionResult same =
                    rig::same_bits(n != 0 ? quantiser.offset : untouched, offset.get(0));
                !same)
                return same << " (offset)";
        if (n != 0 && std::memcmp(static_cast<const void*>(s), samples.data(), n * sizeof(T)) != 0)
            return AssertionFailure() << "src changed";
        for (const AssertionResult& whole :
             {src.intact(), dst.intact(), step.intact(), offset.intact()})
            if (!whole)
                return whole;
        return AssertionSuccess();
    }

    std::string where(std::size_t n, std::size_t src_at, std::size_t dst_at, Edge edge,
                      const char* data) const
    {
        return std::string(" at ") + rig::name(level) + ", n = " + std::to_string(n) + ", src at " +
               std::to_string(src_at) + ", dst at " + std::to_string(dst_at) +
               (edge == Edge::start ? ", start" : ", end") + ", " + data;
    }

    /// The plan of a call whose buffers lie at these places modulo 64.
    Plan planned(std::size_t n, std::size_t src_at, std::size_t dst_at) const
    {
        return plan(row, src_at, sizeof(T), dst_at, sizeof(U), n);
    }

private:
    std::string first_difference(const Quantiser<K>& quantiser, std::size_t n) const
    {
        for (std::size_t i = 0; i < n; ++i)
            if (codes[i] != dst.get(i))
                return rig::show(quantiser.scaled(samples[i]));
        return "";
    }
};

// --- Sweeps over a variant -----------------------------------------------------------------------

/// Every count at some places, with all data and at both edges.
template <class K>
void every_count(Level level)
{
    Bench<K> bench(level);
    constexpr std::size_t sample = sizeof(typename K::Sample);
    constexpr std::array<std::size_t, 2> places[] = {{0, 0},
                                                     {sample, 0},
                                                     {2 * sample, 32},
                                                     {0, 1},
                                                     {64 - sample, 2 * sizeof(typename K::Code)},
                                                     {3 * sample, 24}};
    for (std::size_t n = 0; n <= 2 * bench.row.block + 72; ++n)
        for (const auto& [src_at, dst_at] : places)
            for (const Data data : all_data)
                for (const Edge edge : rig::both_edges) {
                    bench.generate(n, data);
                    ASSERT_TRUE(bench.packs(n, src_at, dst_at, edge))
                        << bench.where(n, src_at, dst_at, edge, data_names[static_cast<int>(data)]);
                }
}

/// Every place of src in element steps and of dst in byte steps, with counts around the edges.
template <class K>
void every_place(Level level)
{
    Bench<K> bench(level);
    constexpr std::size_t sample = sizeof(typename K::Sample);
    const std::size_t counts[] = {1, 7, 15, 16, 29, 30, 31, 32, 33, 40, 64, 101, 131};
    std::size_t turn = 0;
    for (std::size_t src_at = 0; src_at < 64; src_at += sample)
        for (std::size_t dst_at = 0; dst_at < 64; ++dst_at)
            for (const std::size_t n : counts) {
                const Data data = all_data[turn++ % std::size(all_data)];
                const Edge edge = rig::both_edges[turn / std::size(all_data) % 2];
                bench.generate(n, data);
                ASSERT_TRUE(bench.packs(n, src_at, dst_at, edge))
                    << bench.where(n, src_at, dst_at, edge, data_names[static_cast<int>(data)]);
            }
}

/// Samples of which every scaled value v is known, around all the limits of the narrowing.
template <class K>
void out_of_range(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    const T ends[] = {T(0), static_cast<T>(Bench<K>::range)}; // step = scale = 1
    const T centre = Quantiser<K>::about_centre ? T(32768) : T(0);
    const double limits[] = {-4294967296.0, -2147483648.0, -65536.0,     -32768.0,
                             -256.0,        0.0,           255.0,        256.0,
                             32767.0,       32768.0,       40000.0,      65535.0,
                             65536.0,       98304.0,       2147483648.0, 4294967296.0};
    const double beside[] = {-1.0, -0.75, -0.5, -0.25, 0.0, 0.25, 0.5, 0.75, 1.0};
    const Told<K> told(level, ends[0], ends[1]);
    for (std::size_t at = 0; at < 64; at += sizeof(T))
        for (std::size_t dst_at = 0; dst_at < 64; dst_at += 3)
            for (const std::size_t n : {20U, 47U, 100U}) {
                for (std::size_t i = 0; i < n; ++i)
                    bench.samples[i] =
                        static_cast<T>(limits[bench.random.below(std::size(limits))] +
                                       beside[bench.random.below(std::size(beside))]) +
                        centre;
                ASSERT_TRUE(bench.packs(n, at, dst_at, Edge::end, ends))
                    << bench.where(n, at, dst_at, Edge::end, "out of range");
            }
}

/// A src off its element alignment never reaches the vector width: all elements singly, if minmax
/// comes back; the head of a vector minmax has no end test.
template <class K>
void misaligned_source(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    for (std::size_t src_at = 0; src_at < 64; ++src_at) {
        if (src_at % sizeof(T) == 0)
            continue;
        for (std::size_t n = 0; n <= 15; ++n) { // up to minmax's threshold as loaded
            bench.generate(n, all_data[n % std::size(all_data)]);
            const std::size_t dst_at = (n * 5 + src_at) % 64;
            ASSERT_TRUE(bench.packs(n, src_at, dst_at, Edge::end))
                << bench.where(n, src_at, dst_at, Edge::end, "misaligned");
        }
        const T ends[] = {T(0), static_cast<T>(Bench<K>::range)};
        const Told<K> told(level, ends[0], ends[1]);
        for (const std::size_t n : {16U, 31U, 32U, 97U})
            for (const std::size_t dst_at : {0U, 1U, 2U, 32U}) {
                for (std::size_t i = 0; i < n; ++i)
                    bench.samples[i] =
                        static_cast<T>(bench.random.below(4 * Bench<K>::range + 1)) * T(0.25);
                ASSERT_EQ(bench.planned(n, src_at, dst_at).singles, n);
                ASSERT_TRUE(bench.packs(n, src_at, dst_at, Edge::end, ends))
                    << bench.where(n, src_at, dst_at, Edge::end, "misaligned, told");
            }
    }
    const std::size_t n = 40; // above every minmax's threshold
    bench.src.place(n, 1, Edge::end);
    bench.dst.place(n, 0, Edge::end);
    EXPECT_EQ(rig::faults([&] {
                  bench.kernel(bench.src.data(), n, bench.dst.data(), bench.step.data(),
                               bench.offset.data());
              }),
              level != Level::base);
}

// --- The call of minmax --------------------------------------------------------------------------

/// Once, with the caller's own arguments; the entry only where the variant goes by the entry.
template <class K>
void asks_minmax(Level level)
{
    using T = typename K::Sample;
    constexpr bool about_centre = Quantiser<K>::about_centre;
    Bench<K> bench(level);
    const auto& asked = StandIn<T>::asked;
    for (const std::size_t n : {1U, 5U, 16U, 70U}) {
        const std::size_t src_at = 2 * sizeof(T);
        const auto expect_asked = [&] {
            EXPECT_EQ(asked.calls, 1);
            EXPECT_EQ(asked.src, bench.src.data());
            EXPECT_EQ(asked.n, n);
            EXPECT_EQ(asked.min == bench.offset.data(), !about_centre);
            for (const T* own : {bench.step.data(), bench.offset.data()})
                EXPECT_NE(asked.max, own);
            EXPECT_NE(asked.max, asked.min);
            EXPECT_NE(asked.min, bench.step.data());
        };
        const T ends[] = {T(-3), T(5)};
        bench.generate(n, Data::ordinary);
        if (bench.row.extremes == Extremes::entry) {
            const EntryReplaced<T> replaced(rig::at(level), ends[0], ends[1]);
            EXPECT_TRUE(bench.packs(n, src_at, 0, Edge::end, ends));
            expect_asked();
        } else {
            {
                const EntryReplaced<T> replaced(rig::at(level), ends[0], ends[1]);
                EXPECT_TRUE(bench.packs(n, src_at, 0, Edge::end)); // its own variant's extremes
                EXPECT_EQ(asked.calls, 0);
            }
            const Told<K> told(level, ends[0], ends[1]);
            EXPECT_TRUE(bench.packs(n, src_at, 0, Edge::end, ends));
            expect_asked();
        }
    }
    // The rule holds at the time of the call: restored, the entry is asked again.
    bench.generate(64, Data::holes);
    EXPECT_TRUE(bench.packs(64, 0, 0, Edge::end));
}

/// dst on a forbidden page: the call faults at its first code, whichever path stores it, and step
/// and offset are there.
template <class K>
void outputs_before_codes(Level level)
{
    using T = typename K::Sample;
    using U = typename K::Code;
    Bench<K> bench(level);
    for (std::size_t src_at = 0; src_at < 64; src_at += sizeof(T)) {
        const std::size_t n = 64;
        bench.generate(n, Data::ordinary);
        const T* const s = bench.src.place(n, src_at, Edge::end);
        std::memcpy(static_cast<void*>(bench.src.data()), bench.samples.data(), n * sizeof(T));
        U* const d = bench.dst.place(0, 0, Edge::end);
        bench.step.set(0, T(0));
        bench.offset.set(0, T(0));
        T min;
        T max;
        minmax(level, s, n, &min, &max);
        const Quantiser<K> quantiser(bench.row, min, max);
        ++compared;
        EXPECT_TRUE(
            rig::faults([&] { bench.kernel(s, n, d, bench.step.data(), bench.offset.data()); }));
        EXPECT_TRUE(rig::same_bits(quantiser.step, bench.step.get(0))) << src_at;
        EXPECT_TRUE(rig::same_bits(quantiser.offset, bench.offset.get(0))) << src_at;
        EXPECT_TRUE(bench.dst.intact());
    }
}

/// A null step or offset is used as given; the same call with both is fine.
template <class K>
void null_output(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    bench.generate(20, Data::ordinary);
    ASSERT_TRUE(bench.packs(20, 0, 0, Edge::end));
    const T* const s = bench.src.data();
    auto* const d = bench.dst.data();
    EXPECT_TRUE(rig::faults([&] { bench.kernel(s, 20, d, nullptr, bench.offset.data()); }));
    EXPECT_TRUE(rig::faults([&] { bench.kernel(s, 20, d, bench.step.data(), nullptr); }));
}

/// minmax clears the upper halves itself, so it is made to leave them dirty here: the pack kernel
/// must clear them whether or not a block ran.
template <class K>
void clears_upper_halves(Level level)
{
    using T = typename K::Sample;
    if (!rig::upper_halves_visible())
        GTEST_SKIP() << "this machine cannot tell";
    Bench<K> bench(level);
    const T ends[] = {T(-1), T(1)};
    for (const std::size_t n : {0U, 1U, 3U, 16U, 33U, 70U})
        for (const std::size_t src_at : {std::size_t{0}, sizeof(T)})
            for (const std::size_t dst_at : {0U, 1U, 2U, 16U}) {
                const Told<K> told(level, ends[0], ends[1]);
                StandIn<T>::dirty = true;
                bench.generate(n, Data::ordinary);
                EXPECT_TRUE(bench.packs(n, src_at, dst_at, Edge::end, ends))
                    << bench.where(n, src_at, dst_at, Edge::end, "dirty minmax");
            }
}

/// Blocks store aligned where the rule says so, at the width that it names, and nowhere else.
template <class K>
void aligned_stores(Level level)
{
    using U = typename K::Code;
    Bench<K> bench(level);
    const Row& row = bench.row;
    const std::size_t n = 2 * row.block + 32;
    bench.generate(n, Data::ordinary);
    for (const std::size_t dst_at : {0U, 16U, 8U, 4U, 2U, 1U}) {
        if (bench.planned(n, 0, dst_at).faults)
            continue;
        ASSERT_TRUE(bench.packs(n, 0, dst_at, Edge::end));
        const std::size_t unaligned =
            rig::unaligned_accesses(rig::Access::store, bench.dst.data(), n * sizeof(U), [&] {
                bench.kernel(bench.src.data(), n, bench.dst.data(), bench.step.data(),
                             bench.offset.data());
            });
        const bool aligned = dst_at % (row.walk_if != 0 ? row.walk_if : row.width) == 0;
        EXPECT_EQ(unaligned != 0, !aligned) << dst_at << ": " << unaligned;

        const Told<K> told(level, 0, 1); // minmax's own loads are its own matter
        EXPECT_EQ(rig::unaligned_accesses(rig::Access::load, bench.src.data(),
                                          n * sizeof(*bench.src.data()),
                                          [&] {
                                              bench.kernel(bench.src.data(), n, bench.dst.data(),
                                                           bench.step.data(), bench.offset.data());
                                          }),
                  0U)
            << dst_at;
    }
}

// --- Named edges ---------------------------------------------------------------------------------

/// n = 0: no code; step (and mid) stored all the same; min left to minmax, which leaves it alone.
template <class K>
void count_zero(Level level)
{
    using T = typename K::Sample;
    constexpr bool about_centre = Quantiser<K>::about_centre;
    Bench<K> bench(level);
    const T* const s = bench.src.place(0, 0, Edge::end); // nothing readable, nothing writable
    auto* const d = bench.dst.place(0, 0, Edge::end);

    // As loaded the stored values mean nothing, but of two unlike old values one must go.
    const T marks[] = {T(123.25), T(-77.5)};
    bool step_stored = false;
    bool mid_stored = false;
    for (const T mark : marks) {
        bench.step.set(0, mark);
        bench.offset.set(0, mark);
        ASSERT_TRUE(rig::armed(
            level, [&] { bench.kernel(s, 0, d, bench.step.data(), bench.offset.data()); }));
        step_stored |= !rig::same_bits(mark, bench.step.get(0));
        mid_stored |= !rig::same_bits(mark, bench.offset.get(0));
    }
    EXPECT_TRUE(step_stored);
    EXPECT_EQ(mid_stored, about_centre);
    EXPECT_TRUE(bench.dst.intact());

    // And they go through the same steps as ever: told extremes show it.
    const T ends[] = {T(-3), T(7)};
    const Told<K> told(level, ends[0], ends[1]);
    StandIn<T>::even_if_empty = true;
    ASSERT_TRUE(
        rig::armed(level, [&] { bench.kernel(s, 0, d, bench.step.data(), bench.offset.data()); }));
    const Quantiser<K> quantiser(bench.row, ends[0], ends[1]);
    EXPECT_TRUE(rig::same_bits(quantiser.step, bench.step.get(0)));
    EXPECT_TRUE(rig::same_bits(quantiser.offset, bench.offset.get(0)));
    EXPECT_TRUE(bench.step.intact());
    EXPECT_TRUE(bench.offset.intact());
}

/// Calls with n samples as they stand and expects these codes, singly and in blocks.
template <class K>
void expect_codes(Bench<K>& bench, std::size_t n, std::size_t src_at, std::size_t dst_at,
                  const std::vector<std::array<int, 2>>& single_and_block)
{
    EXPECT_TRUE(bench.packs(n, src_at, dst_at, Edge::end))
        << bench.where(n, src_at, dst_at, Edge::end, "as given");
    const Plan where = bench.planned(n, src_at, dst_at);
    ASSERT_FALSE(where.faults);
    for (std::size_t i = 0; i < n; ++i) {
        const bool in_block = i >= where.singles && i < where.tail;
        EXPECT_EQ(int{bench.dst.get(i)}, single_and_block[i][in_block ? 1 : 0])
            << "element " << i << bench.where(n, src_at, dst_at, Edge::end, "as given");
    }
}

/// All v are 0 times infinity.
template <class K>
void constant_block(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    const std::size_t n = 2 * bench.row.block + 40;
    const int in_block = Quantiser<K>::about_centre ? -32768 : 0;
    for (const T value : {T(1.7), T(-3), T(0)}) {
        std::fill_n(bench.samples.begin(), n, value);
        expect_codes<K>(bench, n, sizeof(T), 1, std::vector(n, std::array{0, in_block}));
        expect_codes<K>(bench, n, 0, 32, std::vector(n, std::array{0, in_block}));
        EXPECT_TRUE(rig::same_bits(T(0), bench.step.get(0)));
        EXPECT_TRUE(rig::same_bits(value, bench.offset.get(0)));
    }
}

/// In a block of 0 to K: quarters to the left, and a NaN that spoils nothing but itself.
template <class K>
void nan_sample(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    const std::size_t n = 2 * bench.row.block + 40;
    const int centre = Quantiser<K>::about_centre ? 32768 : 0;
    for (std::size_t at = 2; at < n - 8; ++at) {
        std::vector<std::array<int, 2>> want(n, std::array{100 - centre, 100 - centre});
        std::fill_n(bench.samples.begin(), n, T(100));
        for (std::size_t i : {std::size_t{0}, n - 3}) { // whichever minmax looks at
            bench.samples[i] = T(0);
            bench.samples[i + 1] = static_cast<T>(Bench<K>::range);
            want[i].fill(-centre);
            want[i + 1].fill(static_cast<int>(Bench<K>::range) - centre);
        }
        bench.samples[at] = nan_of<T>(at, at % 2 == 0);
        want[at] = {0, Quantiser<K>::about_centre ? -32768 : 0};
        if (at == n - 3 || at == n - 2)
            continue;
        expect_codes<K>(bench, n, 0, 0, want);
        EXPECT_TRUE(rig::same_bits(T(1), bench.step.get(0)));
    }
}

/// Largest sample infinite: nothing left to tell the others apart.
template <class K>
void infinite_maximum(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    const std::size_t n = 2 * bench.row.block + 40;
    const T infinity = std::numeric_limits<T>::infinity();
    const int in_block = Quantiser<K>::about_centre ? -32768 : 0;
    for (const std::size_t at : {std::size_t{0}, std::size_t{1}, n / 2, n - 2}) {
        for (std::size_t i = 0; i < n; ++i)
            bench.samples[i] = static_cast<T>(i) - T(3);
        bench.samples[at] = infinity;
        bench.samples[at == 0 ? 1 : 0] = T(-3);
        expect_codes<K>(bench, n, 0, 3, std::vector(n, std::array{0, in_block}));
        EXPECT_TRUE(rig::same_bits(infinity, bench.step.get(0)));
        EXPECT_TRUE(
            rig::same_bits(Quantiser<K>::about_centre ? infinity : T(-3), bench.offset.get(0)));
    }
}

/// NaN extremes, from data (a NaN that leads every lane and stays) and told with payloads apart.
template <class K>
void nan_extremes(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    const int in_block = Quantiser<K>::about_centre ? -32768 : 0;
    // At or below minmax's threshold a NaN first element is both extremes.
    bench.generate(15, Data::grid);
    bench.samples[0] = nan_of<T>(0x77, false);
    expect_codes<K>(bench, 15, 0, 0, std::vector(15, std::array{0, in_block}));
    EXPECT_TRUE(rig::same_bits(nan_of<T>(0x77), bench.step.get(0)));
    EXPECT_TRUE(rig::same_bits(nan_of<T>(0x77, Quantiser<K>::about_centre), bench.offset.get(0)));

    // Whose payload goes where: max leads in max - min, min in min + max and before step.
    const T low = nan_of<T>(0xA1, false);
    const T high = nan_of<T>(0xB2, false);
    const std::array<T, 2> pairs[] = {
        {low, high},
        {low, T(1)},
        {T(1), high},
        {std::numeric_limits<T>::infinity(), std::numeric_limits<T>::infinity()}};
    for (const auto& ends : pairs) {
        const Told<K> told(level, ends[0], ends[1]);
        for (const std::size_t n : {1U, 15U, 16U, 64U, 75U}) {
            bench.generate(n, Data::ordinary);
            EXPECT_TRUE(bench.packs(n, sizeof(T), 1, Edge::end, ends.data()));
            for (std::size_t i = 0; i < n; ++i)
                EXPECT_TRUE(bench.dst.get(i) == 0 || int{bench.dst.get(i)} == in_block);
        }
    }
    const Told<K> told(level, low, high);
    const T ends[] = {low, high};
    bench.generate(9, Data::ordinary);
    EXPECT_TRUE(bench.packs(9, 0, 0, Edge::end, ends));
    EXPECT_TRUE(rig::same_bits(model::quieted(high), bench.step.get(0)));
    EXPECT_TRUE(rig::same_bits(Quantiser<K>::about_centre ? model::quieted(low) : low,
                               bench.offset.get(0)));
}

/// v = 2.5, 3.5, 0.7, 3.7 (and, about a centre, their negatives) on both paths.
template <class K>
void rounding(Level level)
{
    using T = typename K::Sample;
    Bench<K> bench(level);
    struct Case {
        double v;
        int single, block;
    };
    const Case positive[] = {{2.5, 2, 2},  {3.5, 3, 4},      {0.703125, 0, 1},  {3.703125, 3, 4},
                             {0.5, 0, 0},  {1.5, 1, 2},      {254.5, 254, 254}, {253.5, 253, 254},
                             {0.25, 0, 0}, {100.0, 100, 100}};
    const int centre = Quantiser<K>::about_centre ? 32768 : 0;
    const std::size_t n = 2 * bench.row.block + 40;
    for (const std::size_t src_at : {std::size_t{0}, sizeof(T), 3 * sizeof(T)})
        for (const std::size_t dst_at : {0U, 1U, 32U}) {
            std::vector<std::array<int, 2>> want(n);
            for (std::size_t i = 0; i < n; ++i) {
                const Case& c = positive[(i + src_at) % std::size(positive)];
                const bool negative = centre != 0 && i % 3 == 0;
                bench.samples[i] = static_cast<T>((negative ? -c.v : c.v) + centre);
                want[i] = {negative ? -c.single : c.single, negative ? -c.block : c.block};
            }
            for (const std::size_t i : {std::size_t{1}, n - 3}) {
                bench.samples[i] = T(0);
                bench.samples[i + 1] = static_cast<T>(Bench<K>::range);
                want[i].fill(-centre);
                want[i + 1].fill(static_cast<int>(Bench<K>::range) - centre);
            }
            if (bench.planned(n, src_at, dst_at).faults)
                continue;
            expect_codes<K>(bench, n, src_at, dst_at, want);
        }
}

/// Finite samples and a range that is not degenerate: every v within the code's range, so that
/// both paths store codes next to v, whatever the narrowing.
template <class K>
void stays_in_range(Level level)
{
    Bench<K> bench(level);
    for (int turn = 0; turn < 200; ++turn) {
        const std::size_t n = 64 + static_cast<std::size_t>(turn) % 40;
        bench.generate(n, Data::ordinary);
        ASSERT_TRUE(bench.packs(n, 0, 0, Edge::end));
        const double step = static_cast<double>(bench.step.get(0));
        const double offset = static_cast<double>(bench.offset.get(0));
        ASSERT_GT(step, 0.0);
        for (std::size_t i = 0; i < n; ++i) {
            const double v = (static_cast<double>(bench.samples[i]) - offset) / step;
            ASSERT_NEAR(v, static_cast<double>(bench.dst.get(i)), 1.01) << i;
        }
    }
}

/// 2^32 samples, of arrays with room for a few, run into the forbidden page; a count cut to 32 bits
/// finds nothing to do.
template <class K>
void count_of_64_bits(Level level)
{
    Bench<K> bench(level);
    const Told<K> told(level, 0, 1);
    bench.src.place(most, 0, Edge::end);
    bench.dst.place(most, 0, Edge::end);
    EXPECT_TRUE(rig::faults([&] {
        bench.kernel(bench.src.data(), std::size_t{1} << 32, bench.dst.data(), bench.step.data(),
                     bench.offset.data());
    }));
}

// --- The list ------------------------------------------------------------------------------------

#define PACK_VARIANT(entry, kernel, at)                                                            \
    TEST(entry, at##_every_count) { every_count<kernel>(Level::at); }                              \
    TEST(entry, at##_every_place) { every_place<kernel>(Level::at); }                              \
    TEST(entry, at##_out_of_range) { out_of_range<kernel>(Level::at); }                            \
    TEST(entry, at##_misaligned_source) { misaligned_source<kernel>(Level::at); }                  \
    TEST(entry, at##_asks_minmax) { asks_minmax<kernel>(Level::at); }                              \
    TEST(entry, at##_outputs_before_codes) { outputs_before_codes<kernel>(Level::at); }            \
    TEST(entry, at##_null_output_faults) { null_output<kernel>(Level::at); }                       \
    TEST(entry, at##_count_zero) { count_zero<kernel>(Level::at); }                                \
    TEST(entry, at##_count_of_64_bits) { count_of_64_bits<kernel>(Level::at); }                    \
    TEST(entry, at##_constant_block) { constant_block<kernel>(Level::at); }                        \
    TEST(entry, at##_nan_sample) { nan_sample<kernel>(Level::at); }                                \
    TEST(entry, at##_infinite_maximum) { infinite_maximum<kernel>(Level::at); }                    \
    TEST(entry, at##_nan_extremes) { nan_extremes<kernel>(Level::at); }                            \
    TEST(entry, at##_rounding) { rounding<kernel>(Level::at); }                                    \
    TEST(entry, at##_stays_in_range) { stays_in_range<kernel>(Level::at); }
#define PACK_VECTOR_VARIANT(entry, kernel, at)                                                     \
    PACK_VARIANT(entry, kernel, at)                                                                \
    TEST(entry, at##_aligned_stores) { aligned_stores<kernel>(Level::at); }
#define PACK_WIDE_VARIANT(entry, kernel, at)                                                       \
    PACK_VECTOR_VARIANT(entry, kernel, at)                                                         \
    TEST(entry, at##_clears_upper_halves) { clears_upper_halves<kernel>(Level::at); }

PACK_VARIANT(pack_f32_u8, F32U8, base)
PACK_VECTOR_VARIANT(pack_f32_u8, F32U8, sse2)
PACK_WIDE_VARIANT(pack_f32_u8, F32U8, avx)
PACK_WIDE_VARIANT(pack_f32_u8, F32U8, avx2)
PACK_VARIANT(pack_f32_s16, F32S16, base)
PACK_VECTOR_VARIANT(pack_f32_s16, F32S16, sse2)
PACK_WIDE_VARIANT(pack_f32_s16, F32S16, avx)
PACK_WIDE_VARIANT(pack_f32_s16, F32S16, avx2)
PACK_VARIANT(pack_f64_u8, F64U8, base)
PACK_VECTOR_VARIANT(pack_f64_u8, F64U8, sse2)
PACK_WIDE_VARIANT(pack_f64_u8, F64U8, avx)
PACK_VARIANT(pack_f64_s16, F64S16, base)
PACK_VECTOR_VARIANT(pack_f64_s16, F64S16, sse2)
PACK_WIDE_VARIANT(pack_f64_s16, F64S16, avx)
PACK_VARIANT(pack_f64_u16, F64U16, base)
PACK_VECTOR_VARIANT(pack_f64_u16, F64U16, sse2)
PACK_VECTOR_VARIANT(pack_f64_u16, F64U16, ssse3)
PACK_VECTOR_VARIANT(pack_f64_u16, F64U16, sse41)
PACK_WIDE_VARIANT(pack_f64_u16, F64U16, avx)

// --- Kept faults, and the calls beside them ------------------------------------------------------

/// Whether a call of n samples at these places faults; compared in full either way.
template <class K>
bool compared_and_faults(Level level, std::size_t n, std::size_t src_at, std::size_t dst_at)
{
    Bench<K> bench(level);
    bench.generate(n, Data::grid);
    EXPECT_TRUE(bench.packs(n, src_at, dst_at, Edge::end))
        << bench.where(n, src_at, dst_at, Edge::end, "grid");
    return rig::faults([&] {
        bench.kernel(bench.src.data(), n, bench.dst.data(), bench.step.data(), bench.offset.data());
    });
}

TEST(pack_f32_u8, sse2_faults_with_dst_at_2_modulo_16_from_30_samples)
{
    EXPECT_TRUE(compared_and_faults<F32U8>(Level::sse2, 30, 0, 2));
    EXPECT_TRUE(compared_and_faults<F32U8>(Level::sse2, 100, 32, 18));
    EXPECT_FALSE(compared_and_faults<F32U8>(Level::sse2, 29, 0, 2));
    EXPECT_FALSE(compared_and_faults<F32U8>(Level::sse2, 30, 0, 1));
    EXPECT_FALSE(compared_and_faults<F32U8>(Level::sse2, 100, 0, 4));
    EXPECT_FALSE(compared_and_faults<F32U8>(Level::avx, 100, 0, 2));
    EXPECT_FALSE(compared_and_faults<F32U8>(Level::avx2, 100, 0, 2));
}

// The same after a head: what counts is where it leaves dst.
TEST(pack_f32_u8, sse2_faults_with_dst_at_2_modulo_4_after_the_head)
{
    for (std::size_t src_at = 0; src_at < 16; src_at += 4)
        for (std::size_t dst_at = 0; dst_at < 64; ++dst_at) {
            const std::size_t head = (16 - src_at) / 4 % 4;
            EXPECT_EQ(compared_and_faults<F32U8>(Level::sse2, 60, src_at, dst_at),
                      (dst_at + head) % 4 == 2)
                << src_at << " " << dst_at;
        }
}

TEST(pack_f64_u16, ssse3_and_sse41_fault_with_src_8_off_and_dst_aligned_from_16_samples)
{
    for (const Level level : {Level::ssse3, Level::sse41}) {
        EXPECT_TRUE(compared_and_faults<F64U16>(level, 16, 8, 0));
        EXPECT_TRUE(compared_and_faults<F64U16>(level, 90, 8, 32));
        EXPECT_FALSE(compared_and_faults<F64U16>(level, 15, 8, 0));
        EXPECT_FALSE(compared_and_faults<F64U16>(level, 90, 0, 0));
        EXPECT_FALSE(compared_and_faults<F64U16>(level, 90, 8, 1));
    }
    for (const Level level : {Level::sse2, Level::avx}) {
        EXPECT_FALSE(compared_and_faults<F64U16>(level, 16, 8, 0));
        EXPECT_FALSE(compared_and_faults<F64U16>(level, 90, 8, 32));
    }
}

TEST(pack_f64_u16, ssse3_and_sse41_fault_with_dst_at_2_modulo_4_after_the_head)
{
    for (const Level level : {Level::ssse3, Level::sse41})
        for (std::size_t src_at = 0; src_at < 16; src_at += 8)
            for (std::size_t dst_at = 0; dst_at < 64; ++dst_at) {
                const std::size_t head = src_at / 8;
                EXPECT_EQ(compared_and_faults<F64U16>(level, 60, src_at, dst_at),
                          (dst_at + 2 * head) % 4 == 2)
                    << src_at << " " << dst_at;
            }
}

// --- Wrap against clamp, from data alone ---------------------------------------------------------

// A run of NaNs makes minmax forget the samples before it, in every lane; one of those, in a block,
// lies far outside.
TEST(pack_f64_u16, block_wraps_below_sse41_and_clamps_from_there_on)
{
    for (const Level level : {Level::sse2, Level::ssse3, Level::sse41, Level::avx}) {
        Bench<F64U16> bench(level);
        const bool wraps = level < Level::sse41;
        std::fill_n(bench.samples.begin(), 64, 5.0);
        bench.samples[16] = 65541.0; // v = 65541
        bench.samples[17] = -2.0;    // v = -2
        std::fill_n(bench.samples.begin() + 24, 8, nan_of<double>(1));
        bench.samples[40] = 0.0;
        bench.samples[41] = 65535.0;
        ASSERT_TRUE(bench.packs(64, 0, 0, Edge::end));
        EXPECT_EQ(bench.step.get(0), 1.0);
        EXPECT_EQ(bench.offset.get(0), 0.0);
        EXPECT_EQ(bench.dst.get(16), wraps ? 5 : 65535) << rig::name(level);
        EXPECT_EQ(bench.dst.get(17), wraps ? 65534 : 0) << rig::name(level);
        EXPECT_EQ(bench.dst.get(24), 0) << rig::name(level);
    }
}

// minmax_f64 at SSE2 leaves the last element of an even count out if src is 8 off: the sample may
// then lie outside of the extremes, and is stored singly, unclamped.
TEST(pack_f64_u8, sse2_last_sample_outside_the_extremes_wraps)
{
    Bench<F64U8> bench(Level::sse2);
    for (std::size_t i = 0; i < 40; ++i)
        bench.samples[i] = static_cast<double>(i % 2 * 255);
    bench.samples[39] = 300.0;
    ASSERT_TRUE(bench.packs(40, 8, 0, Edge::end));
    EXPECT_EQ(bench.step.get(0), 1.0);
    EXPECT_EQ(bench.dst.get(39), 300 - 256);
    ASSERT_TRUE(bench.packs(40, 0, 0, Edge::end)); // src aligned: the sample is seen
    EXPECT_EQ(bench.step.get(0), 1.0 / (255.0 / 300.0));
}

// Step and scale are taken in opposite order by the baseline and by the vector variants.
TEST(pack_f32_u8, baseline_and_vector_steps_may_differ_in_the_last_bit)
{
    int different = 0;
    for (int i = 1; i <= 200; ++i) {
        const float high = 1.0F + static_cast<float>(i) / 256.0F;
        float steps[2];
        for (const Level level : {Level::base, Level::avx2}) {
            Bench<F32U8> bench(level);
            bench.samples = {0.0F, high};
            ASSERT_TRUE(bench.packs(2, 0, 0, Edge::end));
            steps[level == Level::base ? 0 : 1] = bench.step.get(0);
        }
        EXPECT_EQ(steps[0], high / 255.0F);
        EXPECT_EQ(steps[1], 1.0F / (255.0F / high));
        different += steps[0] != steps[1] ? 1 : 0;
    }
    EXPECT_GT(different, 10);
}

} // namespace
