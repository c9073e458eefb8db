// tools/waterfall/spectrum.h: window, transform and power of one frame.
#ifndef WATERFALL_SPECTRUM_H
#define WATERFALL_SPECTRUM_H

#include "waterfall/buffer.h"
#include "waterfall/timings.h"

#include <fftw3.h>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace waterfall {

bool is_window(std::string_view name);
std::string window_names();

/// `size` weights, periodic, their sum 1: a full-scale exponential on a bin has power 1 (0 dBFS).
std::vector<double> window_weights(std::string_view name, std::size_t size);

/// A window's own transform.
class WindowShape {
public:
    WindowShape(std::string_view name, std::size_t size);

    /// Power that a tone of power 1 shows so many bins beside its place.
    [[nodiscard]] double power(double bins) const;
    /// Bins on both sides of a tone's place that hold its main lobe.
    [[nodiscard]] std::ptrdiff_t reach() const { return reach_; }
    /// Where the power is half, in bins from the tone's place.
    [[nodiscard]] double half_power() const { return half_power_; }

private:
    [[nodiscard]] double exact(double bins) const;

    double size_;
    std::vector<double> terms_; // of the sum of cosines, the first 1, with their signs
    std::vector<double> table_; // from 0 to a bin beyond the reach
    std::ptrdiff_t reach_ = 1;
    double half_power_ = 0;
};

/// Power spectra, lowest frequency first. A complex frame gives `fft` bins, the zero frequency at
/// fft / 2. A real frame gives fft / 2 bins from 0 on (the one at rate / 2 is left out), scaled so
/// that a full-scale sine has power 1.
class Spectrum {
public:
    Spectrum(std::size_t fft, std::string_view window, bool real);

    [[nodiscard]] std::size_t bins() const { return bins_; }
    /// Noise bandwidth of a bin, in bins.
    [[nodiscard]] double noise_bins() const { return noise_bins_; }

    /// frame: fft samples, interleaved where complex; any alignment. power: bins(), on a 64-byte
    /// boundary.
    void power(const double* frame, double* power, Timings& timings);
    /// Of fewer samples than a frame has: with a window of their own, then zeros.
    void power_of_part(const double* frame, std::size_t samples, double* power, Timings& timings);

private:
    struct Destroy {
        void operator()(fftw_plan plan) const { fftw_destroy_plan(plan); }
    };

    void transform(double* power, Timings& timings);

    std::string window_;
    bool real_;
    std::size_t bins_;
    double noise_bins_ = 1;
    Buffer<double> weights_;  // one per part: doubled where complex
    Buffer<double> in_, out_; // FFTW's
    std::unique_ptr<std::remove_pointer_t<fftw_plan>, Destroy> plan_;
};

} // namespace waterfall

#endif // WATERFALL_SPECTRUM_H
