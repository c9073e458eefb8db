#include "waterfall/frames.h"

#include "libsimd.h"
#include "waterfall/floor.h"
#include "waterfall/unpack.h"

#include <algorithm>
#include <bit>

namespace waterfall {

namespace {

// Samples and spectra of a block stay in a second-level cache of 512 KiB.
constexpr std::size_t block_samples = 8192;
constexpr std::size_t block_powers = 32768;

constexpr std::size_t level_samples = 16384; // at once: fewer than 131072 parts

} // namespace

Cut::Cut(const Settings& settings, Format samples_format, std::size_t bins_)
    : format(samples_format), fft(settings.fft), hop(settings.hop()), bins(bins_),
      frames(std::bit_floor(
          std::max<std::size_t>(1, std::min(block_samples / hop, block_powers / bins)))),
      samples((frames - 1) * hop + fft), most_rows(2 * settings.rows),
      singly(settings.average < 1.0)
{
}

Block::Block(const Cut& cut, const Columns& columns)
    : raw(cut.samples * bytes_per_sample(cut.format)), power(cut.frames * cut.bins), mean(cut.bins),
      mean_db(cut.bins), peak(cut.bins), rows(cut.frames * columns.stride())
{
}

Transformer::Transformer(const Cut& cut, const Columns& columns, const Settings& settings,
                         bool with_levels)
    : cut_(cut), columns_(columns), with_levels_(with_levels), max_hold_(settings.max_hold),
      spectrum_(settings.fft, settings.window, cut.bins < settings.fft),
      samples_(cut.samples * parts_of(cut.format)), reduced_(columns.stride())
{
}

void Transformer::run(Block& block)
{
    const Timed timed(block.timings.work);
    prepare(cut_.format, block.raw.data(), block.samples);
    unpack(cut_.format, block.raw.data(), block.samples, samples_.data(), block.timings);
    if (with_levels_) {
        block.levels = {};
        const std::size_t bytes = bytes_per_sample(cut_.format);
        for (std::size_t at = 0; at < block.own; at += level_samples)
            measure_levels(cut_.format, block.raw.data() + at * bytes,
                           std::min(level_samples, block.own - at), block.levels, block.timings);
        measure_power(samples_.data(), block.own, parts_of(cut_.format), block.levels,
                      block.timings);
    }
    transform(block);
    reduce(block);
}

void Transformer::transform(Block& block)
{
    const std::size_t bins = cut_.bins;
    const std::size_t step = cut_.hop * parts_of(cut_.format);
    std::fill(block.peak.begin(), block.peak.end(), 0.0);
    for (std::size_t k = 0; k < block.frames(); ++k) {
        double* const power = block.power.data() + k * bins;
        if (k < block.whole)
            spectrum_.power(samples_.data() + k * step, power, block.timings);
        else
            spectrum_.power_of_part(samples_.data() + k * step, block.part, power, block.timings);
        // A window of fewer samples has wider bins: a tone's level is kept where there is nothing
        // else, else the sum, so that noise and the power of all signals stay.
        if (k == block.whole && block.first + k != 0)
            for (std::size_t i = 0; i < bins; ++i)
                power[i] *= static_cast<double>(block.part) / static_cast<double>(cut_.fft);
        const Timed timed(block.timings.kernels);
        // The running mean y += (x - y) / k; the first frame goes to zeros with a = 1.
        if (k == 0)
            std::copy_n(power, bins, block.mean.data());
        else if (k < block.whole)
            iir1_f64(power, bins, block.mean.data(), 1.0 / static_cast<double>(k + 1));
        max_array_f64(block.peak.data(), power, bins);
    }
    // Aligned, and a multiple of 8: spec_log_f32's blocks have no tail.
    std::transform(block.mean.begin(), block.mean.end(), block.mean_db.begin(), narrow);
    const Timed timed(block.timings.kernels);
    spec_log_f32(block.mean_db.data(), bins, block.mean_db.data(), 0.0F);
}

void Transformer::reduce(Block& block)
{
    // As many frames as a row takes when the block's first one is merged, or all of the block's.
    std::size_t per_row = 1;
    while (!cut_.singly && per_row < cut_.frames && block.first >= per_row * cut_.most_rows)
        per_row *= 2;
    block.unit = per_row;
    const std::size_t stride = columns_.stride();
    for (std::size_t k = 0; k < block.frames(); ++k) {
        const double* const power = block.power.data() + k * cut_.bins;
        double* const out = block.rows.data() + k / per_row * stride;
        const std::size_t in_unit = k % per_row;
        if (in_unit == 0) {
            columns_.reduce(power, out);
            continue;
        }
        columns_.reduce(power, reduced_.data());
        const Timed timed(block.timings.kernels);
        if (max_hold_)
            max_array_f64(out, reduced_.data(), stride);
        else
            iir1_f64(reduced_.data(), stride, out, 1.0 / static_cast<double>(in_unit + 1));
    }
}

Frames::Frames(const Cut& cut, const Columns& columns, const Settings& settings)
    : average_(settings.average), mean_(cut.bins), peak_(cut.bins), smoothed_(columns.stride()),
      rows_(columns, settings.rows, settings.max_hold)
{
}

void Frames::add(const Block& block, Timings& timings)
{
    const std::size_t frames = block.frames();
    if (frames == 0)
        return;
    whole_ += block.whole;
    part_ = block.part;
    const std::size_t stride = rows_.stride();
    const std::size_t bins = mean_.size();
    {
        const Timed timed(timings.kernels);
        // The first block, or a single frame in part, is the mean.
        if (block.first == 0)
            std::copy_n(block.mean.begin(), bins, mean_.begin());
        else if (block.whole != 0)
            iir1_f64(block.mean.data(), bins, mean_.data(),
                     static_cast<double>(block.whole) / static_cast<double>(whole_));
        max_array_f64(peak_.data(), block.peak.data(), bins);
    }
    for (std::size_t k = 0; k < frames; k += block.unit) {
        const double* row = block.rows.data() + k / block.unit * stride;
        // A share of 1 would give (x - y) + y, not quite x: then the frame itself is taken.
        if (average_ < 1.0) {
            if (block.first + k == 0)
                std::copy_n(row, stride, smoothed_.begin());
            else
                iir1_f64(row, stride, smoothed_.data(), average_);
            row = smoothed_.data();
        }
        rows_.add(row, std::min(block.unit, frames - k), timings);
    }
}

} // namespace waterfall
