// tools/waterfall/channel.h: one channel of the band: mixed to zero, filtered and decimated.
#ifndef WATERFALL_CHANNEL_H
#define WATERFALL_CHANNEL_H

#include "waterfall/buffer.h"
#include "waterfall/format.h"
#include "waterfall/settings.h"
#include "waterfall/timings.h"

#include <cstdint>
#include <vector>

namespace waterfall {

/// A low pass for decimation: windowed sinc, symmetric, unit gain at zero frequency. One tap for
/// decimation by 1.
std::vector<double> channel_taps(unsigned decimate, std::size_t taps);

/// The share of the new band, around its middle, in which that low pass is flat.
double flat_share(unsigned decimate, std::size_t taps);

/// Keeps the oscillator's phase and the filter's history from block to block: a stream gives the
/// same output however it is cut.
class Channel {
public:
    /// most: samples in a block.
    Channel(Format format, double rate, const Settings& settings, std::size_t most);

    /// Writes the block's decimated samples, complex and interleaved; returns their number. Time is
    /// kept: the filter's delay is left out at the start.
    std::size_t run(const void* block, std::size_t samples, double* out, Timings& timings);

private:
    void unpack_mixed(const void* block, std::size_t samples, Timings& timings);
    void filter(const void* block, std::size_t samples, Timings& timings);

    Format format_;
    double turns_; // of the oscillator per sample
    bool mixed_;   // false: the filter takes the recording's own samples
    unsigned decimate_;
    std::vector<double> taps_;
    Buffer<double> history_re_, history_im_;
    std::int64_t position_ = 0;
    std::uint64_t count_ = 0; // samples seen
    std::uint64_t next_ = 0;  // the next one that is kept, at the filter's output
    Buffer<double> mixed_block_, filtered_;
};

} // namespace waterfall

#endif // WATERFALL_CHANNEL_H
