// Which functions a variant enters, with which arguments and how often, and in which order it stores
// and loads where an order is stated.
#include "structure/kernels.h"

#include <algorithm>
#include <cstring>

namespace structure {
namespace {

using enum Level;

std::vector<std::size_t> at_zero(const Kernel& k)
{
    return std::vector<std::size_t>(k.arrays.size());
}

Called call(const std::string& name, Level level, std::size_t n)
{
    const Kernel& k = kernel(name);
    return run(k, level, n, at_zero(k));
}

std::string variant(const std::string& kernel, Level level) { return kernel + "_" + name(level); }

/// Arrays in the order in which they are stored to.
std::vector<int> stores(const rig::Trace& trace)
{
    std::vector<int> list;
    for (const rig::Touch& t : trace.touched)
        if (t.store)
            list.push_back(array_of(t.address));
    return list;
}

// --- who is called -------------------------------------------------------------------------

/// What each kernel may enter besides itself, its own helpers and its own baseline.
const std::map<std::string, std::vector<std::string>>& callees()
{
    static const std::map<std::string, std::vector<std::string>> list = {
        {"memcpy_fast", {"memcpy"}},       {"spec_log_f32", {"log10f"}},
        {"spec_log_f64", {"log10"}},       {"vfilter2_chunk", {"expf", "exp_f32x4"}},
        {"pack_f32_u8", {"minmax_f32_"}},  {"pack_f32_s16", {"minmax_f32_"}},
        {"pack_f64_u8", {"minmax_f64_"}},  {"pack_f64_s16", {"minmax_f64_"}},
        {"pack_f64_u16", {"minmax_f64_"}},
    };
    return list;
}

/// The exponential of four floats is one function, for SSE2 and for AVX2's short chunks.
void shares_the_exponential(Level level)
{
    ASSERT_NE(rig::shipped_code().named("exp_f32x4"), nullptr);
    for (const std::size_t n : {std::size_t{8}, std::size_t{12}, std::size_t{15}})
        EXPECT_EQ(call("vfilter2_chunk", level, n).trace.times_entered("exp_f32x4"), n / 4)
            << "n " << n;
    if (level == avx2) {
        EXPECT_FALSE(call("vfilter2_chunk", level, 39).trace.has_entered("exp_f32x4"));
    }
}

/// No call but those stated; those that state no call at all make none, not even a jump.
void enters_only_what_is_stated(const Kernel& k, Level level)
{
    const bool leaf = k.name.starts_with("iir1_") || k.name.starts_with("fir_step_");
    for (const std::size_t n : k.counts) {
        if (k.name == "spec_log_f32" && n % 8 != 0)
            continue;
        const Called r = run(k, level, n, at_zero(k));
        for (const rig::Entered& e : r.trace.entered) {
            if (e.name == variant(k.name, level))
                continue;
            EXPECT_FALSE(leaf) << e.name << " from a leaf, n " << n;
            if (leaf || e.name == variant(k.name, base))
                continue;
            bool stated = false;
            if (const auto it = callees().find(k.name); it != callees().end())
                for (const std::string& callee : it->second)
                    stated = stated || e.name.starts_with(callee);
            const bool own_helper =
                e.name != "" && rig::shipped_code().named(e.name) != nullptr &&
                (!rig::variant_levels().contains(e.name) || e.name.starts_with(k.name + "_"));
            EXPECT_TRUE(stated || own_helper) << "enters " << e.name << ", n " << n;
        }
    }
}

/// Up to the threshold the baseline is called, above it is not.
void hands_short_calls_on(const std::string& name, Level level)
{
    const std::size_t most = threshold(name, level);
    for (const std::size_t n : {std::size_t{1}, most - 1, most, most + 1, most + 9}) {
        const Called r = call(name, level, n);
        EXPECT_EQ(r.trace.times_entered(variant(name, base)), n <= most ? 1U : 0U) << "n " << n;
    }
}

/// How often a function of the system's library is called.
void calls_outside(const std::string& kernel, Level level, const std::string& function,
                   const std::vector<std::pair<std::size_t, std::size_t>>& times)
{
    for (const auto& [n, stated] : times)
        EXPECT_EQ(call(kernel, level, n).trace.times_entered(function), stated) << "n " << n;
}

void memcpy_gets_the_whole_call(Level level)
{
    const Kernel& k = kernel("memcpy_fast");
    for (const std::size_t n : {std::size_t{0}, std::size_t{64}, std::size_t{300}}) {
        const Called r = run(k, level, n, {0, 1});
        ASSERT_EQ(r.trace.times_entered("memcpy"), 1U) << "n " << n;
        const rig::Entered& e = r.trace.entered.back();
        EXPECT_EQ(e.name, "memcpy");
        EXPECT_EQ(e.arguments[0], r.setting.at[0]);
        EXPECT_EQ(e.arguments[1], r.setting.at[1]);
        EXPECT_EQ(e.arguments[2], n);
        EXPECT_TRUE(r.trace.touched.empty()) << "touches the arrays itself";
    }
}

/// Loads of a 64-byte step, then its stores.
void streams_loads_then_stores(Level level)
{
    const Called r = run(kernel("memcpy_fast"), level, 256, {0, 0});
    std::string order;
    for (const rig::Touch& t : r.trace.touched)
        if (t.reach == Reach::streaming)
            order += t.store ? 's' : 'l';
    const std::string step = level == sse2 ? "llllssss" : "llss";
    EXPECT_EQ(order, step + step + step + step);
}

// --- packing -------------------------------------------------------------------------------

struct Packer {
    const char* name;
    Level level;
    bool direct; // the minimum and maximum of its own level, not the entry's
};
constexpr Packer packers[] = {
    {"pack_f32_u8", base, false}, {"pack_f32_u8", sse2, false},   {"pack_f32_u8", avx, true},
    {"pack_f32_u8", avx2, false}, {"pack_f32_s16", base, false},  {"pack_f32_s16", sse2, false},
    {"pack_f32_s16", avx, true},  {"pack_f32_s16", avx2, false},  {"pack_f64_u8", base, false},
    {"pack_f64_u8", sse2, true},  {"pack_f64_u8", avx, true},     {"pack_f64_s16", base, false},
    {"pack_f64_s16", sse2, true}, {"pack_f64_s16", avx, true},    {"pack_f64_u16", base, false},
    {"pack_f64_u16", sse2, true}, {"pack_f64_u16", ssse3, false}, {"pack_f64_u16", sse41, false},
    {"pack_f64_u16", avx, true},
};

/// The range first, by the stated kernel; step and centre before any code.
void packs_in_order(const Packer& p)
{
    constexpr std::size_t n = 64;
    const bool real32 = std::string(p.name).find("_f32_") != std::string::npos;
    const bool is_signed = std::string(p.name).ends_with("_s16");
    const std::string range = real32 ? "minmax_f32" : "minmax_f64";
    auto** const entry = static_cast<void**>(library_at(p.level).symbol(range.c_str()));
    void* const loaded = *entry;
    // Another variant than any that the library puts there at a level above the baseline.
    *entry = library_at(p.level).internal((range + "_base").c_str());
    const Called r = call(p.name, p.level, n);
    *entry = loaded;

    std::vector<rig::Entered> ranges;
    for (const rig::Entered& e : r.trace.entered)
        if (e.name.starts_with(range))
            ranges.push_back(e);
    ASSERT_EQ(ranges.size(), 1U) << "calls of " << range;
    EXPECT_EQ(ranges[0].name, variant(range, p.direct ? p.level : base));
    EXPECT_EQ(ranges[0].arguments[0], r.setting.at[0]);
    EXPECT_EQ(ranges[0].arguments[1], n);
    EXPECT_EQ(ranges[0].arguments[2] == r.setting.at[3], !is_signed) << "where the minimum lands";
    EXPECT_EQ(array_of(ranges[0].arguments[3]), -1) << "where the maximum lands";

    std::vector<int> own;
    for (const rig::Touch& t : r.trace.touched)
        if (!t.by->name.starts_with("minmax_")) {
            EXPECT_GT(t.step, ranges[0].step) << "an access before the range is known";
            if (t.store)
                own.push_back(array_of(t.address));
        }
    const std::vector<int> stated = is_signed ? std::vector<int>{2, 3} : std::vector<int>{2};
    ASSERT_GE(own.size(), stated.size());
    EXPECT_EQ(std::vector<int>(own.begin(), own.begin() + static_cast<int>(stated.size())), stated)
        << "step, centre, codes";
    EXPECT_EQ(std::count(own.begin() + static_cast<int>(stated.size()), own.end(), 1),
              static_cast<std::ptrdiff_t>(own.size() - stated.size()));
}

// --- the order of outputs ------------------------------------------------------------------

using Order = std::vector<int>;

/// The maximum is stored first, then the minimum; a mean before both, and after every element.
void base_stores(const std::string& name)
{
    const bool mean = name.starts_with("minmaxmed");
    Order stated = mean ? Order{3, 2, 1} : Order{2, 1};
    const bool ascending = !name.ends_with("s16"); // as the arrays are filled
    for (int i = 1; i < 5; ++i) {
        stated.push_back(ascending ? 2 : 1);
        if (mean)
            stated.push_back(3);
    }
    if (mean)
        stated.push_back(3);
    EXPECT_EQ(stores(call(name, base, 5).trace), stated);
}

/// The minimum is stored, then the maximum; a mean last.
void vector_stores(const std::string& name, Level level)
{
    const bool mean = name.starts_with("minmaxmed");
    const Order order = stores(call(name, level, 64).trace); // whole blocks: no tail
    Order without_mean = order;
    std::erase(without_mean, 3);
    EXPECT_EQ(without_mean, (Order{1, 2}));
    EXPECT_TRUE(!mean || order.back() == 3) << "the mean is stored last";
}

/// In place: no byte is loaded any more once it has been stored.
void loads_before_it_stores(const std::string& name, Level level)
{
    const Kernel& k = kernel(name);
    rig::Library& library = library_at(level);
    for (const std::size_t n : {std::size_t{15}, std::size_t{64}}) {
        run(k, level, n, at_zero(k)); // fills the arrays
        char* const both[] = {room(0, 0), room(0, 0), room(0, 0)};
        const rig::Trace trace = rig::traced(library, [&] { k.call(library, both, n); });
        ASSERT_EQ(trace.signal, 0);
        std::vector<char> stored(4096);
        std::size_t late = 0, seen = 0;
        for (const rig::Touch& t : trace.touched)
            for (std::uint64_t at = t.address; at < t.address + t.width; ++at) {
                char& byte = stored.at(at - reinterpret_cast<std::uint64_t>(room(0, 0)));
                late += !t.store && byte != 0 ? 1 : 0;
                byte = static_cast<char>(byte | (t.store ? 1 : 0));
                ++seen;
            }
        EXPECT_GE(seen, 2 * n);
        EXPECT_EQ(late, 0U) << "bytes loaded after they were stored, n " << n;
    }
}

// --- filters -------------------------------------------------------------------------------

template <class T>
struct Smoothing {
    std::vector<T> x, taps, y;
    std::int32_t n, length;
};

template <class Fn, class T>
rig::Trace smooth(const std::string& name, Level level, Smoothing<T>& s)
{
    rig::Library& library = library_at(level);
    Fn* const entry = *library.entry<Fn>(name.c_str());
    return rig::traced(library, [&] {
        rig::stepped(entry)(s.x.data(), s.n, s.taps.data(), s.length, s.y.data());
    });
}

template <class T>
Smoothing<T> smoothing(std::int32_t n, std::int32_t length)
{
    Smoothing<T> s{std::vector<T>(static_cast<std::size_t>(n), T(1)),
                   std::vector<T>(static_cast<std::size_t>(length) + 1, T(0.25)),
                   std::vector<T>(static_cast<std::size_t>(n) + 64), n, length};
    return s;
}

/// Each block is W calls of the level's own step, whatever stands in the entry, outputs j and j + W.
template <class Fn, class T>
void steps_in_pairs(const std::string& name, const std::string& step, Level level)
{
    const std::size_t lanes = (level == avx ? 32 : 16) / sizeof(T);
    auto** const entry = static_cast<void**>(library_at(level).symbol(step.c_str()));
    void* const loaded = *entry;
    *entry = nullptr;
    for (const std::int32_t length : {2, 5, 9}) {
        Smoothing<T> s = smoothing<T>(50, length);
        const std::size_t half = static_cast<std::size_t>(length) / 2;
        const rig::Trace trace = smooth<Fn>(name, level, s);
        EXPECT_EQ(trace.signal, 0) << "through the entry?";
        const std::size_t blocks = (50 - 2 * half) / (2 * lanes);
        std::vector<rig::Entered> calls;
        for (const rig::Entered& e : trace.entered)
            if (e.name.starts_with("fir_step"))
                calls.push_back(e);
        EXPECT_EQ(calls.size(), blocks * lanes) << "length " << length;
        if (calls.size() != blocks * lanes)
            break;
        for (std::size_t b = 0; b < blocks; ++b)
            for (std::size_t j = 0; j < lanes; ++j) {
                const rig::Entered& e = calls[b * lanes + j];
                const std::size_t i = half + 2 * lanes * b + j;
                const auto at = [](const T* p) { return reinterpret_cast<std::uint64_t>(p); };
                EXPECT_EQ(e.name, variant(step, level));
                EXPECT_EQ(e.arguments[0], at(&s.x[i - half]));
                EXPECT_EQ(e.arguments[1], at(&s.x[i + lanes - half]));
                EXPECT_EQ(e.arguments[2], at(s.taps.data()));
                EXPECT_EQ(e.arguments[3], 2 * half + 1);
                EXPECT_EQ(e.arguments[4], at(&s.y[i]));
                EXPECT_EQ(e.arguments[5], at(&s.y[i + lanes]));
            }
    }
    *entry = loaded;
}

std::uint64_t copied[3];
void take_copy(void* to, const void* from, std::size_t bytes)
{
    copied[0] = reinterpret_cast<std::uint64_t>(to);
    copied[1] = reinterpret_cast<std::uint64_t>(from);
    copied[2] = bytes;
}

/// One tap or none: one call through the entry of memcpy_fast, and no access.
template <class Fn, class T>
void copies_through_the_entry(const std::string& name, Level level)
{
    rig::Library& library = library_at(level);
    auto** const entry = library.entry<memcpy_fast_fn>("memcpy_fast");
    memcpy_fast_fn* const loaded = *entry;
    *entry = take_copy;
    for (const std::int32_t length : {0, 1}) {
        Smoothing<T> s = smoothing<T>(20, length);
        const rig::Trace trace = smooth<Fn>(name, level, s);
        EXPECT_EQ(copied[0], reinterpret_cast<std::uint64_t>(s.y.data()));
        EXPECT_EQ(copied[1], reinterpret_cast<std::uint64_t>(s.x.data()));
        EXPECT_EQ(copied[2], 20 * sizeof(T));
        EXPECT_TRUE(trace.touched.empty()) << "touches the arrays itself";
        EXPECT_EQ(trace.entered.size(), 2U) << "one call";
    }
    *entry = loaded;
}

/// The baseline reads the taps up to the centre, the others as many on its other side; each output is
/// stored once.
template <class Fn, class T>
void reads_its_taps(const std::string& name, Level level)
{
    for (const std::int32_t length : {2, 5, 9}) {
        Smoothing<T> s = smoothing<T>(50, length);
        const rig::Trace trace = smooth<Fn>(name, level, s);
        const auto taps = reinterpret_cast<std::uint64_t>(s.taps.data());
        const auto y = reinterpret_cast<std::uint64_t>(s.y.data());
        std::uint64_t last = 0;
        std::vector<int> stored(50);
        for (const rig::Touch& t : trace.touched) {
            if (!t.store && t.address >= taps && t.address < taps + s.taps.size() * sizeof(T))
                last = std::max(last, (t.address + t.width - 1 - taps) / sizeof(T));
            if (t.store) {
                EXPECT_EQ(t.width, sizeof(T));
                ++stored.at((t.address - y) / sizeof(T));
            }
        }
        const auto half = static_cast<std::uint64_t>(length) / 2;
        EXPECT_EQ(last, level == base ? half : 2 * half) << "length " << length;
        EXPECT_EQ(stored, std::vector<int>(50, 1));
    }
}

std::vector<std::array<std::uint64_t, 4>> step_calls;
fir_step_c64_fn** step_entry;
fir_step_c64_fn* step_other;
int step_entries_used;

void take_step(const double* re, const double* im, const double* taps, std::uint64_t n, double* a,
               double* b, int which)
{
    step_calls.push_back({reinterpret_cast<std::uint64_t>(re), reinterpret_cast<std::uint64_t>(im),
                          reinterpret_cast<std::uint64_t>(taps), n});
    step_entries_used += which;
    *a = *b = 0;
    std::swap(*step_entry, step_other); // the next call must find the other one
}
void even_step(const double* re, const double* im, const double* taps, std::uint64_t n, double* a,
               double* b)
{
    take_step(re, im, taps, n, a, b, 1);
}
void odd_step(const double* re, const double* im, const double* taps, std::uint64_t n, double* a,
              double* b)
{
    take_step(re, im, taps, n, a, b, 100);
}

/// Two steps a sample, the history written before them and the position at the end.
template <class Part>
void two_steps_a_sample(const char* name)
{
    rig::Library& library = library_at(base);
    step_entry = library.entry<fir_step_c64_fn>("fir_step_c64");
    fir_step_c64_fn* const loaded = *step_entry;
    *step_entry = even_step;
    step_other = odd_step;
    step_calls.clear();
    step_entries_used = 0;

    constexpr std::uint64_t samples = 4, last = 4;
    std::vector<double> taps(5, 0.5), re(5), im(5), out(2 * samples);
    std::vector<Part> in(2 * samples, Part(3));
    std::int64_t pos = 1;
    const rig::Trace trace = rig::traced(library, [&] {
        if constexpr (std::is_same_v<Part, std::int16_t>)
            rig::stepped(library.function<decltype(fir_c16_alt)>(name))(
                in.data(), samples, taps.data(), last, &pos, re.data(), im.data(), out.data(), 1,
                0);
        else if constexpr (std::is_same_v<Part, float>)
            rig::stepped(library.function<decltype(fir_c32_alt)>(name))(
                in.data(), samples, taps.data(), last, &pos, re.data(), im.data(), out.data());
        else
            rig::stepped(library.function<decltype(fir_c64_alt)>(name))(
                in.data(), samples, taps.data(), last, &pos, re.data(), im.data(), out.data());
    });
    *step_entry = loaded;
    ASSERT_EQ(trace.signal, 0);
    ASSERT_EQ(step_calls.size(), 2 * samples);
    EXPECT_EQ(step_entries_used, 404) << "each call reads the entry anew";
    const auto at = [](const double* p) { return reinterpret_cast<std::uint64_t>(p); };
    std::uint64_t p = 1;
    for (std::size_t k = 0; k < samples; ++k) {
        EXPECT_EQ(step_calls[2 * k],
                  (std::array<std::uint64_t, 4>{at(&re[p]), at(&im[p]), at(taps.data()), 5 - p}));
        EXPECT_EQ(step_calls[2 * k + 1],
                  (std::array<std::uint64_t, 4>{at(re.data()), at(im.data()),
                                                at(taps.data() + 5 - p), p}));
        p = p == 0 ? 4 : p - 1;
    }
    std::string order; // of stores and calls: p position, h history, o output, c a call
    std::size_t next = 1;
    for (const rig::Touch& t : trace.touched) {
        for (; next < trace.entered.size() && trace.entered[next].step <= t.step; ++next)
            if (trace.entered[next].name.empty())
                order += 'c';
        const auto in_array = [&](const std::vector<double>& v) {
            return t.address >= at(v.data()) && t.address < at(v.data() + v.size());
        };
        if (t.store)
            order += in_array(re) || in_array(im) ? 'h' : in_array(out) ? 'o' : 'p';
    }
    EXPECT_EQ(order, "hhccoohhccoohhccoohhccoop");
    EXPECT_EQ(pos, 2);
}

// --- the list ------------------------------------------------------------------------------

const bool added = [] {
    for (const Kernel& k : kernels())
        for (const Level level : rig::table().at(k.name))
            add_case(k.name, level, "enters_only_what_is_stated",
                     [&k, level] { enters_only_what_is_stated(k, level); });
    for (const char* kernel :
         {"min_u8", "max_u8", "min_s16", "max_s16", "min_f32", "max_f32", "min_f64", "max_f64",
          "minmax_s16", "minmax_f32", "minmax_f64", "minmaxmed_f32", "minmaxmed_f64"})
        for (const Level level : above_baseline(kernel))
            add_case(kernel, level, "hands_short_calls_on",
                     [=] { hands_short_calls_on(kernel, level); });

    using Times = std::vector<std::pair<std::size_t, std::size_t>>;
    const auto outside = [](const char* kernel, Level level, const char* function,
                            const Times& times) {
        add_case(kernel, level, "calls_outside",
                 [=] { calls_outside(kernel, level, function, times); });
    };
    outside("spec_log_f32", base, "log10f", {{0, 0}, {1, 1}, {40, 40}});
    outside("spec_log_f32", sse2, "log10f", {{0, 0}, {15, 15}, {16, 0}, {32, 0}});
    outside("spec_log_f32", avx2, "log10f", {{0, 0}, {15, 15}, {16, 16}, {31, 31}, {32, 0}});
    outside("spec_log_f64", base, "log10", {{0, 0}, {1, 1}, {40, 40}});
    outside("vfilter2_chunk", base, "expf", {{0, 0}, {1, 1}, {40, 40}});
    outside("vfilter2_chunk", sse2, "expf", {{0, 0}, {7, 7}, {8, 0}, {11, 3}, {16, 0}, {23, 3}});
    outside("vfilter2_chunk", avx2, "expf",
            {{0, 0}, {7, 7}, {8, 0}, {11, 3}, {15, 3}, {16, 0}, {20, 4}, {39, 7}});

    for (const Level level : above_baseline("vfilter2_chunk"))
        add_case("vfilter2_chunk", level, "shares_the_exponential",
                 [level] { shares_the_exponential(level); });
    for (const Level level : rig::table().at("memcpy_fast"))
        add_case("memcpy_fast", level, "memcpy_gets_the_whole_call",
                 [level] { memcpy_gets_the_whole_call(level); });
    for (const Level level : above_baseline("memcpy_fast"))
        add_case("memcpy_fast", level, "streams_loads_then_stores",
                 [level] { streams_loads_then_stores(level); });

    for (const Packer& p : packers)
        add_case(p.name, p.level, "packs_in_order", [&p] { packs_in_order(p); });

    for (const char* kernel :
         {"minmax_s16", "minmax_f32", "minmax_f64", "minmaxmed_f32", "minmaxmed_f64"}) {
        add_case(kernel, base, "store_order", [=] { base_stores(kernel); });
        for (const Level level : above_baseline(kernel))
            add_case(kernel, level, "store_order", [=] { vector_stores(kernel, level); });
    }
    for (const Level level : rig::table().at("spec_log_f32"))
        add_case("spec_log_f32", level, "in_place",
                 [=] { loads_before_it_stores("spec_log_f32", level); });
    add_case("spec_log_f64", base, "in_place",
             [] { loads_before_it_stores("spec_log_f64", base); });
    for (const Level level : {base, sse2, ssse3})
        add_case("swap_words_u32", level, "in_place",
                 [=] { loads_before_it_stores("swap_words_u32", level); });

    add_case("vfilter_f32", sse, "steps_in_pairs",
             [] { steps_in_pairs<vfilter_f32_fn, float>("vfilter_f32", "fir_step_c32", sse); });
    add_case("vfilter_f32", avx, "steps_in_pairs",
             [] { steps_in_pairs<vfilter_f32_fn, float>("vfilter_f32", "fir_step_c32", avx); });
    add_case("vfilter_f64", sse2, "steps_in_pairs",
             [] { steps_in_pairs<vfilter_f64_fn, double>("vfilter_f64", "fir_step_c64", sse2); });
    add_case("vfilter_f64", avx, "steps_in_pairs",
             [] { steps_in_pairs<vfilter_f64_fn, double>("vfilter_f64", "fir_step_c64", avx); });
    for (const Level level : rig::table().at("vfilter_f32")) {
        add_case("vfilter_f32", level, "copies_through_the_entry",
                 [=] { copies_through_the_entry<vfilter_f32_fn, float>("vfilter_f32", level); });
        add_case("vfilter_f32", level, "taps_and_stores",
                 [=] { reads_its_taps<vfilter_f32_fn, float>("vfilter_f32", level); });
    }
    for (const Level level : rig::table().at("vfilter_f64")) {
        add_case("vfilter_f64", level, "copies_through_the_entry",
                 [=] { copies_through_the_entry<vfilter_f64_fn, double>("vfilter_f64", level); });
        add_case("vfilter_f64", level, "taps_and_stores",
                 [=] { reads_its_taps<vfilter_f64_fn, double>("vfilter_f64", level); });
    }
    return true;
}();

} // namespace

TEST(fir_c16_alt, two_steps_a_sample) { two_steps_a_sample<std::int16_t>("fir_c16_alt"); }
TEST(fir_c32_alt, two_steps_a_sample) { two_steps_a_sample<float>("fir_c32_alt"); }
TEST(fir_c64_alt, two_steps_a_sample) { two_steps_a_sample<double>("fir_c64_alt"); }

} // namespace structure
