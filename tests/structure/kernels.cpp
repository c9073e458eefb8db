#include "structure/kernels.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <memory>
#include <sstream>

namespace structure {
namespace {

constexpr Reach whole = Reach::aligned, any = Reach::unaligned;

Reach by(bool aligned) { return aligned ? whole : any; }

/// Elements that a plan walks through one by one.
template <class One>
void singles(std::size_t& i, std::size_t end, One one)
{
    for (; i < end; ++i)
        one(i);
}

template <class Until, class One>
void head(std::size_t& i, std::size_t end, Until until, One one)
{
    for (; i < end && !until(i); ++i)
        one(i);
}

// --- memory --------------------------------------------------------------------------------

void fill(const Setting& s, Plan& p)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.store(0, 4 * i, 4);
    };
    std::size_t i = 0;
    if (s.level != Level::base) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(0, 4 * k); }, one);
        for (; s.n - i >= s.block() / 4; i += s.block() / 4) {
            p.step();
            p.store(0, 4 * i, s.block(), whole);
        }
    }
    singles(i, s.n, one);
}

void copy(const Setting& s, Plan& p)
{
    const unsigned block = s.block();
    if (s.level == Level::base || s.offset(0, 0, block) != s.offset(1, 0, block))
        return; // the system's memcpy does it
    std::size_t i = std::min<std::size_t>((block - s.offset(1, 0, block)) % block, s.n);
    p.small_copies(1, 0, 0, i);
    for (; s.n - i >= 64; i += 64, p.step())
        for (unsigned k = 0; k < 64; k += block) {
            p.load(1, i + k, block, Reach::streaming);
            p.store(0, i + k, block, Reach::streaming);
        }
    p.small_copies(1, 0, i, s.n);
}

void swap_words(const Setting& s, Plan& p)
{
    std::size_t i = 0;
    const auto to = [&](std::size_t from, std::size_t at) {
        p.step();
        p.load(0, 4 * from, 4);
        p.store(1, 4 * at, 4);
    };
    const auto one = [&](std::size_t k) { to(k, k); };
    if (s.level != Level::base && s.n > 15) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(0, 4 * k); }, one);
        for (; s.n - i >= s.block() / 4; i += s.block() / 4, p.step()) {
            p.load(0, 4 * i, s.block(), whole);
            p.store(1, 4 * i, s.block(), whole);
        }
        const std::size_t first = i;
        if (s.level == Level::avx2)
            for (; i < s.n; ++i)
                to(i, first + 2 * (i - first));
    }
    singles(i, s.n, one);
}

// --- convert -------------------------------------------------------------------------------

/// How a level treats the array that is not brought to a boundary first.
struct Second {
    unsigned step;    // elements a block
    unsigned modulus; // addresses that are no multiple: unaligned accesses
    unsigned align;   // others: singles up to this boundary first; 0: none
    unsigned width;   // of an access
};

void pack(const Setting& s, Plan& p, unsigned in, unsigned out, bool is_signed, const Second& dst)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, in * i, in);
        p.store(1, out * i, out);
    };
    p.free(2, false);
    p.free(3, false);
    p.store(2, 0, in);
    if (is_signed)
        p.store(3, 0, in);
    std::size_t i = 0;
    if (s.level != Level::base) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(0, in * k); }, one);
        const bool aligned = s.offset(1, out * i, dst.modulus) == 0;
        if (aligned && dst.align != 0)
            head(
                i, s.n, [&](std::size_t k) { return s.offset(1, out * k, dst.align) == 0; }, one);
        for (; s.n - i >= dst.step; i += dst.step, p.step()) {
            for (unsigned k = 0; k < dst.step * in; k += s.block())
                p.load(0, in * i + k, s.block(), whole);
            for (unsigned k = 0; k < dst.step * out; k += dst.width)
                p.store(1, out * i + k, dst.width, by(aligned));
        }
    }
    singles(i, s.n, one);
}

void unpack(const Setting& s, Plan& p, unsigned in, unsigned out, const Second& src)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, in * i, in);
        p.store(1, out * i, out);
    };
    std::size_t i = 0;
    if (s.level != Level::base) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(1, out * k); }, one);
        const bool aligned = src.modulus != 0 && s.offset(0, in * i, src.modulus) == 0;
        if (aligned && src.align != 0)
            head(
                i, s.n, [&](std::size_t k) { return s.offset(0, in * k, src.align) == 0; }, one);
        for (; s.n - i >= src.step; i += src.step, p.step()) {
            p.load(0, in * i, src.width, by(aligned));
            for (unsigned k = 0; k < src.step * out; k += s.block())
                p.store(1, out * i + k, s.block(), whole);
        }
    }
    singles(i, s.n, one);
}

void unpack_alt(const Setting& s, Plan& p)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, 4 * i, 2);
        p.load(0, 4 * i + 2, 2);
        p.store(1, 8 * i, 8);
        p.store(2, 8 * i, 8);
    };
    std::size_t i = 0;
    if (s.level != Level::base) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(1, 8 * k) && s.aligned(2, 8 * k); }, one);
        const bool aligned = s.offset(0, 4 * i, s.block() / 4) == 0;
        if (aligned)
            head(
                i, s.n, [&](std::size_t k) { return s.aligned(0, 4 * k); }, one);
        for (; s.n - i >= 4; i += 4, p.step()) {
            p.load(0, 4 * i, 16, by(aligned));
            for (const int dst : {1, 2})
                for (unsigned k = 0; k < 32; k += s.block())
                    p.store(dst, 8 * i + k, s.block(), whole);
        }
    }
    singles(i, s.n, one);
}

