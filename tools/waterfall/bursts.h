// tools/waterfall/bursts.h: what comes and goes, found while the recording is read.
#ifndef WATERFALL_BURSTS_H
#define WATERFALL_BURSTS_H

#include "waterfall/buffer.h"
#include "waterfall/frames.h"

#include <cstdint>
#include <vector>

namespace waterfall {

struct Burst {
    double start, duration;    // seconds
    double center, bandwidth;  // Hz, absolute; the band that holds 99 % of its power
    double level_db, above_db; // of its strongest bin: dBFS, and above the floor
};

/// How frames and bins stand in time and frequency.
struct BurstPlaces {
    double first_hz, bin_hz;
    double first_s, frame_s; // middle of the first frame; from frame to frame
    double end_s;            // of the recording
    std::uint64_t frames;
};

/// Joins neighbouring bins and frames that stand out of the noise. A burst reaches 15 dB above the
/// floor and above what is usual in its bin, which noise does once in 5e13 bins; so what is there most
/// of the time is none. Memory is bounded: what comes after the first 100000 is counted only.
class BurstFinder {
public:
    /// margin: bins at both ends in which none is sought.
    BurstFinder(const Cut& cut, std::size_t margin);

    /// Blocks in their order; mean: that of all frames until now.
    void add(const Block& block, const Buffer<double>& mean, Timings& timings);

    /// The `most` strongest, in the order of time. May be asked once.
    std::vector<Burst> finish(const BurstPlaces& places, std::size_t most);
    /// Of all, after finish().
    [[nodiscard]] std::uint64_t count() const { return count_; }

private:
    struct Interval {
        std::size_t first, last; // bins
    };
    struct Track {
        std::uint64_t first, last; // frames in which it was seen
        Interval now, before;      // where it was seen last, and in the frame before
        std::size_t low = 0;       // bin of power[0]
        std::vector<double> power; // by bin, summed over frames
        std::vector<float> levels; // the strongest bin, frame by frame, for a time
        double peak = 0;
        std::size_t peak_bin = 0;
    };

    void add_frame(std::uint64_t frame, const double* power);
    void extend(Track& track, std::uint64_t frame, Interval interval, const double* power) const;
    static void join(Track& into, Track& from);
    void close(Track& track);
    [[nodiscard]] Burst placed(const Track& track, const BurstPlaces& places) const;
    [[nodiscard]] bool is_burst(const Track& track) const;

    std::size_t margin_;
    std::uint64_t blocks_ = 0;
    double floor_ = 0;
    Buffer<float> usual_db_; // by bin: mean of the blocks' decibels, which bursts move little
    std::vector<std::size_t> candidates_;
    std::vector<Track> open_, closed_;
    std::uint64_t count_ = 0;
};

} // namespace waterfall

#endif // WATERFALL_BURSTS_H
