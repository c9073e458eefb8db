#include "waterfall/chain.h"

#include "libsimd.h"
#include "waterfall/buffer.h"
#include "waterfall/channel.h"
#include "waterfall/error.h"
#include "waterfall/floor.h"
#include "waterfall/frames.h"
#include "waterfall/spectrum.h"
#include "waterfall/unpack.h"

#include <algorithm>
#include <cmath>
#include <cpuid.h>
#include <fmt/format.h>
#include <numeric>

namespace waterfall {

namespace {

constexpr std::size_t block_samples = 16384;

// The library goes by the processor's report alone. What the kernels of this chain use beyond their
// level is SSE4.1 at most (spec_log_f32, unpack_u8_f64; the others SSE3). Whether the operating
// system has enabled the wide registers is the host's to ask, which __builtin_cpu_supports does.
void require_processor()
{
    if (__builtin_cpu_supports("sse4.1") == 0)
        throw Error("this processor has no SSE4.1, which spec_log_f32 and unpack_u8_f64 use");
    unsigned a = 0, b = 0, c = 0, d = 0;
    const bool reported = __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit_AVX) != 0;
    if (reported && __builtin_cpu_supports("avx") == 0)
        throw Error("the operating system has not enabled the registers of this processor's AVX");
    if (unpack_s16_f64 == nullptr || spec_log_f32 == nullptr)
        throw Error("libsimd.so has not installed its kernels");
}

/// From blocks of samples to frames.
class Chain {
public:
    Chain(const Recording& recording, const Settings& settings)
        : format_(recording.format), channelled_(settings.has_channel()),
          real_(!is_complex(format_) && !channelled_), parts_(real_ ? 1 : 2),
          channel_(format_, recording.rate, settings, block_samples),
          spectrum_(settings.fft, settings.window, real_), frames_(spectrum_.bins(), settings),
          framer_(settings, parts_, block_samples), samples_(2 * block_samples)
    {
    }

    /// The block is prepared.
    void feed(const void* block, std::size_t samples, Timings& timings)
    {
        std::size_t kept = samples;
        if (channelled_)
            kept = channel_.run(block, samples, samples_.data(), timings);
        else
            unpack(format_, block, samples, samples_.data(), timings);
        std::copy_n(samples_.data(), kept * parts_, framer_.end());
        framer_.added(kept * parts_, spectrum_, frames_, timings);
    }

