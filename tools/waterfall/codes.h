// tools/waterfall/codes.h: rows of power to rows of colour codes.
#ifndef WATERFALL_CODES_H
#define WATERFALL_CODES_H

#include "waterfall/rows.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace waterfall {

/// The rows as the picture shows them: one code a column, 0 at low_db and 255 at high_db.
struct Waterfall {
    std::size_t rows = 0, columns = 0;
    std::uint64_t frames_per_row = 1;
    double low_db = 0, high_db = 0;
    std::vector<std::uint8_t> codes; // rows * columns, the earliest row and lowest frequency first
    std::size_t bins_per_column = 1; // at most
};

/// The colour range is what is given, else chosen: from just below the noise to what only few
/// places exceed, in whole steps of 5 dB.
Waterfall make_codes(const Rows& rows, std::optional<double> low_db, std::optional<double> high_db,
                     Timings& timings);

} // namespace waterfall

#endif // WATERFALL_CODES_H