void unpack_cmb(const Setting& s, Plan& p)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, 2 * i, 2);
        p.load(1, 2 * i, 2);
        p.store(2, 16 * i, 8);
        p.store(2, 16 * i + 8, 8);
    };
    std::size_t i = 0;
    if (s.level != Level::base) {
        const bool store_aligned = s.aligned(2);
        const bool together = s.offset(0, 0, s.block()) == s.offset(1, 0, s.block());
        if (together)
            head(
                i, s.n, [&](std::size_t k) { return s.aligned(0, 2 * k); }, one);
        for (; s.n - i >= 8; i += 8, p.step()) {
            p.load(0, 2 * i, 16, by(together));
            p.load(1, 2 * i, 16, by(together));
            for (unsigned k = 0; k < 128; k += s.block())
                p.store(2, 16 * i + k, s.block(), by(store_aligned));
        }
    }
    singles(i, s.n, one);
}

// --- stats ---------------------------------------------------------------------------------

enum class Extreme { single, pair, pair_and_mean };

void extremes(const Setting& s, Plan& p, const std::string& name, unsigned size, Extreme shape)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, size * i, size);
    };
    if (shape != Extreme::single) {
        p.free(1);
        p.free(2);
        if (shape == Extreme::pair_and_mean)
            p.free(3);
        if (s.n == 0)
            return;
    }
    std::size_t i = 0;
    one(i++); // of no element, too
    if (s.level == Level::base || s.n <= threshold(name, s.level))
        return singles(i, s.n, one);

    const bool real = name.find("_f") != std::string::npos;
    const bool parity = name.ends_with("f64") && s.level == Level::sse2;
    Plan fresh;
    p = fresh;
    if (shape != Extreme::single)
        for (int out = 1; out <= 3; ++out)
            p.free(out);
    std::size_t first = 0;
    while (!s.aligned(0, size * first))
        ++first;
    if (name == "max_f64" && s.level == Level::avx) {
        i = first; // stepped over
    } else {
        if (real && shape == Extreme::single)
            one(0);
        else
            p.may_load(0, 0, size);
        i = 1;
        singles(i, first, one);
        i = first;
    }
    for (; s.n - i >= s.block() / size; i += s.block() / size, p.step())
        p.load(0, size * i, s.block(), whole);
    if (!parity)
        singles(i, s.n, one);
    else if (s.n % 2 != 0)
        one(s.n - 1);
}

void average(const Setting& s, Plan& p, unsigned size, unsigned step, std::size_t most)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, size * i, size);
    };
    std::size_t i = 0;
    if (s.level != Level::base && s.n > most) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(0, size * k); }, one);
        for (; s.n - i >= step; i += step, p.step())
            for (unsigned k = 0; k < step * size; k += s.block())
                p.load(0, size * i + k, s.block(), whole);
    }
    singles(i, s.n, one);
}

void max_array(const Setting& s, Plan& p, const std::string& name, unsigned size)
{
    const auto access = [&](std::size_t i, unsigned width, Reach reach) {
        p.step();
        p.load(0, size * i, width, reach);
        p.load(1, size * i, width, reach);
        p.store(0, size * i, width, reach);
    };
    const auto one = [&](std::size_t i) { access(i, size, Reach::single); };
    std::size_t i = 0;
    if (s.level != Level::base && s.n > threshold(name, s.level)) {
        const bool together = s.offset(0, 0, s.block()) == s.offset(1, 0, s.block());
        if (together)
            head(
                i, s.n, [&](std::size_t k) { return s.aligned(0, size * k); }, one);
        for (; s.n - i >= s.block() / size; i += s.block() / size)
            access(i, s.block(), by(together));
    }
    singles(i, s.n, one);
}

// --- spectrum ------------------------------------------------------------------------------

void mult(const Setting& s, Plan& p, unsigned size)
{
    const auto access = [&](std::size_t i, unsigned width, Reach reach) {
        p.step();
        p.load(1, size * i, width, reach);
        p.load(2, size * i, width, reach);
        p.store(0, size * i, width, reach);
    };
    const auto one = [&](std::size_t i) { access(i, size, Reach::single); };
    std::size_t i = 0;
    if (s.level != Level::base) {
        const std::size_t offset = s.offset(0, 0, s.block());
        const bool together =
            s.offset(1, 0, s.block()) == offset && s.offset(2, 0, s.block()) == offset;
        if (together)
            head(
                i, s.n, [&](std::size_t k) { return s.aligned(1, size * k); }, one);
        for (; s.n - i >= s.block() / size; i += s.block() / size)
            access(i, s.block(), by(together));
    }
    singles(i, s.n, one);
}

