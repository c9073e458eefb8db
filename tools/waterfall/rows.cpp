#include "waterfall/rows.h"

#include "libsimd.h"
#include "waterfall/floor.h"

#include <algorithm>
#include <numeric>

namespace waterfall {

namespace {

/// Bins that share a column: a divisor of their number, if there is one up to twice the least.
std::size_t columns_for(std::size_t bins, std::size_t most)
{
    const std::size_t least = (bins + most - 1) / most;
    for (std::size_t shared = least; shared <= 2 * least; ++shared)
        if (bins % shared == 0)
            return bins / shared;
    return most;
}

} // namespace

Columns::Columns(std::size_t bins, bool strongest, std::size_t most)
    : bins_(bins), count_(columns_for(bins, most)), strongest_(strongest)
{
}

void Columns::reduce(const double* power, double* out) const
{
    std::fill(std::copy_n(power, count_ == bins_ ? bins_ : 0, out), out + stride(), 0.0);
    if (count_ == bins_)
        return;
    const double* first = power;
    for (std::size_t c = 0; c < count_; ++c) {
        const double* const last = power + (c + 1) * bins_ / count_;
        out[c] = strongest_ ? *std::max_element(first, last)
                            : std::accumulate(first, last, 0.0) / static_cast<double>(last - first);
        first = last;
    }
}

Rows::Rows(const Columns& columns, std::size_t wanted, bool max_hold)
    : columns_(columns.count()), stride_(columns.stride()), most_rows_(2 * wanted),
      max_hold_(max_hold), current_(stride_), table_(most_rows_ * stride_)
{
}

void Rows::add(const double* power, std::uint64_t frames, Timings& timings)
{
    in_row_ += frames;
    {
        const Timed timed(timings.kernels);
        // A running mean without sums that grow: y += (x - y) / k.
        if (max_hold_)
            max_array_f64(current_.data(), power, stride_);
        else
            iir1_f64(power, stride_, current_.data(),
                     static_cast<double>(frames) / static_cast<double>(in_row_));
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
    std::transform(current_.begin(), current_.end(), table_.data() + rows_ * stride_, narrow);
    ++rows_;
    in_row_ = 0;
    std::fill(current_.begin(), current_.end(), 0.0);
}

void Rows::join_pairs()
{
    for (std::size_t r = 0; r < rows_ / 2; ++r) {
        const float* const a = row(2 * r);
        const float* const b = row(2 * r + 1);
        float* const joined = table_.data() + r * stride_;
        for (std::size_t c = 0; c < stride_; ++c)
            joined[c] = max_hold_ ? std::max(a[c], b[c]) : a[c] * 0.5F + b[c] * 0.5F;
    }
    rows_ /= 2;
    per_row_ *= 2;
}

} // namespace waterfall
