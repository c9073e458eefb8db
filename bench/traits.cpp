#include "bench/traits.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace bench {
namespace {

constexpr auto f64 = Kind::f64, f32 = Kind::f32, u8 = Kind::u8, s16 = Kind::s16;

Use in(Kind kind, std::size_t index = 0, std::size_t per = 1)
{
    return {kind, index, per, Direction::in};
}
Use out(Kind kind, std::size_t index = 0, std::size_t per = 1)
{
    return {kind, index, per, Direction::out};
}
Use both(Kind kind, std::size_t index = 0) { return {kind, index, 1, Direction::both}; }

const Tolerance same{};
const Tolerance code{.units = 8, .codes = 1}; // singles truncate, blocks round
const Tolerance sum{.units = 4, .root_n = 4};
const Tolerance short_sum{.units = 16};
const Tolerance decibels{.absolute = 4e-5};
const Tolerance fine_decibels{.absolute = 1e-12};
const Tolerance mean_by_exp{.units = 32, .root_n = 4};

const std::vector<Traits>& table()
{
    static const std::vector<Traits> rows = {
        {"fill_f32", {out(f32)}, same},
        {"memcpy_fast", {out(f32), in(f32, 1)}, same},
        {"swap_words_u32", {in(Kind::u32), out(Kind::other_u32)}, same},
        {"pack_f32_u8", {in(f32, 3), out(u8)}, code},
        {"pack_f32_s16", {in(f32, 3), out(s16)}, code},
        {"pack_f64_u8", {in(f64, 3), out(u8)}, code},
        {"pack_f64_s16", {in(f64, 3), out(s16)}, code},
        {"pack_f64_u16", {in(f64, 3), out(s16)}, code},
        {"unpack_u8_f32", {in(u8), out(f32)}, same},
        {"unpack_s16_f32", {in(s16), out(f32)}, same},
        {"unpack_u8_f64", {in(u8), out(f64)}, same},
        {"unpack_s16_f64", {in(s16), out(f64)}, same},
        {"unpack_u16_f64", {in(s16), out(f64)}, same},
        {"unpack_alt_s16_f64", {in(s16, 0, 2), out(f64), out(f64, 1)}, same},
        {"unpack_cmb_s16_f64", {in(s16), in(Kind::other_s16), out(f64, 0, 2)}, same},
        {"min_u8", {in(u8)}, same},
        {"max_u8", {in(u8)}, same},
        {"min_s16", {in(s16)}, same},
        {"max_s16", {in(s16)}, same},
        {"minmax_s16", {in(s16)}, same},
        {"min_f32", {in(f32, 3)}, same},
        {"max_f32", {in(f32, 3)}, same},
        {"minmax_f32", {in(f32, 3)}, same},
        {"min_f64", {in(f64, 3)}, same},
        {"max_f64", {in(f64, 3)}, same},
        {"minmax_f64", {in(f64, 3)}, same},
        {"avg_f32", {in(f32, 3)}, sum},
        {"avg_f64", {in(f64, 3)}, sum},
        {"avg_lvl_f32", {in(f32, 3)}, sum},
        {"avg_lvl_f64", {in(f64, 3)}, sum},
        {"avg_abs_s16", {in(s16)}, same},
        {"minmaxmed_f32", {in(f32, 3)}, sum},
        {"minmaxmed_f64", {in(f64, 3)}, sum},
        {"max_array_f32", {both(f32), in(f32, 1)}, same},
        {"max_array_f64", {both(f64), in(f64, 1)}, same},
        {"mult_f32", {out(f32), in(f32, 1), in(f32, 2)}, same},
        {"mult_f64", {out(f64), in(f64, 1), in(f64, 2)}, same},
        {"mult_add_f32", {both(f32)}, same},
        {"mix_f64", {in(f64), in(f64, 1), out(f64, 2, 2)}, same},
        {"fft_abs_f32", {in(f32, 0, 2), out(f32, 1)}, same, 16},
        {"fft_abs_f64", {in(f64, 0, 2), out(f64, 1)}, same, 8},
        {"spec_log_f32", {in(f32, 3), out(f32, 1)}, decibels, 8},
        {"spec_log_f64", {in(f64, 3), out(f64, 1)}, fine_decibels},
        {"fir_step_c32", {in(f32), in(f32, 1), in(f32, 2)}, sum},
        {"fir_step_c64", {in(f64), in(f64, 1), in(f64, 2)}, sum},
        {"iir1_f32", {in(f32), both(f32, 1)}, same},
        {"iir1_f64", {in(f64), both(f64, 1)}, same},
        {"vfilter_f32", {in(f32), out(f32, 2)}, short_sum, 1, Arrays::taps},
        {"vfilter_f64", {in(f64), out(f64, 2)}, short_sum, 1, Arrays::taps},
        {"vfilter2_chunk", {in(f32, 3), in(f32, 2)}, mean_by_exp},
    };
    return rows;
}

} // namespace

const char* name(Place place)
{
    static const char* const names[] = {"aligned", "together", "crossed"};
    return names[static_cast<int>(place)];
}

std::string Tolerance::text() const
{
    if (codes != 0)
        return "codes differ by " + std::to_string(codes) + " at most";
    if (root_n != 0)
        return "sums in another order";
    if (units == 0 && absolute == 0)
        return "the same values";
    char line[64];
    if (absolute != 0)
        std::snprintf(line, sizeof line, "within %g", absolute);
    else
        std::snprintf(line, sizeof line, "within %g units in the last place", units);
    return line;
}

Tolerance operator|(const Tolerance& a, const Tolerance& b)
{
    return {std::max(a.units, b.units), std::max(a.root_n, b.root_n),
            std::max(a.absolute, b.absolute), std::max(a.codes, b.codes)};
}

std::size_t Traits::bytes() const
{
    std::size_t total = 0;
    for (const Use& use : uses)
        total += use.per * use.element() * (use.direction == Direction::both ? 2 : 1);
    return total;
}

const Traits& traits(const std::string& kernel)
{
    for (const Traits& row : table())
        if (row.kernel == kernel)
            return row;
    throw std::runtime_error("no traits for " + kernel);
}

bool allowed(const std::string& kernel, Level level, Place place)
{
    if (place == Place::aligned)
        return true;
    if (place == Place::crossed && traits(kernel).uses.size() == 1)
        return false; // one array cannot differ from itself
    if (level == Level::base)
        return true;
    if (kernel == "spec_log_f32") // aligned blocks without a test
        return false;
    if (kernel == "swap_words_u32") // aligned loads and stores
        return place == Place::together;
    if (kernel == "mix_f64" && level == Level::avx) // the pairs move out twice as fast as re
        return place == Place::crossed;
    return true;
}

Shift shift(Place place, std::size_t crossing)
{
    switch (place) {
    case Place::together:
        return Shift::together(1);
    case Place::crossed:
        return std::max(crossing, std::size_t{1});
    case Place::aligned:
        break;
    }
    return 0;
}

} // namespace bench