void mult_add(const Setting& s, Plan& p)
{
    const auto access = [&](std::size_t i, unsigned width, Reach reach) {
        p.step();
        p.load(0, 4 * i, width, reach);
        p.store(0, 4 * i, width, reach);
    };
    const auto one = [&](std::size_t i) { access(i, 4, Reach::single); };
    std::size_t i = 0;
    if (s.level != Level::base) {
        head(
            i, s.n, [&](std::size_t k) { return s.aligned(0, 4 * k); }, one);
        for (; s.n - i >= s.block() / 4; i += s.block() / 4)
            access(i, s.block(), whole);
    }
    singles(i, s.n, one);
}

void mix(const Setting& s, Plan& p)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, 8 * i, 8);
        p.load(1, 8 * i, 8);
        p.store(2, 16 * i, 8);
        p.store(2, 16 * i + 8, 8);
    };
    std::size_t i = 0;
    if (s.level != Level::base) {
        bool together = s.aligned(0) && s.aligned(1) && s.aligned(2);
        if (s.level == Level::avx && !together) {
            const std::size_t offset = s.offset(0, 0, 32);
            together = s.offset(1, 0, 32) == offset && s.offset(2, 0, 32) == offset;
            if (together)
                head(
                    i, s.n, [&](std::size_t k) { return s.aligned(0, 8 * k); }, one);
        }
        for (const unsigned step = s.block() / 8; s.n - i >= step; i += step, p.step()) {
            p.load(0, 8 * i, s.block(), by(together));
            p.load(1, 8 * i, s.block(), by(together));
            p.store(2, 16 * i, s.block(), by(together));
            p.store(2, 16 * i + s.block(), s.block(), by(together));
        }
    }
    singles(i, s.n, one);
}

void fft_abs(const Setting& s, Plan& p, unsigned size)
{
    const std::size_t half = s.n / 2;
    const unsigned step = s.level == Level::base ? 1 : s.block() / size;
    const Reach reach = step == 1 ? Reach::single : by(s.aligned(0) && s.aligned(1));
    for (std::size_t i = 0; i < 2 * half; i += step, p.step()) {
        p.load(0, 2 * size * i, step * size, reach);
        p.load(0, 2 * size * i + step * size, step * size, reach);
        p.store(1, size * (i < half ? half + i : i - half), step * size, reach);
    }
}

void spec_log(const Setting& s, Plan& p, unsigned size, std::size_t most)
{
    const bool blocks = s.level != Level::base && s.n > most;
    const unsigned width = blocks ? s.block() : size;
    for (std::size_t i = 0; i < s.n; i += width / size, p.step()) {
        p.load(0, size * i, width, blocks ? whole : Reach::single);
        p.store(1, size * i, width, blocks ? whole : Reach::single);
    }
}

// --- filter --------------------------------------------------------------------------------

void fir_step(const Setting& s, Plan& p, unsigned size)
{
    const auto access = [&](std::size_t i, unsigned width, Reach reach) {
        p.step();
        for (const int array : {0, 1, 2})
            p.load(array, size * i, width, reach);
    };
    const auto one = [&](std::size_t i) { access(i, size, Reach::single); };
    std::size_t i = 0;
    if (s.level != Level::base) {
        const std::size_t offset = s.offset(0, 0, s.block());
        const bool together =
            s.offset(1, 0, s.block()) == offset && s.offset(2, 0, s.block()) == offset;
        if (together)
            head(
                i, s.n, [&](std::size_t k) { return s.aligned(0, size * k); }, one);
        for (; s.n - i >= s.block() / size; i += s.block() / size)
            access(i, s.block(), by(together));
    }
    singles(i, s.n, one);
    p.store(3, 0, size);
    p.store(4, 0, size);
}

void iir1(const Setting& s, Plan& p, const std::string& name, unsigned size)
{
    const auto access = [&](std::size_t i, unsigned width, Reach reach) {
        p.step();
        p.load(0, size * i, width, reach);
        p.load(1, size * i, width, reach);
        p.store(1, size * i, width, reach);
    };
    const auto one = [&](std::size_t i) { access(i, size, Reach::single); };
    std::size_t i = 0;
    if (s.level != Level::base && s.n > threshold(name, s.level)) {
        const bool together = s.offset(0, 0, s.block()) == s.offset(1, 0, s.block());
        if (together)
            head(
                i, s.n, [&](std::size_t k) { return s.aligned(1, size * k); }, one);
        for (; s.n - i >= s.block() / size; i += s.block() / size)
            access(i, s.block(), by(together));
    }
    singles(i, s.n, one);
}

void vfilter2(const Setting& s, Plan& p)
{
    const auto one = [&](std::size_t i) {
        p.step();
        p.load(0, 4 * i, 4);
        p.load(1, 4 * i, 4);
    };
    std::size_t i = 0;
    if (s.level != Level::base && s.n > 7)
        for (const unsigned lanes = s.level == Level::avx2 && s.n > 15 ? 8 : 4; s.n - i >= lanes;
             i += lanes, p.step())
            for (const int array : {0, 1})
                p.load(array, 4 * i, 4 * lanes, any);
    singles(i, s.n, one);
}

// --- the table -----------------------------------------------------------------------------

template <class T>
T* as(char* p)
{
    return reinterpret_cast<T*>(p);
}

