// tools/waterfall/settings.h: what the chain can be told.
#ifndef WATERFALL_SETTINGS_H
#define WATERFALL_SETTINGS_H

#include <cstddef>
#include <optional>
#include <string>

namespace waterfall {

struct Settings {
    std::size_t fft = 2048;        // transform length; a multiple of 16
    double overlap = 0.5;          // share of a frame that the next one repeats, 0 to 0.95
    std::string window = "hann";   // hann, hamming, blackman, flattop or rect
    std::size_t rows = 600;        // rows wanted in the waterfall: up to twice as many are kept
    std::optional<double> channel; // Hz from the centre: this channel is mixed to zero and filtered
    unsigned decimate = 1;         // keep every n-th sample of the filtered channel
    double average = 1.0;          // share of the new frame in the waterfall's smoothing over time
    std::size_t smooth = 9;        // taps of the smoothing along the spectrum, odd
    unsigned threads = 0;          // 0: as many as there are processors, up to 16
    std::size_t lines = 10;        // strongest lines in the report
    std::string reduce = "max";    // of the bins that share a column: max or mean
    bool max_hold = false;         // a row shows its strongest frame, not their mean
    std::size_t bursts = 10;       // strongest bursts in the report
    std::optional<double> low_db;  // colour range; chosen from the recording where not given
    std::optional<double> high_db;

    /// Throws Error where the kernels or the pictures cannot take a setting.
    void check() const;

    /// Samples (after decimation) from one frame to the next, at least 1.
    [[nodiscard]] std::size_t hop() const;
    [[nodiscard]] bool has_channel() const { return channel.has_value() || decimate > 1; }
};

} // namespace waterfall

#endif // WATERFALL_SETTINGS_H
