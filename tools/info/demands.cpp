#include "info/demands.h"

#include <map>

namespace info {

std::vector<Level> demands(const std::string& entry, Level level)
{
    using enum Level;
    static const std::map<std::pair<std::string, Level>, std::vector<Level>> table = {
        {{"spec_log_f32", base}, {sse41}},
        {{"spec_log_f32", sse2}, {sse41}},
        {{"memcpy_fast", sse2}, {sse41}},
        {{"unpack_u8_f32", sse2}, {sse41}},
        {{"unpack_u8_f64", sse2}, {sse3, sse41}},
        {{"unpack_u16_f64", sse2}, {sse3, sse41}},
        {{"avg_lvl_f64", sse2}, {sse3, sse41}},
        {{"avg_f64", sse2}, {sse3}},
        {{"iir1_f64", sse2}, {sse3}},
        {{"unpack_s16_f64", sse2}, {sse3}},
        {{"unpack_cmb_s16_f64", sse2}, {sse3}},
        {{"unpack_alt_s16_f64", sse2}, {sse3}},
        {{"pack_f64_u8", sse2}, {sse3}},
        {{"pack_f64_s16", sse2}, {sse3}},
        {{"pack_f64_u16", sse2}, {sse3}},
        {{"avg_abs_s16", ssse3}, {sse41}},
    };
    const auto it = table.find({entry, level});
    return it == table.end() ? std::vector<Level>{} : it->second;
}

std::vector<std::string> callers(const std::string& entry)
{
    if (entry == "memcpy_fast")
        return {"vfilter_f32", "vfilter_f64"}; // with one tap
    return {};
}

} // namespace info
