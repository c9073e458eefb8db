#include "waterfall/frames.h"

#include "libsimd.h"

#include <algorithm>

namespace waterfall {

Frames::Frames(std::size_t bins, const Settings& settings)
    : average_(settings.average), mean_(bins), peak_(bins),
      columns_(bins, settings.reduce == "max"), reduced_(columns_.stride()),
      smoothed_(columns_.stride()), rows_(columns_, settings.rows, settings.max_hold)
{
}

void Frames::add(const Buffer<double>& power, Timings& timings)
{
    const std::size_t n = power.size();
    ++count_;
    {
        const Timed timed(timings.kernels);
        // The running mean y += (x - y) / k; the first frame goes to zeros with a = 1.
        iir1_f64(power.data(), n, mean_.data(), 1.0 / static_cast<double>(count_));
        max_array_f64(peak_.data(), power.data(), n);
    }
    columns_.reduce(power.data(), reduced_.data());
    // A share of 1 would give (x - y) + y, not quite x: then the frame itself is taken.
    if (average_ < 1.0)
        iir1_f64(reduced_.data(), reduced_.size(), smoothed_.data(), count_ == 1 ? 1.0 : average_);
    rows_.add(average_ < 1.0 ? smoothed_.data() : reduced_.data(), 1, timings);
}

Framer::Framer(const Settings& settings, std::size_t parts, std::size_t most)
    : frame_(settings.fft * parts), hop_(settings.hop() * parts), pending_(frame_ + most * parts)
{
}

void Framer::added(std::size_t parts, Spectrum& spectrum, Frames& frames, Timings& timings)
{
    filled_ += parts;
    std::size_t at = 0;
    for (; filled_ - at >= frame_; at += hop_)
        frames.add(spectrum.power(pending_.data() + at, timings), timings);
    std::copy(pending_.data() + at, pending_.data() + filled_, pending_.data());
    filled_ -= at;
}

} // namespace waterfall
