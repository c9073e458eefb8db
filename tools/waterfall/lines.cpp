#include "waterfall/lines.h"

#include "waterfall/floor.h"
#include "waterfall/spectrum.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>
#include <optional>

namespace waterfall {

namespace {

using Bin = std::ptrdiff_t;

/// Bins from first to last, with one signal between two valleys. On a circle the last may lie beyond
/// the end.
struct Segment {
    Bin first, last;
};

double db(double power) { return 10.0 * std::log10(std::max(power, static_cast<double>(FLT_MIN))); }

/// Power by bin, on the circle of a complex spectrum or mirrored at the ends of a real one.
class Curve {
public:
    Curve(const Buffer<float>& power, bool real) : power_(power), real_(real) {}

    [[nodiscard]] Bin size() const { return static_cast<Bin>(power_.size()); }
    [[nodiscard]] bool real() const { return real_; }
    [[nodiscard]] double operator()(Bin bin) const
    {
        const Bin n = size();
        if (real_)
            bin = bin < 0 ? -bin : bin >= n ? 2 * n - 1 - bin : bin;
        return static_cast<double>(power_[static_cast<std::size_t>(wrapped(bin))]);
    }
    /// Of a place at most a few turns outside the circle.
    [[nodiscard]] Bin wrapped(Bin bin) const
    {
        while (bin < 0)
            bin += size();
        while (bin >= size())
            bin -= size();
        return bin;
    }

    [[nodiscard]] Bin highest(Segment s) const
    {
        Bin best = s.first;
        for (Bin bin = s.first; bin <= s.last; ++bin)
            if ((*this)(bin) > (*this)(best))
                best = bin;
        return best;
    }

private:
    const Buffer<float>& power_;
    bool real_;
};

/// How far above the floor, or above the valley to a stronger peak, a peak must stand; a factor.
/// The noise of a mean falls with the root of the frames; the smoothing does the work of about
/// three.
double least_rise(std::uint64_t frames)
{
    return std::max(3.0, 1.0 + 10.0 / std::sqrt(3.0 * static_cast<double>(frames)));
}

/// Grows peaks from the highest bin downwards. Where two meet, the lower one either stands well
/// above the meeting place (a valley between two signals) or belongs to the other.
class Watershed {
public:
    Watershed(const Curve& power, double rise) : power_(power), rise_(rise) {}

    std::vector<Segment> segments()
    {
        const Bin n = power_.size();
        std::vector<Bin> order(static_cast<std::size_t>(n));
        std::iota(order.begin(), order.end(), Bin{0});
        std::stable_sort(order.begin(), order.end(),
                         [&](Bin a, Bin b) { return power_(a) > power_(b); });
        parent_.assign(order.size(), n);
        for (const Bin bin : order)
            flood(bin);
        std::sort(valleys_.begin(), valleys_.end());
        std::vector<Segment> found;
        if (power_.real()) {
            valleys_.insert(valleys_.begin(), 0);
            valleys_.push_back(n - 1);
        } else { // round the circle, whose lowest bin is a valley
            valleys_.push_back(valleys_.front() + n);
        }
        for (std::size_t i = 0; i + 1 < valleys_.size(); ++i)
            found.push_back({valleys_[i], valleys_[i + 1]});
        return found;
    }

private:
    Bin& parent(Bin bin) { return parent_[static_cast<std::size_t>(bin)]; }

    /// Roots are the highest bins of their trees.
    Bin root(Bin bin)
    {
        while (parent(bin) != bin)
            bin = parent(bin) = parent(parent(bin));
        return bin;
    }

    void flood(Bin bin)
    {
        const Bin n = power_.size();
        parent(bin) = bin;
        for (const Bin next : {bin - 1, bin + 1})
            if (!power_.real() || (next >= 0 && next < n))
                if (const Bin neighbour = power_.wrapped(next); parent(neighbour) != n)
                    join(bin, neighbour);
    }

    void join(Bin valley, Bin neighbour)
    {
        Bin a = root(valley);
        Bin b = root(neighbour);
        if (power_(a) > power_(b))
            std::swap(a, b);
        // Trees that meet a second time have closed the circle.
        if (a == b || power_(a) >= rise_ * power_(valley))
            if (a == b || a != valley)
                valleys_.push_back(valley);
        parent(a) = b;
    }

