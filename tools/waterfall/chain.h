// tools/waterfall/chain.h: a recording through the kernels, and all that pictures and report need.
#ifndef WATERFALL_CHAIN_H
#define WATERFALL_CHAIN_H

#include "waterfall/bursts.h"
#include "waterfall/codes.h"
#include "waterfall/levels.h"
#include "waterfall/lines.h"
#include "waterfall/settings.h"
#include "waterfall/source.h"
#include "waterfall/timings.h"

#include <csignal>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace waterfall {

struct Analysis {
    Recording recording;
    Settings settings;
    std::uint64_t samples = 0;    // read, at the recording's rate
    std::uint64_t frames = 0;     // with the last one in part
    std::size_t part_samples = 0; // of a last frame that the recording's end leaves in part; or 0
    unsigned threads = 1;
    bool interrupted = false;

    double rate = 1;     // of the transformed samples, after decimation
    double first_hz = 0; // frequency of bin 0
    double bin_hz = 1;   // from bin to bin
    double noise_hz = 1; // noise bandwidth of a bin: wider than bin_hz by the window
    double slope_hz = 0; // at both ends: there a channel's filter takes away, nothing is sought
    std::vector<float> mean_db, peak_db; // per bin, lowest frequency first, dBFS
    std::vector<float> smooth_db;        // the mean, smoothed along the spectrum
    double floor_db = 0;                 // NaN where there is none: silence, or no noise
    Levels levels;
    std::vector<Line> lines;   // strongest first
    std::vector<Burst> bursts; // the strongest, in the order of time
    std::uint64_t bursts_found = 0;
    Waterfall waterfall;
    Timings timings;

    /// Ends of the band shown: half a bin beyond the outermost bins.
    [[nodiscard]] double low_hz() const { return first_hz - bin_hz / 2; }
    [[nodiscard]] double high_hz() const
    {
        return low_hz() + bin_hz * static_cast<double>(mean_db.size());
    }
    /// Length of what was read.
    [[nodiscard]] double seconds() const { return static_cast<double>(samples) / recording.rate; }
    [[nodiscard]] double samples_per_second() const
    {
        const double seconds = timings.wall + timings.output;
        return seconds > 0 ? static_cast<double>(samples) / seconds : 0.0;
    }
};

/// Reads the source to its end, or until stop is set. progress is told the samples read so far.
/// Throws Error for settings that cannot be and for an input without samples.
Analysis analyse(Source& source, const Settings& settings,
                 const std::function<void(std::uint64_t samples_done)>& progress,
                 const volatile std::sig_atomic_t& stop);

} // namespace waterfall

#endif // WATERFALL_CHAIN_H