    bool real() const { return real_; }
    const Spectrum& spectrum() const { return spectrum_; }
    Frames& frames() { return frames_; }

private:
    Format format_;
    bool channelled_;
    bool real_; // shown from 0 to half the rate
    std::size_t parts_;
    Channel channel_;
    Spectrum spectrum_;
    Frames frames_;
    Framer framer_;
    Buffer<double> samples_;
};

void read_all(Source& source, Chain& chain, Analysis& a,
              const std::function<void(std::uint64_t)>& progress,
              const volatile std::sig_atomic_t& stop)
{
    const Format format = a.recording.format;
    Buffer<unsigned char> block(block_samples * bytes_per_sample(format));
    while (stop == 0) {
        std::size_t got = 0;
        {
            const Timed timed(a.timings.read);
            got = source.read(block.data(), block_samples);
        }
        if (got == 0)
            return;
        prepare(format, block.data(), got);
        measure_levels(format, block.data(), got, a.levels, a.timings);
        chain.feed(block.data(), got, a.timings);
        a.samples += got;
        progress(a.samples);
    }
    a.interrupted = true;
}

Buffer<float> narrowed(const Buffer<double>& power)
{
    Buffer<float> out(power.size());
    std::transform(power.begin(), power.end(), out.begin(), narrow);
    return out;
}

std::vector<float> to_db(const Buffer<float>& power, Timings& timings)
{
    // Aligned, and a multiple of 8: spec_log_f32's blocks have no tail.
    Buffer<float> db(power.size());
    {
        const Timed timed(timings.kernels);
        spec_log_f32(power.data(), power.size(), db.data(), 0.0F);
    }
    return {db.begin(), db.end()};
}

/// Smoothed along the spectrum, in power: decibels would pull lines down. Taps are a Hann window,
/// their sum 1.
Buffer<float> smoothed(const Buffer<float>& power, std::size_t taps, bool real, Timings& timings)
{
    // Beyond its ends the spectrum goes on: mirrored if real, else round the circle.
    const std::size_t n = power.size();
    const std::size_t half = taps / 2;
    Buffer<float> extended(n + 2 * half);
    std::copy(power.begin(), power.end(), extended.begin() + half);
    for (std::size_t i = 0; i < half; ++i) {
        extended[half - 1 - i] = power[real ? i + 1 : n - 1 - i];
        extended[half + n + i] = power[real ? n - 1 - i : i];
    }

    const std::vector<double> window = window_weights("hann", taps + 1);
    Buffer<float> weights(taps);
    std::copy(window.begin() + 1, window.end(), weights.begin()); // the first weight is 0
    // Equal halves bit for bit, as the kernel's folded form presumes.
    for (std::size_t i = 0; i < taps / 2; ++i)
        weights[taps - 1 - i] = weights[i];
    Buffer<float> smooth(extended.size());
    const Timed timed(timings.kernels);
    vfilter_f32(extended.data(), static_cast<std::int32_t>(extended.size()), weights.data(),
                static_cast<std::int32_t>(taps), smooth.data());
    Buffer<float> out(n);
    std::copy_n(smooth.begin() + half, n, out.begin());
    return out;
}

/// Frequencies of the bins.
void place(Analysis& a, std::size_t bins, bool real)
{
    a.rate = a.recording.rate / a.settings.decimate;
    a.bin_hz = a.rate / static_cast<double>(a.settings.fft);
    const double middle = a.recording.center + a.settings.channel.value_or(0.0);
    const std::size_t zero_bin = bins / 2;
    a.first_hz = real ? a.recording.center : middle - a.bin_hz * static_cast<double>(zero_bin);
}

/// Bins at both ends that lie on the slope of a channel's filter: no floor and no line is there.
std::size_t slope_bins(std::size_t bins, const Settings& settings)
{
    const double share = flat_share(settings.decimate, settings.taps);
    return (bins - static_cast<std::size_t>(share * static_cast<double>(bins))) / 2;
}

double decibels(double power) { return 10.0 * std::log10(power); }

void conclude(Analysis& a, Chain& chain)
{
    Frames& frames = chain.frames();
    const double noise_bins = chain.spectrum().noise_bins();
    frames.finish();
    Timings& timings = a.timings;
    a.frames = frames.count();
    a.noise_hz = a.bin_hz * noise_bins;

    const Buffer<float> mean = narrowed(frames.mean());
    const Buffer<float> smooth = smoothed(mean, a.settings.smooth, chain.real(), timings);
    const std::size_t slope = slope_bins(mean.size(), a.settings);
    a.slope_hz = static_cast<double>(slope) * a.bin_hz;
    float floor = estimate_floor({mean.data() + slope, mean.size() - 2 * slope}, a.frames, timings);
    if (static_cast<double>(floor) <=
        no_floor * static_cast<double>(*std::max_element(mean.begin(), mean.end())))
        floor = 0;
    a.mean_db = to_db(mean, timings);
    a.peak_db = to_db(narrowed(frames.peak()), timings);
    a.smooth_db = to_db(smooth, timings);
    a.floor_db = floor > 0 ? decibels(static_cast<double>(floor)) : std::nan("");

    // The bins overlap by the window's noise bandwidth: so much their sum exceeds the power.
    const Buffer<double>& power = frames.mean();
    const double sum = std::accumulate(power.begin(), power.end(), 0.0);
    a.levels.mean_db = decibels(sum / noise_bins);

    a.lines = find_lines(mean, smooth,
                         {a.first_hz, a.bin_hz, a.settings.window, a.settings.fft, noise_bins,
                          chain.real(), floor, slope, a.frames, a.settings.lines});
    a.waterfall = make_codes(frames.rows(), a.settings.low_db, a.settings.high_db, timings);
    a.waterfall.bins_per_column = frames.columns().most_bins();
}

} // namespace

Analysis analyse(Source& source, const Settings& settings,
                 const std::function<void(std::uint64_t samples_done)>& progress,
                 const volatile std::sig_atomic_t& stop)
{
    require_processor();
    settings.check();
    Analysis a;
    a.recording = source.recording();
    a.settings = settings;
    {
        const Timed timed(a.timings.total);
        Chain chain(a.recording, settings);
        place(a, chain.spectrum().bins(), chain.real());
        read_all(source, chain, a, progress, stop);
        if (chain.frames().count() == 0)
            throw Error(fmt::format("{}: {} samples are fewer than one transform takes ({})",
                                    a.recording.input, a.samples,
                                    settings.fft * settings.decimate));
        conclude(a, chain);
    }
    return a;
}

} // namespace waterfall
