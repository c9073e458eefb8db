#include "waterfall/chain.h"

#include "libsimd.h"
#include "waterfall/buffer.h"
#include "waterfall/channel.h"
#include "waterfall/error.h"
#include "waterfall/floor.h"
#include "waterfall/frames.h"
#include "waterfall/pipeline.h"
#include "waterfall/spectrum.h"
#include "waterfall/unpack.h"

#include <algorithm>
#include <cmath>
#include <cpuid.h>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <thread>

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

/// Cuts a recording into blocks. A block starts with what the one before shares with it.
class Reader {
public:
    Reader(Source& source, Analysis& analysis, const Settings& settings, const Cut& cut,
           const std::function<void(std::uint64_t)>& progress,
           const volatile std::sig_atomic_t& stop)
        : source_(source), analysis_(analysis), cut_(cut), progress_(progress), stop_(stop),
          bytes_(bytes_per_sample(cut.format)), shared_(cut.samples - cut.frames * cut.hop),
          carry_(shared_ * bytes_)
    {
        if (settings.has_channel())
            channel_.emplace(is_complex(analysis.recording.format),
                             settings.channel.value_or(0.0) / analysis.recording.rate,
                             settings.decimate, block_samples);
    }

    /// False where nothing is left.
    bool fill(Block& block)
    {
        const Timed timed(analysis_.timings.work);
        if (ended_)
            return false;
        block.timings = {};
        block.first = first_;
        std::size_t filled = first_ == 0 ? 0 : shared_;
        std::memcpy(block.raw.data(), carry_.data(), filled * bytes_);
        while (filled < cut_.samples && !ended_)
            filled += append(block.raw.data() + filled * bytes_, cut_.samples - filled);
        std::memcpy(carry_.data(), block.raw.data() + (cut_.samples - shared_) * bytes_,
                    shared_ * bytes_);
        finish(block, filled);
        first_ += cut_.frames;
        return block.samples != 0;
    }

private:
    /// Of a block that is not full, the frames and the samples after the last whole one.
    void finish(Block& block, std::size_t filled)
    {
        const bool full = filled == cut_.samples;
        block.samples = filled;
        block.own = full ? cut_.frames * cut_.hop : filled;
        block.whole = filled < cut_.fft ? 0 : (filled - cut_.fft) / cut_.hop + 1;
        std::size_t seen = first_ == 0 ? 0 : shared_;
        if (block.whole != 0)
            seen = (block.whole - 1) * cut_.hop + cut_.fft;
        block.part = filled > seen ? filled - block.whole * cut_.hop : 0;
    }

    /// Samples of the recording, or of its channel.
    std::size_t append(unsigned char* to, std::size_t most)
    {
        if (!channel_) {
            const std::size_t got = read(to, std::min(most, block_samples));
            ended_ = got == 0;
            return got;
        }
        if (next_ == kept_) {
            next_ = 0;
            kept_ = channel_block();
            ended_ = flushing_ && kept_ == 0;
        }
        const std::size_t n = std::min(most, kept_ - next_);
        std::memcpy(to, channel_out_.data() + 2 * next_, n * bytes_);
        next_ += n;
        return n;
    }

    std::size_t channel_block()
    {
        const Format format = analysis_.recording.format;
        Timings& timings = analysis_.timings;
        const std::size_t got = flushing_ ? 0 : read(input_.data(), block_samples);
        flushing_ = got == 0;
        if (flushing_)
            return channel_->finish(channel_out_.data(), timings);
        prepare(format, input_.data(), got);
        unpack(format, input_.data(), got, unpacked_.data(), timings);
        measure_levels(format, input_.data(), got, analysis_.levels, timings);
        measure_power(unpacked_.data(), got, parts_of(format), analysis_.levels, timings);
        return channel_->run(unpacked_.data(), got, channel_out_.data(), timings);
    }

    std::size_t read(unsigned char* to, std::size_t most)
    {
        if (stop_ != 0) {
            analysis_.interrupted = true;
            return 0;
        }
        std::size_t got = 0;
        {
            const Timed timed(analysis_.timings.read);
            got = source_.read(to, most);
        }
        analysis_.samples += got;
        if (got != 0)
            progress_(analysis_.samples);
        return got;
    }

    Source& source_;
    Analysis& analysis_;
    const Cut& cut_;
    const std::function<void(std::uint64_t)>& progress_;
    const volatile std::sig_atomic_t& stop_;
    std::size_t bytes_, shared_;
    std::vector<unsigned char> carry_;
    std::uint64_t first_ = 0;
    bool ended_ = false, flushing_ = false;
    std::optional<Channel> channel_;
    Buffer<unsigned char> input_{block_samples * 16};
    Buffer<double> unpacked_{2 * block_samples}, channel_out_{2 * block_samples};
    std::size_t next_ = 0, kept_ = 0;
};

