// tools/waterfall/frames.h: blocks of samples to spectra, on any thread, and what is kept of them, in
// order.
#ifndef WATERFALL_FRAMES_H
#define WATERFALL_FRAMES_H

#include "waterfall/buffer.h"
#include "waterfall/format.h"
#include "waterfall/levels.h"
#include "waterfall/rows.h"
#include "waterfall/settings.h"
#include "waterfall/spectrum.h"

#include <cstdint>

namespace waterfall {

/// How a stream is cut. It depends on the settings alone, so that the figures do not depend on the
/// threads.
struct Cut {
    Cut(const Settings& settings, Format format, std::size_t bins);

    Format format; // of the samples that are cut
    std::size_t fft, hop, bins;
    std::size_t frames;  // that start in a block; a power of two
    std::size_t samples; // that these frames reach over
    std::size_t most_rows;
    bool singly; // rows are smoothed from frame to frame
};

/// A part of the stream: first its samples, then what its frames hold.
struct Block {
    Block(const Cut& cut, const Columns& columns);

    std::uint64_t first = 0; // frame
    std::size_t samples = 0; // cut.samples, fewer at the end
    std::size_t own = 0;     // of these, from the start on, in no other block
    std::size_t part = 0;    // samples in a last frame that is not whole; 0: all are
    Buffer<unsigned char> raw;

    std::size_t whole = 0; // frames
    std::size_t unit = 1;  // frames in an element of rows
    Buffer<double> power;  // of each frame, that in part at the end
    Buffer<double> mean;   // of the whole ones
    Buffer<float> mean_db; // the same in decibels
    Buffer<double> peak;
    Buffer<double> rows; // by column, each of `unit` frames
    Levels levels;
    Timings timings;

    [[nodiscard]] std::size_t frames() const { return whole + (part != 0 ? 1 : 0); }
};

/// What a thread needs to fill in a block's second half.
class Transformer {
public:
    Transformer(const Cut& cut, const Columns& columns, const Settings& settings, bool with_levels);

    void run(Block& block);
    [[nodiscard]] double noise_bins() const { return spectrum_.noise_bins(); }

private:
    void transform(Block& block);
    void reduce(Block& block);

    const Cut& cut_;
    const Columns& columns_;
    bool with_levels_, max_hold_;
    Spectrum spectrum_;
    Buffer<double> samples_, reduced_;
};

/// Everything over time: mean, peak and rows. The mean is that of whole frames; peak and rows have
/// also the last one in part, unless there is no other.
class Frames {
public:
    Frames(const Cut& cut, const Columns& columns, const Settings& settings);

    /// Blocks in their order.
    void add(const Block& block, Timings& timings);
    void finish() { rows_.finish(); }

    std::uint64_t count() const { return whole_ + (part_ != 0 ? 1 : 0); }
    std::uint64_t whole() const { return whole_; }
    /// Samples of the last frame where that is not whole, else 0.
    std::size_t part() const { return part_; }
    const Buffer<double>& mean() const { return mean_; }
    const Buffer<double>& peak() const { return peak_; }
    const Rows& rows() const { return rows_; }

private:
    double average_;
    std::uint64_t whole_ = 0;
    std::size_t part_ = 0;
    Buffer<double> mean_, peak_, smoothed_;
    Rows rows_;
};

} // namespace waterfall

#endif // WATERFALL_FRAMES_H
