// tools/waterfall/frames.h: a stream of samples cut into frames, and what is kept of their spectra.
#ifndef WATERFALL_FRAMES_H
#define WATERFALL_FRAMES_H

#include "waterfall/buffer.h"
#include "waterfall/rows.h"
#include "waterfall/settings.h"
#include "waterfall/spectrum.h"

#include <cstdint>

namespace waterfall {

/// Everything over time: mean, peak and rows.
class Frames {
public:
    Frames(std::size_t bins, const Settings& settings);

    void add(const Buffer<double>& power, Timings& timings);
    void finish() { rows_.finish(); }

    std::uint64_t count() const { return count_; }
    const Buffer<double>& mean() const { return mean_; }
    const Buffer<double>& peak() const { return peak_; }
    const Columns& columns() const { return columns_; }
    const Rows& rows() const { return rows_; }

private:
    double average_;
    std::uint64_t count_ = 0;
    Buffer<double> mean_, peak_;
    Columns columns_;
    Buffer<double> reduced_, smoothed_; // of one frame, by column
    Rows rows_;
};

/// Cuts a stream into overlapping frames.
class Framer {
public:
    /// parts: real numbers in a sample; most: samples added at once.
    Framer(const Settings& settings, std::size_t parts, std::size_t most);

    /// Where the next samples go.
    double* end() { return pending_.data() + filled_; }
    /// So many parts have been put there: every frame that is complete is transformed.
    void added(std::size_t parts, Spectrum& spectrum, Frames& frames, Timings& timings);

private:
    std::size_t frame_, hop_; // in parts
    std::size_t filled_ = 0;
    Buffer<double> pending_;
};

} // namespace waterfall

#endif // WATERFALL_FRAMES_H
