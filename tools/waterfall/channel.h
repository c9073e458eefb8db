// tools/waterfall/channel.h: one channel of the band: mixed to zero, filtered and decimated.
#ifndef WATERFALL_CHANNEL_H
#define WATERFALL_CHANNEL_H

#include "waterfall/buffer.h"
#include "waterfall/timings.h"

#include <cstdint>
#include <vector>

namespace waterfall {

/// A low pass and what of its output is kept.
struct StagePlan {
    unsigned decimate;
    std::vector<double> taps; // an odd number, symmetric, their sum 1
};

/// Stages for decimation by this product, chosen for the fewest products per input sample: the first
/// ones have few taps, since they only keep the band that is left in the end free of what would fold
/// into it; the last one is sharp. None for 1.
std::vector<StagePlan> plan_stages(unsigned decimate);

/// The share of the new band, around its middle, in which the stages are flat. Beyond are slopes that
/// end at the band's edge: nothing folds back.
double flat_share(unsigned decimate);

/// Complex samples, the parts in two arrays.
struct Planes {
    explicit Planes(std::size_t size) : re(size), im(size) {}
    Buffer<double> re, im;
};

/// One stage; computes only what is kept.
class Stage {
public:
    /// most: samples put in at once.
    Stage(StagePlan plan, std::size_t most);

    /// Where the next input goes, and that it is there. Returns the number of outputs, which stand in
    /// out(). Output k is centred on input k * decimate.
    double* re() { return in_.re.data() + filled_; }
    double* im() { return in_.im.data() + filled_; }
    std::size_t added(std::size_t samples);
    const Planes& out() const { return out_; }
    /// Zeros that bring out the rest.
    [[nodiscard]] std::size_t delay() const { return taps_.size() / 2; }
    [[nodiscard]] std::size_t most() const { return most_; }

private:
    unsigned decimate_;
    std::size_t most_;
    Buffer<double> taps_;
    Planes in_, out_;
    std::size_t filled_, next_ = 0; // next_: where the next output's inputs start
};

/// Keeps the oscillator's phase and the filters' histories from block to block: a stream gives the
/// same output however it is cut.
class Channel {
public:
    /// turns: the channel's place, in turns per sample; most: samples in a block, at least 1.
    Channel(bool complex, double turns, unsigned decimate, std::size_t most);

    /// Writes the block's decimated samples, complex and interleaved; returns their number. Time is
    /// kept: the filters' delay is left out at the start. block: unpacked.
    std::size_t run(const double* block, std::size_t samples, double* out, Timings& timings);
    /// Writes what the filters still hold, as run() does; 0 when that is all.
    std::size_t finish(double* out, Timings& timings);

private:
    void mix(const double* block, std::size_t samples);
    std::size_t decimated(std::size_t samples, double* out, Timings& timings);

    bool complex_;
    double turns_;            // of the oscillator
    std::uint64_t count_ = 0; // samples seen
    Planes mixed_, turned_;   // the oscillator's values over a piece
    std::vector<Stage> stages_;
    std::size_t flushed_ = 0; // stages
    std::size_t zeros_ = 0;   // put into the stage that is being flushed
};

} // namespace waterfall

#endif // WATERFALL_CHANNEL_H
