#include "waterfall/rows.h"

#include "libsimd.h"
#include "waterfall/floor.h"

#include <algorithm>

namespace waterfall {

Rows::Rows(std::size_t bins, std::size_t wanted, std::size_t most_columns)
    : bins_(bins), columns_(std::min(bins, most_columns)), most_rows_(2 * wanted), current_(bins),
      table_(most_rows_ * columns_)
{
}

void Rows::add(const double* power, Timings& timings)
{
    ++in_row_;
    {
        // A running mean without sums that grow: y += (x - y) / k.
        const Timed timed(timings.kernels);
        iir1_f64(power, bins_, current_.data(), 1.0 / static_cast<double>(in_row_));
    }
    if (in_row_ < per_row_)
        return;
    store_row();
    if (rows_ == most_rows_)
        join_pairs();
}

void Rows::finish()
{
    if (in_row_ != 0)
        store_row();
}

void Rows::store_row()
{
    float* const row = table_.data() + rows_ * columns_;
    if (bins_ == columns_)
        std::transform(current_.begin(), current_.end(), row, narrow);
    else
        store_groups(row);
    ++rows_;
    in_row_ = 0;
    std::fill(current_.begin(), current_.end(), 0.0);
}

void Rows::store_groups(float* row) const
{
    const double* first = current_.data();
    for (std::size_t c = 0; c < columns_; ++c) {
        const double* const last = current_.data() + (c + 1) * bins_ / columns_;
        row[c] = narrow(*std::max_element(first, last));
        first = last;
    }
}

void Rows::join_pairs()
{
    for (std::size_t r = 0; r < rows_ / 2; ++r) {
        const float* const a = row(2 * r);
        const float* const b = row(2 * r + 1);
        float* const joined = table_.data() + r * columns_;
        for (std::size_t c = 0; c < columns_; ++c)
            joined[c] = a[c] * 0.5F + b[c] * 0.5F;
    }
    rows_ /= 2;
    per_row_ *= 2;
}

} // namespace waterfall