unsigned thread_count(const Settings& settings)
{
    constexpr unsigned most = 16;
    return settings.threads != 0 ? settings.threads
                                 : std::clamp(std::thread::hardware_concurrency(), 1U, most);
}

/// Bins at both ends that lie on the slope of a channel's filter: no floor and no line is there.
std::size_t slope_bins(std::size_t bins, const Settings& settings)
{
    const double share = flat_share(settings.decimate);
    return (bins - static_cast<std::size_t>(share * static_cast<double>(bins))) / 2;
}

/// The whole recording through all threads.
struct Chain {
    Chain(const Recording& recording, const Settings& settings)
        : real(!is_complex(recording.format) && !settings.has_channel()),
          cut(settings, settings.has_channel() ? Format::cf64 : recording.format,
              real ? settings.fft / 2 : settings.fft),
          columns(cut.bins, settings.reduce == "max"), frames(cut, columns, settings),
          bursts(cut, slope_bins(cut.bins, settings))
    {
    }

    void run(Source& source, Analysis& a, const std::function<void(std::uint64_t)>& progress,
             const volatile std::sig_atomic_t& stop)
    {
        const Settings& settings = a.settings;
        a.threads = thread_count(settings);
        std::vector<Transformer> transformers;
        transformers.reserve(a.threads);
        for (unsigned t = 0; t < a.threads; ++t)
            transformers.emplace_back(cut, columns, settings, !settings.has_channel());
        noise_bins = transformers[0].noise_bins();
        std::vector<Block> pool;
        const unsigned blocks = a.threads == 1 ? 1 : a.threads + 2;
        pool.reserve(blocks);
        while (pool.size() < blocks)
            pool.emplace_back(cut, columns);

        Reader reader(source, a, settings, cut, progress, stop);
        Timings workers; // the reader has its own, on its own thread
        Levels levels;
        Pipeline pipeline(
            pool, a.threads, [&](Block& block) { return reader.fill(block); },
            [&](Block& block, unsigned thread) { transformers[thread].run(block); },
            [&](Block& block) {
                const Timed timed(workers.work);
                workers.add(block.timings);
                levels.add(block.levels);
                frames.add(block, workers);
                bursts.add(block, frames.mean(), workers);
            });
        pipeline.run();
        a.timings.add(workers);
        if (!settings.has_channel())
            a.levels = levels;
    }

    bool real; // shown from 0 to half the rate
    Cut cut;
    Columns columns;
    Frames frames;
    BurstFinder bursts;
    double noise_bins = 1;
};

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

double decibels(double power) { return 10.0 * std::log10(power); }

void conclude(Analysis& a, Chain& chain)
{
    Frames& frames = chain.frames;
    frames.finish();
    Timings& timings = a.timings;
    a.frames = frames.count();
    a.part_samples = frames.part();
    const std::size_t weighted = frames.whole() != 0 ? a.settings.fft : a.part_samples;
    const double noise_bins =
        chain.noise_bins * static_cast<double>(a.settings.fft) / static_cast<double>(weighted);
    a.noise_hz = a.bin_hz * noise_bins;

    const Buffer<float> mean = narrowed(frames.mean());
    const Buffer<float> smooth = smoothed(mean, a.settings.smooth, chain.real, timings);
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

    a.levels.mean_db = decibels(mean_power(a.levels, is_complex(a.recording.format)));

    a.lines = find_lines(mean, smooth,
                         {a.first_hz, a.bin_hz, a.settings.window, a.settings.fft, weighted,
                          noise_bins, chain.real, floor, slope, a.frames, a.settings.lines});
    const double hop = static_cast<double>(a.settings.hop()) / a.rate;
    const double frame = static_cast<double>(a.settings.fft) / a.rate;
    a.bursts = chain.bursts.finish({a.first_hz, a.bin_hz, frame / 2, hop, a.seconds(), a.frames},
                                   a.settings.bursts);
    a.bursts_found = chain.bursts.count();
    a.waterfall = make_codes(frames.rows(), a.settings.low_db, a.settings.high_db, timings);
    a.waterfall.bins_per_column = chain.columns.most_bins();
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
        const Timed timed(a.timings.wall);
        Chain chain(a.recording, settings);
        place(a, chain.cut.bins, chain.real);
        chain.run(source, a, progress, stop);
        if (chain.frames.count() == 0)
            throw Error(a.recording.input + ": 0 samples, nothing to transform");
        const Timed working(a.timings.work);
        conclude(a, chain);
    }
    return a;
}

} // namespace waterfall
