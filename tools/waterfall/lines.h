// tools/waterfall/lines.h: the strongest signals of a mean spectrum.
#ifndef WATERFALL_LINES_H
#define WATERFALL_LINES_H

#include "waterfall/buffer.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace waterfall {

/// One signal. Frequencies are absolute (offsets where the recording's centre is 0). One that lies
/// across the edge of a complex recording's band has an end beyond it.
struct Line {
    double frequency; // of the peak, interpolated; of the middle where the signal is wide
    double level_db;  // of that peak, interpolated; of the smoothed spectrum where wide; dBFS
    double above_db;  // the same above the floor; NaN without a floor
    double power_db;  // of all between low and high, dBFS: what a wide signal has
    double bandwidth; // Hz above half of that power
    double low, high; // Hz, the ends of that band
};

struct LineSearch {
    double first_hz, bin_hz; // of bin 0; from bin to bin
    std::string window;      // of the transforms
    std::size_t fft;         // their length
    std::size_t weighted;    // samples under the window: fewer where the recording is short
    double noise_bins;       // noise bandwidth of a bin, in bins
    bool real;               // bins start at 0 Hz; else the spectrum is a circle
    float floor;             // power; 0: there is none
    std::size_t margin;      // bins at both ends in which no line is sought
    std::uint64_t frames;    // in the mean: few frames need a higher threshold
    std::size_t most;        // lines wanted
};

/// Strongest first, by power. mean: power by bin; smooth: the same smoothed along the spectrum. A
/// wide signal is one line: two peaks are two lines only where the smoothed spectrum falls well
/// below both between them. A steady tone has the place and level that its window's own transform
/// says.
std::vector<Line> find_lines(const Buffer<float>& mean, const Buffer<float>& smooth,
                             const LineSearch& search);

} // namespace waterfall

#endif // WATERFALL_LINES_H
