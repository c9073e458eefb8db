#include "waterfall/codes.h"

#include "libsimd.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace waterfall {

namespace {

// spec_log_f32 has aligned blocks and no tail: rows start on 32-byte boundaries, and their stride
// is a multiple of 8.
void row_to_db(const Rows& rows, std::size_t r, Buffer<float>& db, Timings& timings)
{
    const Timed timed(timings.kernels);
    spec_log_f32(rows.row(r), rows.stride(), db.data(), 0.0F);
}

/// Counts of levels, for shares of them: constant memory.
class Histogram {
public:
    void add(float db)
    {
        const double bin = (static_cast<double>(db) - lowest) * per_db;
        ++counts_[static_cast<std::size_t>(std::clamp(bin, 0.0, static_cast<double>(size - 1)))];
        ++total_;
    }

    /// The level that this share of all stay below.
    double level(double share) const
    {
        const double wanted = share * static_cast<double>(total_);
        double below = 0;
        std::size_t bin = 0;
        while (bin + 1 < size && (below += static_cast<double>(counts_[bin])) < wanted)
            ++bin;
        return lowest + static_cast<double>(bin) / per_db;
    }

private:
    static constexpr std::size_t size = 4096;
    static constexpr double lowest = -400.0, per_db = 5.0;
    std::array<std::uint64_t, size> counts_{};
    std::uint64_t total_ = 0;
};

void choose_range(const Rows& rows, Waterfall& out, Timings& timings)
{
    Histogram levels;
    Buffer<float> db(rows.stride());
    for (std::size_t r = 0; r < rows.rows(); ++r) {
        row_to_db(rows, r, db, timings);
        std::for_each_n(db.begin(), rows.columns(), [&](float level) { levels.add(level); });
    }
    constexpr double step = 5.0;
    constexpr double least_span = 30.0;
    out.low_db = std::floor(levels.level(0.25) / step) * step;
    out.high_db = std::ceil(levels.level(0.998) / step) * step;
    out.high_db = std::max(out.high_db, out.low_db + least_span);
}

} // namespace

Waterfall make_codes(const Rows& rows, std::optional<double> low_db, std::optional<double> high_db,
                     Timings& timings)
{
    Waterfall out;
    out.rows = rows.rows();
    out.columns = rows.columns();
    out.frames_per_row = rows.frames_per_row();
    choose_range(rows, out, timings);
    const double span = out.high_db - out.low_db;
    out.low_db = low_db.value_or(high_db ? *high_db - span : out.low_db);
    out.high_db = high_db.value_or(low_db ? *low_db + span : out.high_db);

    // pack_f32_u8 takes the block's own range: two elements beyond the row hold the ends of the
    // display's, and what exceeds them is clamped before. So a code means the same in every row.
    // Aligned buffers also keep the SSE2 form from its fault (codes at 2 modulo 4).
    const std::size_t n = out.columns;
    const float low = static_cast<float>(out.low_db);
    const float high = static_cast<float>(out.high_db);
    Buffer<float> db(rows.stride() + 2);
    Buffer<std::uint8_t> codes(n + 2);
    out.codes.reserve(out.rows * n);
    for (std::size_t r = 0; r < out.rows; ++r) {
        row_to_db(rows, r, db, timings);
        for (float& level : db)
            level = std::clamp(level, low, high);
        db[n] = low;
        db[n + 1] = high;
        float step = 0;
        float min = 0;
        {
            const Timed timed(timings.kernels);
            pack_f32_u8(db.data(), n + 2, codes.data(), &step, &min);
        }
        out.codes.insert(out.codes.end(), codes.data(), codes.data() + n);
    }
    return out;
}

} // namespace waterfall