    const Curve& power_;
    double rise_;
    std::vector<Bin> parent_; // n: not flooded yet
    std::vector<Bin> valleys_;
};

/// Where a curve in dB crosses a level between bin `in` (at or above it) and bin `out` (below).
double crossing(const Curve& power, Bin in, Bin out, double level_db)
{
    const double a = db(power(in));
    const double b = db(power(out));
    const double share = a > b ? std::clamp((a - level_db) / (a - b), 0.0, 1.0) : 0.0;
    return static_cast<double>(in) + share * static_cast<double>(out - in);
}

/// The outermost bins of a segment at or above a level, with the crossings beyond them.
std::pair<double, double> band(const Curve& power, Segment s, double level_db)
{
    const auto above = [&](Bin bin) { return db(power(bin)) >= level_db; };
    while (s.first < s.last && !above(s.first))
        ++s.first;
    while (s.last > s.first && !above(s.last))
        --s.last;
    const bool first = power.real() && s.first == 0;
    const bool last = power.real() && s.last == power.size() - 1;
    return {first ? 0.0 : crossing(power, s.first, s.first - 1, level_db),
            last ? static_cast<double>(s.last) : crossing(power, s.last, s.last + 1, level_db)};
}

/// Mean power of the bins beyond the window's reach on both sides: what a line must stand out from.
double surroundings(const Curve& power, Bin peak, Bin reach)
{
    double sum = 0;
    const Bin nearest = std::max<Bin>(4, reach + 1);
    for (Bin d = nearest; d < nearest + 5; ++d)
        sum += power(peak - d) + power(peak + d);
    return sum / 10;
}

/// A line in bins: what find_lines() reports, before it is placed.
class Found {
public:
    Found(const Curve& mean, const Curve& smooth, const LineSearch& search)
        : mean_(mean), smooth_(smooth), search_(search), shape_(search.window, search.weighted),
          narrower_(static_cast<double>(search.weighted) / static_cast<double>(search.fft)),
          reach_(static_cast<Bin>(std::ceil(static_cast<double>(shape_.reach()) / narrower_)))
    {
    }

    [[nodiscard]] Line line(Segment s) const
    {
        const Bin peak = mean_.highest(s);
        if (const std::optional<Line> direct = direct_part(peak))
            return *direct;
        if (!is_narrow(peak))
            return wide_line(s);
        const std::optional<Line> tone = steady_tone(peak);
        return tone ? *tone : narrow_line(s, peak);
    }

private:
    /// Power of a tone of power 1 so many bins beside its place.
    [[nodiscard]] double spread(double bins) const { return shape_.power(bins * narrower_); }
    [[nodiscard]] double floor() const { return static_cast<double>(search_.floor); }
    [[nodiscard]] double frames() const { return static_cast<double>(search_.frames); }

    [[nodiscard]] bool is_narrow(Bin peak) const
    {
        const double rise = std::max(4.0, 1.0 + 12.0 / std::sqrt(frames()));
        return mean_(peak) >= rise * surroundings(mean_, peak, reach_);
    }

    /// A line of this power as wide as the window makes it.
    [[nodiscard]] Line tone_at(double bin, double power) const
    {
        const double half = shape_.half_power() / narrower_;
        return {bin, db(power), 0, db(power), 2 * half, bin - half, bin + half};
    }

    /// The zero frequency of a real recording: it has no other half, so that what the window spreads
    /// of it stands fourfold beside it.
    [[nodiscard]] std::optional<Line> direct_part(Bin peak) const
    {
        const Bin reach = reach_;
        if (!mean_.real() || peak > reach)
            return std::nullopt;
        const double power = mean_(0) - floor() / 4;
        const double beside = std::max(floor(), surroundings(mean_, 0, reach));
        const double rise = 4 + 12 / std::sqrt(frames());
        for (Bin d = 1; d <= reach; ++d)
            if (mean_(d) >
                1.1 * 4 * power * spread(static_cast<double>(d)) + rise * beside + 1e-9 * power)
                return std::nullopt;
        if (power < beside)
            return std::nullopt;
        return tone_at(0, power);
    }

    /// How far the bins around a peak are from a tone at this place, and that tone's power: least
    /// squares, each bin weighted by its noise.
    struct Fit {
        double error, power;
    };
    [[nodiscard]] Fit fit(Bin peak, double shift) const
    {
        const double top = mean_(peak);
        const double noise = floor() / top;
        double sp = 0;
        double ss = 0;
        double pp = 0;
        for (Bin d = -reach_; d <= reach_; ++d) {
            const double p = std::max(0.0, mean_(peak + d) / top - noise);
            const double s = spread(static_cast<double>(d) - shift);
            const double variance =
                (2 * p * noise + noise * noise) / frames() + 1e-6 * p * p + 1e-8;
            sp += s * p / variance;
            ss += s * s / variance;
            pp += p * p / variance;
        }
        return {pp - sp * sp / ss, top * sp / ss};
    }

