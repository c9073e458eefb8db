// tools/waterfall/rows.h: waterfall rows in constant memory, however long the recording is.
#ifndef WATERFALL_ROWS_H
#define WATERFALL_ROWS_H

#include "waterfall/buffer.h"
#include "waterfall/timings.h"

#include <cstddef>
#include <cstdint>

namespace waterfall {

/// Mean power of the frames in each row. Rows start with one frame each; when twice the wanted rows
/// are full, neighbours are joined to the mean of both, and from then on a row takes twice the
/// frames. Mean, not peak: totals are kept, and the floor stays where it was. So a finished
/// table has wanted to 2 * wanted rows, or one for each frame where those are fewer.
class Rows {
public:
    /// Transforms longer than most_columns are stored in groups of bins, each by its strongest: a
    /// line one bin wide stays in the picture. bins and most_columns are multiples of 8.
    Rows(std::size_t bins, std::size_t wanted, std::size_t most_columns = 4096);

    /// Adds the power of one frame, bins doubles on a 64-byte boundary.
    void add(const double* power, Timings& timings);
    /// Stores a last row that is not full, the mean of what it has.
    void finish();

    std::size_t rows() const { return rows_; }
    std::size_t columns() const { return columns_; }
    std::uint64_t frames_per_row() const { return per_row_; }
    /// Starts on a 32-byte boundary.
    const float* row(std::size_t r) const { return table_.data() + r * columns_; }

private:
    void store_row();
    void store_groups(float* row) const;
    void join_pairs();

    std::size_t bins_, columns_, most_rows_;
    std::size_t rows_ = 0;
    std::uint64_t per_row_ = 1, in_row_ = 0;
    Buffer<double> current_; // mean of the frames of the row that is being filled
    Buffer<float> table_;
};

} // namespace waterfall

#endif // WATERFALL_ROWS_H
