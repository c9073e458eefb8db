// tools/waterfall/rows.h: waterfall rows in constant memory, however long the recording is.
#ifndef WATERFALL_ROWS_H
#define WATERFALL_ROWS_H

#include "waterfall/buffer.h"
#include "waterfall/timings.h"

#include <cstddef>
#include <cstdint>

namespace waterfall {

/// Bins to columns of the picture. Done frame by frame, before anything is averaged over time: noise
/// then has the same level in every row, however many frames a row takes.
class Columns {
public:
    /// Bins that outnumber `most` share columns evenly, or nearly so where their number has no
    /// fitting divisor. strongest: a column has the strongest of its bins, else their mean.
    Columns(std::size_t bins, bool strongest, std::size_t most = 1200);

    [[nodiscard]] std::size_t count() const { return count_; }
    /// Doubles that reduce() writes: count(), and zeros up to a multiple of 8.
    [[nodiscard]] std::size_t stride() const { return (count_ + 7) / 8 * 8; }
    [[nodiscard]] std::size_t most_bins() const { return (bins_ + count_ - 1) / count_; }

    void reduce(const double* power, double* out) const;

private:
    std::size_t bins_, count_;
    bool strongest_;
};

/// Rows start with one frame each; when twice the wanted rows are full, neighbours are joined, and
/// from then on a row takes twice the frames. A row is the mean of its frames, so that totals are
/// kept, or their maximum, so that a short burst is seen. A finished table has wanted to 2 * wanted
/// rows, or one for each frame where those are fewer.
class Rows {
public:
    Rows(const Columns& columns, std::size_t wanted, bool max_hold);

    /// Adds columns.stride() doubles on a 64-byte boundary that stand for so many frames: 1, or a
    /// power of two that divides frames_per_row().
    void add(const double* power, std::uint64_t frames, Timings& timings);
    /// Stores a last row that is not full, the mean of what it has.
    void finish();

    std::size_t rows() const { return rows_; }
    std::size_t columns() const { return columns_; }
    std::size_t stride() const { return stride_; }
    std::uint64_t frames_per_row() const { return per_row_; }
    /// Starts on a 32-byte boundary.
    const float* row(std::size_t r) const { return table_.data() + r * stride_; }

private:
    void store_row();
    void join_pairs();

    std::size_t columns_, stride_, most_rows_;
    bool max_hold_;
    std::size_t rows_ = 0;
    std::uint64_t per_row_ = 1, in_row_ = 0;
    Buffer<double> current_; // the row that is being filled
    Buffer<float> table_;
};

} // namespace waterfall

#endif // WATERFALL_ROWS_H