using Calls = std::function<void(rig::Library&, char* const*, std::size_t)>;
using Plans = std::function<void(const Setting&, Plan&)>;

std::vector<Kernel> build()
{
    std::vector<Kernel> list;
    const std::vector<std::size_t> around = {0, 1, 2, 4, 7, 8, 15, 16, 17, 31, 32, 37, 63, 64, 75};
    const auto add = [&](const char* name, std::vector<const char*> arrays, const char* types,
                         Calls call, Plans plan, std::vector<std::vector<std::size_t>> offsets,
                         std::vector<std::size_t> counts = {}) {
        list.push_back({name,
                        std::move(arrays),
                        {types, types + std::strlen(types)},
                        std::move(call),
                        std::move(plan),
                        counts.empty() ? around : counts,
                        std::move(offsets),
                        false});
    };
#define CALL(kernel, ...)                                                                          \
    [](rig::Library& library, [[maybe_unused]] char* const* a, [[maybe_unused]] std::size_t n) {   \
        rig::stepped(KERNEL(library, kernel))(__VA_ARGS__);                                        \
    }

    add("fill_f32", {"dst"}, "f", CALL(fill_f32, as<float>(a[0]), n, 1.5F), fill,
        {{0}, {4}, {16}, {28}, {2}});
    add("memcpy_fast", {"dst", "src"}, "bb", CALL(memcpy_fast, a[0], a[1], n), copy,
        {{0, 0}, {5, 5}, {16, 16}, {0, 16}, {31, 31}, {0, 1}},
        {0, 1, 11, 15, 31, 63, 64, 65, 80, 128, 159, 300});
    add("swap_words_u32", {"src", "dst"}, "ww",
        CALL(swap_words_u32, as<std::uint32_t>(a[0]), n, as<std::uint32_t>(a[1])), swap_words,
        {{0, 0}, {4, 4}, {28, 28}, {16, 16}, {0, 4}});

    // sse2, ssse3, sse41, avx, avx2
    using Levels = std::map<Level, Second>;
    const auto rows = [](Levels levels) {
        return [levels](Level level) {
            const auto it = levels.find(level);
            return it == levels.end() ? Second{} : it->second;
        };
    };
    using enum Level;
    const auto pack_as = [&](unsigned in, unsigned out, bool is_signed, const Levels& levels) {
        return [=, of = rows(levels)](const Setting& s, Plan& p) {
            pack(s, p, in, out, is_signed, of(s.level));
        };
    };
    const std::vector<std::vector<std::size_t>> pack_offsets = {
        {0, 0, 0, 0}, {0, 1, 0, 0},  {8, 2, 0, 0},  {8, 8, 0, 0},
        {0, 4, 0, 0}, {16, 8, 0, 0}, {24, 6, 0, 0}, {0, 16, 0, 0}};
    const std::vector<std::size_t> pack_counts = {0, 1, 7, 8, 9, 16, 17, 33, 47, 64, 75};
#define PACK(kernel, T, U) CALL(kernel, as<T>(a[0]), n, as<U>(a[1]), as<T>(a[2]), as<T>(a[3]))
    const auto add_pack = [&](const char* name, const char* types, const Calls& call,
                              const Plans& plan) {
        add(name, {"src", "dst", "step", "offset"}, types, call, plan, pack_offsets, pack_counts);
    };
    add_pack("pack_f32_u8", "fbff", PACK(pack_f32_u8, float, std::uint8_t),
             pack_as(4, 1, false,
                     {{sse2, {16, 2, 16, 16}}, {avx, {16, 32, 0, 16}}, {avx2, {32, 32, 0, 32}}}));
    add_pack("pack_f32_s16", "fhff", PACK(pack_f32_s16, float, std::int16_t),
             pack_as(4, 2, true,
                     {{sse2, {8, 16, 0, 16}}, {avx, {8, 32, 0, 16}}, {avx2, {16, 32, 0, 32}}}));
    add_pack("pack_f64_u8", "dbdd", PACK(pack_f64_u8, double, std::uint8_t),
             pack_as(8, 1, false, {{sse2, {16, 2, 16, 16}}, {avx, {16, 4, 32, 16}}}));
    add_pack("pack_f64_s16", "dhdd", PACK(pack_f64_s16, double, std::int16_t),
             pack_as(8, 2, true, {{sse2, {8, 16, 0, 16}}, {avx, {8, 8, 32, 16}}}));
    add_pack("pack_f64_u16", "dHdd", PACK(pack_f64_u16, double, std::uint16_t),
             pack_as(8, 2, false,
                     {{sse2, {8, 4, 16, 16}},
                      {ssse3, {8, 2, 16, 16}},
                      {sse41, {8, 2, 16, 16}},
                      {avx, {8, 8, 32, 16}}}));

    const auto unpack_as = [&](unsigned in, unsigned out, const Levels& levels) {
        return [=, of = rows(levels)](const Setting& s, Plan& p) {
            unpack(s, p, in, out, of(s.level));
        };
    };
    const std::vector<std::vector<std::size_t>> unpack_offsets = {
        {0, 0}, {1, 0}, {2, 8}, {8, 8}, {4, 0}, {16, 8}, {6, 24}, {16, 0}};
#define UNPACK(kernel, U, T) CALL(kernel, as<U>(a[0]), n, as<T>(a[1]), T(0.5), T(3))
    const auto add_unpack = [&](const char* name, const char* types, const Calls& call,
                                const Plans& plan) {
        add(name, {"src", "dst"}, types, call, plan, unpack_offsets, pack_counts);
    };
    add_unpack(
        "unpack_u8_f32", "bf", UNPACK(unpack_u8_f32, std::uint8_t, float),
        unpack_as(1, 4, {{sse2, {16, 2, 16, 16}}, {avx, {16, 32, 0, 16}}, {avx2, {32, 0, 0, 32}}}));
    add_unpack(
        "unpack_s16_f32", "hf", UNPACK(unpack_s16_f32, std::int16_t, float),
        unpack_as(2, 4, {{sse2, {8, 16, 0, 16}}, {avx, {8, 32, 0, 16}}, {avx2, {16, 0, 0, 32}}}));
    add_unpack("unpack_u8_f64", "bd", UNPACK(unpack_u8_f64, std::uint8_t, double),
               unpack_as(1, 8, {{sse2, {16, 2, 16, 16}}, {avx, {16, 32, 0, 16}}}));
    add_unpack("unpack_s16_f64", "hd", UNPACK(unpack_s16_f64, std::int16_t, double),
               unpack_as(2, 8, {{sse2, {8, 16, 0, 16}}, {avx, {8, 8, 32, 16}}}));
    add_unpack("unpack_u16_f64", "Hd", UNPACK(unpack_u16_f64, std::uint16_t, double),
               unpack_as(2, 8, {{sse2, {8, 4, 16, 16}}, {avx, {8, 8, 32, 16}}}));

    add("unpack_alt_s16_f64", {"src", "dst0", "dst1"}, "hdd",
        CALL(unpack_alt_s16_f64, as<std::int16_t>(a[0]), n, as<double>(a[1]), as<double>(a[2]), 0.5,
             3),
        unpack_alt,
        {{0, 0, 0}, {8, 0, 0}, {2, 16, 16}, {4, 8, 8}, {0, 0, 8}, {16, 0, 0}, {4, 0, 0}},
        pack_counts);
    add("unpack_cmb_s16_f64", {"src0", "src1", "dst"}, "hhd",
        CALL(unpack_cmb_s16_f64, as<std::int16_t>(a[0]), as<std::int16_t>(a[1]), n,
             as<double>(a[2]), 0.5, 3),
        unpack_cmb, {{0, 0, 0}, {4, 4, 0}, {0, 2, 0}, {0, 0, 8}, {0, 2, 8}, {6, 6, 16}, {2, 2, 0}},
        pack_counts);

    const auto extremes_as = [&](const char* name, unsigned size, Extreme shape) {
        return [=](const Setting& s, Plan& p) { extremes(s, p, name, size, shape); };
    };
#define ONE_EXTREME(kernel, T, type)                                                               \
    add(#kernel, {"p"}, type, CALL(kernel, as<T>(a[0]), n),                                        \
        extremes_as(#kernel, sizeof(T), Extreme::single), {{0}, {sizeof(T)}, {32 - sizeof(T)}})
    ONE_EXTREME(min_u8, std::uint8_t, "b");
    ONE_EXTREME(max_u8, std::uint8_t, "b");
    ONE_EXTREME(min_s16, std::int16_t, "h");
    ONE_EXTREME(max_s16, std::int16_t, "h");
    ONE_EXTREME(min_f32, float, "f");
    ONE_EXTREME(max_f32, float, "f");
    ONE_EXTREME(min_f64, double, "d");
    ONE_EXTREME(max_f64, double, "d");
#define TWO_EXTREMES(kernel, T, types)                                                             \
    add(#kernel, {"p", "min", "max"}, types,                                                       \
        CALL(kernel, as<T>(a[0]), n, as<T>(a[1]), as<T>(a[2])),                                    \
        extremes_as(#kernel, sizeof(T), Extreme::pair), {{0, 0, 0}, {sizeof(T), 0, 0}})
    TWO_EXTREMES(minmax_s16, std::int16_t, "hhh");
    TWO_EXTREMES(minmax_f32, float, "fff");
    TWO_EXTREMES(minmax_f64, double, "ddd");
#define THREE_VALUES(kernel, T, types)                                                             \
    add(#kernel, {"p", "min", "max", "mean"}, types,                                               \
        CALL(kernel, as<T>(a[0]), n, as<T>(a[1]), as<T>(a[2]), as<T>(a[3])),                       \
        extremes_as(#kernel, sizeof(T), Extreme::pair_and_mean),                                   \
        {{0, 0, 0, 0}, {sizeof(T), 0, 0, 0}})
    THREE_VALUES(minmaxmed_f32, float, "ffff");
    THREE_VALUES(minmaxmed_f64, double, "dddd");

    add("avg_f32", {"x"}, "f", CALL(avg_f32, as<float>(a[0]), n),
        [](const Setting& s, Plan& p) { average(s, p, 4, s.level == sse ? 4 : 8, 0); },
        {{0}, {4}, {28}, {2}});
    add("avg_f64", {"x"}, "d", CALL(avg_f64, as<double>(a[0]), n),
        [](const Setting& s, Plan& p) { average(s, p, 8, s.level == sse2 ? 4 : 8, 0); },
        {{0}, {8}, {24}, {4}});
    add("avg_lvl_f32", {"x"}, "f", CALL(avg_lvl_f32, as<float>(a[0]), n, 40.0F),
        [](const Setting& s, Plan& p) { average(s, p, 4, s.level == sse2 ? 4 : 8, 0); },
        {{0}, {4}, {28}, {2}});
    add("avg_lvl_f64", {"x"}, "d", CALL(avg_lvl_f64, as<double>(a[0]), n, 40.0),
        [](const Setting& s, Plan& p) {
            average(s, p, 8, s.level == sse2 ? 2 : s.level == avx ? 8 : 4, 0);
        },
        {{0}, {8}, {24}, {4}});
    add("avg_abs_s16", {"x"}, "h", CALL(avg_abs_s16, as<std::int16_t>(a[0]), n),
        [](const Setting& s, Plan& p) {
            average(s, p, 2, s.block() / 2, threshold("avg_abs_s16", s.level));
        },
        {{0}, {2}, {30}});

#define MAX_ARRAY(kernel, T, types)                                                                \
    add(#kernel, {"dst", "src"}, types, CALL(kernel, as<T>(a[0]), as<T>(a[1]), n),                 \
        [](const Setting& s, Plan& p) { max_array(s, p, #kernel, sizeof(T)); },                    \
        {{0, 0}, {8, 8}, {0, 8}, {24, 24}, {16, 0}})
    MAX_ARRAY(max_array_f32, float, "Ff");
    MAX_ARRAY(max_array_f64, double, "Dd");

#define MULT(kernel, T, types)                                                                     \
    add(#kernel, {"dst", "a", "b"}, types, CALL(kernel, as<T>(a[0]), as<T>(a[1]), as<T>(a[2]), n), \
        [](const Setting& s, Plan& p) { mult(s, p, sizeof(T)); },                                  \
        {{0, 0, 0}, {8, 8, 8}, {0, 0, 8}, {8, 0, 0}, {24, 24, 24}, {16, 0, 0}, {2, 2, 2}})
    MULT(mult_f32, float, "fff");
    MULT(mult_f64, double, "ddd");
    add("mult_add_f32", {"x"}, "f", CALL(mult_add_f32, as<float>(a[0]), n, 2.0F, 1.0F), mult_add,
        {{0}, {4}, {28}, {2}});
    add("mix_f64", {"re", "im", "out"}, "ddd",
        CALL(mix_f64, as<double>(a[0]), as<double>(a[1]), n, as<double>(a[2])), mix,
        {{0, 0, 0}, {8, 8, 8}, {16, 16, 16}, {0, 0, 8}, {0, 8, 0}, {0, 16, 0}, {4, 4, 4}});

    const std::vector<std::vector<std::size_t>> fft_offsets = {
        {0, 0}, {8, 0}, {0, 8}, {16, 0}, {16, 16}};
    add("fft_abs_f32", {"in", "out"}, "ff", CALL(fft_abs_f32, as<float>(a[0]), n, as<float>(a[1])),
        [](const Setting& s, Plan& p) { fft_abs(s, p, 4); }, fft_offsets, {0, 16, 32, 64});
    add("fft_abs_f64", {"in", "out"}, "dd",
        CALL(fft_abs_f64, as<double>(a[0]), n, as<double>(a[1])),
        [](const Setting& s, Plan& p) { fft_abs(s, p, 8); }, fft_offsets, {0, 8, 16, 64});

    add("spec_log_f32", {"in", "out"}, "ff",
        CALL(spec_log_f32, as<float>(a[0]), n, as<float>(a[1]), 0.5F),
        [](const Setting& s, Plan& p) { spec_log(s, p, 4, s.level == avx2 ? 31 : 15); },
        {{0, 0}, {32, 32}}, {0, 1, 8, 15, 16, 32, 48, 64, 80, 128});
    add("spec_log_f64", {"in", "out"}, "dd",
        CALL(spec_log_f64, as<double>(a[0]), n, as<double>(a[1]), 0.5),
        [](const Setting& s, Plan& p) { spec_log(s, p, 8, 0); }, {{0, 0}}, {0, 1, 7});

#define FIR(kernel, T, types)                                                                      \
    add(#kernel, {"re", "im", "taps", "out_re", "out_im"}, types,                                  \
        CALL(kernel, as<T>(a[0]), as<T>(a[1]), as<T>(a[2]), n, as<T>(a[3]), as<T>(a[4])),          \
        [](const Setting& s, Plan& p) { fir_step(s, p, sizeof(T)); },                              \
        {{0, 0, 0, 0, 0}, {8, 8, 8, 0, 0}, {0, 0, 8, 0, 0}, {24, 24, 24, 0, 0}, {16, 0, 0, 0, 0}})
    FIR(fir_step_c32, float, "fffff");
    FIR(fir_step_c64, double, "ddddd");
    add("iir1_f32", {"x", "y"}, "ff", CALL(iir1_f32, as<float>(a[0]), n, as<float>(a[1]), 0.25F),
        [](const Setting& s, Plan& p) { iir1(s, p, "iir1_f32", 4); },
        {{0, 0}, {4, 4}, {28, 28}, {0, 4}, {16, 0}});
    add("iir1_f64", {"x", "y"}, "dd", CALL(iir1_f64, as<double>(a[0]), n, as<double>(a[1]), 0.25),
        [](const Setting& s, Plan& p) { iir1(s, p, "iir1_f64", 8); },
        {{0, 0}, {8, 8}, {24, 24}, {0, 8}, {16, 0}});
    add("vfilter2_chunk", {"x", "w"}, "ff",
        CALL(vfilter2_chunk, as<float>(a[0]), as<float>(a[1]), n, 40.0F), vfilter2,
        {{0, 0}, {4, 0}, {0, 4}, {12, 28}});
    return list;
}

// --- arrays --------------------------------------------------------------------------------

template <class T>
void fill_with(char* at, std::size_t bytes, T from, int direction, std::size_t stride)
{
    for (std::size_t i = 0; i < bytes / sizeof(T); ++i) {
        const int value = static_cast<int>(i * stride % 97) * direction;
        const T element = static_cast<T>(from + static_cast<T>(value));
        std::memcpy(at + i * sizeof(T), &element, sizeof element);
    }
}

void fill_array(char type, char* at, std::size_t bytes, std::size_t stride)
{
    switch (type) {
    case 'f':
        return fill_with<float>(at, bytes, 1, 1, stride);
    case 'F': // below the others
        return fill_with<float>(at, bytes, -1, -1, stride);
    case 'd':
        return fill_with<double>(at, bytes, 1, 1, stride);
    case 'D':
        return fill_with<double>(at, bytes, -1, -1, stride);
    case 'b':
        return fill_with<std::uint8_t>(at, bytes, 200, -1, stride);
    case 'h':
        return fill_with<std::int16_t>(at, bytes, 300, -7, stride);
    case 'H':
        return fill_with<std::uint16_t>(at, bytes, 60000, -7, stride);
    default:
        return fill_with<std::uint32_t>(at, bytes, 7, 65537, stride);
    }
}

constexpr std::size_t room_bytes = 8192, room_before = 1024;

} // namespace

const std::vector<Kernel>& kernels()
{
    static const std::vector<Kernel> list = build();
    return list;
}

const Kernel& kernel(const std::string& name)
{
    for (const Kernel& k : kernels())
        if (k.name == name)
            return k;
    throw std::runtime_error("no kernel " + name);
}

std::size_t threshold(const std::string& kernel, Level level)
{
    struct Row {
        std::size_t narrow, wide;
    };
    static const std::map<std::string, Row> rows = {
        {"min_u8", {31, 63}},         {"max_u8", {31, 63}},        {"min_s16", {15, 31}},
        {"max_s16", {15, 31}},        {"min_f32", {15, 31}},       {"max_f32", {15, 31}},
        {"min_f64", {7, 15}},         {"max_f64", {7, 15}},        {"minmax_s16", {15, 31}},
        {"minmax_f32", {15, 31}},     {"minmax_f64", {15, 31}},    {"minmaxmed_f32", {15, 31}},
        {"minmaxmed_f64", {15, 15}},  {"max_array_f32", {15, 31}}, {"max_array_f64", {15, 15}},
        {"avg_abs_s16", {15, 31}},    {"iir1_f32", {15, 31}},      {"iir1_f64", {15, 15}},
        {"swap_words_u32", {15, 15}}, {"spec_log_f32", {15, 31}},  {"vfilter2_chunk", {7, 7}}};
    const auto it = rows.find(kernel);
    if (it == rows.end() || level == Level::base)
        return 0;
    return level >= Level::avx ? it->second.wide : it->second.narrow;
}

rig::Library& library_at(Level level)
{
    static std::map<Level, std::unique_ptr<rig::Library>> copies;
    auto& copy = copies[level];
    if (!copy)
        copy = std::make_unique<rig::Library>(rig::Processor::at(level));
    return *copy;
}

namespace {

class Case : public testing::Test {
public:
    explicit Case(const std::function<void()>& body) : body_(body) {}
    void TestBody() override { body_(); }

private:
    const std::function<void()>& body_;
};

alignas(64) char rooms[8][room_bytes];

} // namespace

bool add_case(const std::string& kernel, Level level, const std::string& name,
              std::function<void()> body)
{
    auto* kept = new std::function<void()>(std::move(body));
    testing::RegisterTest(kernel.c_str(), (rig::name(level) + ("_" + name)).c_str(), nullptr,
                          nullptr, __FILE__, __LINE__,
                          [kept]() -> testing::Test* { return new Case(*kept); });
    return true;
}

std::vector<Level> above_baseline(const std::string& kernel)
{
    std::vector<Level> levels = rig::table().at(kernel);
    std::erase(levels, Level::base);
    return levels;
}

char* room(std::size_t i, std::size_t offset) { return rooms[i] + room_before + offset; }

int array_of(std::uint64_t address)
{
    const std::uint64_t from = address - reinterpret_cast<std::uint64_t>(rooms);
    return from < sizeof rooms ? static_cast<int>(from / room_bytes) : -1;
}

Called run(const Kernel& kernel, Level level, std::size_t n,
           const std::vector<std::size_t>& offsets,
           const std::function<bool(const rig::Instruction&)>& watch)
{
    Called r{{level, n, {}}, {}, {}};
    for (std::size_t i = 0; i < kernel.arrays.size(); ++i) {
        r.arrays.push_back(room(i, offsets.at(i)));
        r.setting.at[i] = reinterpret_cast<std::uint64_t>(r.arrays[i]);
        fill_array(kernel.types.at(i), r.arrays[i], room_bytes - room_before - 64,
                   kernel.scattered ? 37 : 1);
    }
    rig::Library& library = library_at(level);
    r.trace = rig::traced(
        library, [&] { kernel.call(library, r.arrays.data(), n); }, watch);
    return r;
}

bool Plan::faults(const Setting& setting) const
{
    for (const auto* side : {&loads_, &stores_})
        for (const auto& [array, list] : *side)
            for (const Want& w : list)
                if ((w.reach == Reach::aligned || w.reach == Reach::streaming) &&
                    setting.offset(array, w.at, w.width) != 0)
                    return true;
    return false;
}

std::string Plan::difference(const rig::Trace& trace, const std::string& name,
                             const Setting& setting) const
{
    const Kernel& k = kernel(name);
    std::ostringstream text;
    std::map<std::pair<int, bool>, std::size_t> next; // the first that has not come
    std::map<std::pair<int, bool>, std::vector<char>> seen;
    const auto wanted = [&](int array, bool store) -> const std::vector<Want>& {
        static const std::vector<Want> none;
        const auto& side = store ? stores_ : loads_;
        const auto it = side.find(array);
        return it == side.end() ? none : it->second;
    };
    for (const rig::Touch& t : trace.image)
        if (t.store)
            return "writes to the library itself, in " + t.by->name;
    for (const rig::Touch& t : trace.touched) {
        if (rig::variant_levels().contains(t.by->name) && !t.by->name.starts_with(name + "_"))
            continue; // another kernel's
        const int array = array_of(t.address);
        if (array < 0 || array >= static_cast<int>(k.arrays.size()))
            return "reaches beside all arrays, in " + t.by->name;
        const auto is_free = t.store ? free_stores_ : free_;
        if (const auto it = is_free.find(array); it != is_free.end() && it->second)
            continue;
        const std::vector<Want>& list = wanted(array, t.store);
        std::size_t& at = next[{array, t.store}];
        std::vector<char>& done = seen[{array, t.store}];
        done.resize(list.size());
        const auto offset =
            static_cast<std::size_t>(t.address - setting.at[static_cast<std::size_t>(array)]);
        const auto fits = [&](const Want& w) {
            if (w.width == 0)
                return offset >= w.at && offset + t.width <= w.end &&
                       (t.reach == Reach::single || t.reach == Reach::unaligned ||
                        t.reach == Reach::aligned);
            return w.at == offset && w.width == t.width && w.reach == t.reach;
        };
        // A loop's turn may load several blocks, in any order, before it works on them.
        const auto turn = [&](const Want& w) { return !t.store && w.width >= 16; };
        bool good = false;
        for (std::size_t j = at; j < list.size() && !good; ++j) {
            if (done[j] != 0)
                continue;
            good = fits(list[j]);
            if (good)
                done[j] = list[j].width != 0 ? 1 : 0;
            else if (!list[j].optional && j + 1 < list.size() && list[j + 1].step != list[j].step &&
                     !(turn(list[j]) && turn(list[j + 1]) && j < at + 8))
                break;
        }
        while (at < list.size() && done[at] != 0)
            ++at;
        // A compiler may load an element, or a block, once more.
        if (!good && !t.store && t.reach != Reach::streaming)
            for (std::size_t j = std::min(at + 8, list.size()); j > 0 && j + 9 > at; --j)
                good = good || (done[j - 1] != 0 && fits(list[j - 1]));
        if (good)
            continue;
        text << (t.store ? "store to " : "load from ") << k.arrays[static_cast<std::size_t>(array)]
             << ": " << rig::name(t.reach) << ' ' << t.width << " at "
             << static_cast<std::ptrdiff_t>(offset) << " by "
             << rig::plain_mnemonic(*trace.steps.at(t.step).in);
        if (at < list.size())
            text << ", stated is " << rig::name(list[at].reach) << ' ' << list[at].width << " at "
                 << list[at].at;
        else
            text << ", stated is no more";
        return text.str();
    }
    for (const bool store : {false, true})
        for (const auto& [array, list] : store ? stores_ : loads_)
            for (std::size_t j = next[{array, store}]; j < list.size(); ++j)
                if (!list[j].optional &&
                    (seen[{array, store}].empty() || seen[{array, store}][j] == 0)) {
                    text << "no " << (store ? "store to " : "load from ")
                         << k.arrays[static_cast<std::size_t>(array)] << ", stated is "
                         << rig::name(list[j].reach) << ' ' << list[j].width << " at "
                         << list[j].at;
                    return text.str();
                }
    return "";
}

} // namespace structure