    [[nodiscard]] std::optional<Line> steady_tone(Bin peak) const
    {
        constexpr int steps = 24;
        constexpr double step = 1.2 / steps;
        const auto error = [&](double shift) { return fit(peak, shift).error; };
        double best = -0.6;
        for (int i = 1; i <= steps; ++i)
            if (const double shift = -0.6 + i * step; error(shift) < error(best))
                best = shift;
        double low = best - step;
        double high = best + step;
        for (int i = 0; i < 24; ++i) { // thirds, to 1e-5 of a bin
            const double third = (high - low) / 3;
            (error(low + third) < error(high - third) ? high : low) =
                error(low + third) < error(high - third) ? high - third : low + third;
        }
        const double shift = (low + high) / 2;
        const double power = fit(peak, shift).power;
        // What is modulated, or two tones, has another shape: within 1 dB where the tone is strong.
        const double noise = std::sqrt((2 * power * floor() + floor() * floor()) / frames());
        for (Bin d = -reach_; d <= reach_; ++d) {
            const double expected = power * spread(static_cast<double>(d) - shift);
            if (expected >= 0.1 * power &&
                std::abs(mean_(peak + d) - floor() - expected) > 0.25 * expected + 4 * noise)
                return std::nullopt;
        }
        return tone_at(static_cast<double>(peak) + shift, power);
    }

    /// Not steady: a parabola through the peak's three bins, in dB.
    [[nodiscard]] Line narrow_line(Segment s, Bin peak) const
    {
        double at = static_cast<double>(peak);
        double level = db(mean_(peak));
        const double left = db(mean_(peak - 1));
        const double right = db(mean_(peak + 1));
        const double bend = left - 2 * level + right;
        const double shift = bend < 0 ? std::clamp(0.5 * (left - right) / bend, -0.5, 0.5) : 0.0;
        at += shift;
        level -= 0.25 * (left - right) * shift;
        // Only what hangs together with the peak: other lines of the segment are not this one's.
        const double half = level - db(2.0);
        Segment own{peak, peak};
        while (own.first > s.first && db(mean_(own.first - 1)) >= half)
            --own.first;
        while (own.last < s.last && db(mean_(own.last + 1)) >= half)
            ++own.last;
        const auto [low, high] = band(mean_, own, half);
        return {at, level, 0, level, high - low, low, high};
    }

    [[nodiscard]] Line wide_line(Segment s) const
    {
        const double level = db(smooth_(smooth_.highest(s)));
        const auto [low, high] = band(smooth_, s, level - db(2.0));
        double sum = 0;
        for (auto bin = static_cast<Bin>(std::floor(low)); bin <= static_cast<Bin>(high); ++bin)
            sum += mean_(bin);
        return {(low + high) / 2, level, 0, db(sum / search_.noise_bins), high - low, low, high};
    }

    const Curve& mean_;
    const Curve& smooth_;
    const LineSearch& search_;
    WindowShape shape_;
    double narrower_; // bins than the window's own
    Bin reach_;
};

/// From bins to frequencies, that of the line within the band.
Line placed(Line line, const LineSearch& search, Bin bins)
{
    const auto n = static_cast<double>(bins);
    const double turn = search.real ? 0 : n * std::floor((line.frequency + 0.5) / n);
    for (double* const at : {&line.frequency, &line.low, &line.high})
        *at = search.first_hz + (*at - turn) * search.bin_hz;
    line.bandwidth *= search.bin_hz;
    line.above_db =
        search.floor > 0 ? line.level_db - db(static_cast<double>(search.floor)) : std::nan("");
    return line;
}

} // namespace

std::vector<Line> find_lines(const Buffer<float>& mean, const Buffer<float>& smooth,
                             const LineSearch& search)
{
    const Curve power(mean, search.real);
    const Curve smoothed(smooth, search.real);
    const Found found(power, smoothed, search);
    const double rise = least_rise(search.frames);
    const Bin n = power.size();
    const auto margin = static_cast<Bin>(search.margin);
    const double strongest = static_cast<double>(*std::max_element(smooth.begin(), smooth.end()));
    const double least = std::max(rise * static_cast<double>(search.floor), no_floor * strongest);
    std::vector<Line> lines;
    if (strongest <= 0)
        return lines;
    for (const Segment& s : Watershed(smoothed, rise).segments()) {
        const Bin top = smoothed.wrapped(smoothed.highest(s));
        if (smoothed(top) > least && top >= margin && top < n - margin)
            lines.push_back(placed(found.line(s), search, n));
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const Line& a, const Line& b) { return a.power_db > b.power_db; });
    lines.resize(std::min(lines.size(), search.most));
    return lines;
}

} // namespace waterfall
