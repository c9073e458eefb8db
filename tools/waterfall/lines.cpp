#include "waterfall/lines.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>

namespace waterfall {

namespace {

/// Bins from first to last, with one signal between two valleys.
struct Segment {
    std::size_t first, last;
};

double db(double power) { return 10.0 * std::log10(std::max(power, static_cast<double>(FLT_MIN))); }
double db(float power) { return db(static_cast<double>(power)); }

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
    Watershed(const Buffer<float>& power, double rise) : power_(power), rise_(rise) {}

    std::vector<Segment> segments()
    {
        const std::size_t n = power_.size();
        std::vector<std::size_t> order(n);
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::stable_sort(order.begin(), order.end(),
                         [&](std::size_t a, std::size_t b) { return power_[a] > power_[b]; });
        parent_.assign(n, n);
        top_.assign(n, 0);
        for (const std::size_t bin : order)
            flood(bin);
        std::sort(valleys_.begin(), valleys_.end());
        std::vector<Segment> found;
        std::size_t first = 0;
        for (const std::size_t valley : valleys_) {
            found.push_back({first, valley});
            first = valley;
        }
        found.push_back({first, n - 1});
        return found;
    }

private:
    std::size_t root(std::size_t bin)
    {
        while (parent_[bin] != bin)
            bin = parent_[bin] = parent_[parent_[bin]];
        return bin;
    }

    void flood(std::size_t bin)
    {
        const std::size_t n = power_.size();
        parent_[bin] = bin;
        top_[bin] = power_[bin];
        if (bin > 0 && parent_[bin - 1] != n)
            join(bin, bin - 1, bin);
        if (bin + 1 < n && parent_[bin + 1] != n)
            join(bin, bin + 1, bin);
    }

    void join(std::size_t a, std::size_t b, std::size_t valley)
    {
        a = root(a);
        b = root(b);
        if (top_[a] > top_[b])
            std::swap(a, b);
        if (static_cast<double>(top_[a]) >= rise_ * static_cast<double>(power_[valley]))
            valleys_.push_back(valley);
        parent_[a] = b;
    }

    const Buffer<float>& power_;
    double rise_;
    std::vector<std::size_t> parent_; // n: not flooded yet
    std::vector<float> top_;          // highest power of the tree, at its root
    std::vector<std::size_t> valleys_;
};

/// Where a curve in dB crosses a level between bin `in` (at or above it) and bin `out` (below).
double crossing(const Buffer<float>& power, std::size_t in, std::size_t out, double level_db)
{
    const double a = db(power[in]);
    const double b = db(power[out]);
    const double share = a > b ? std::clamp((a - level_db) / (a - b), 0.0, 1.0) : 0.0;
    return static_cast<double>(in) + share * (static_cast<double>(out) - static_cast<double>(in));
}

/// The outermost bins of a segment at or above a level, with the crossings beyond them.
std::pair<double, double> band(const Buffer<float>& power, Segment s, double level_db)
{
    const auto above = [&](std::size_t bin) { return db(power[bin]) >= level_db; };
    while (s.first < s.last && !above(s.first))
        ++s.first;
    while (s.last > s.first && !above(s.last))
        --s.last;
    const double low = s.first > 0 ? crossing(power, s.first, s.first - 1, level_db) : 0.0;
    const double high = s.last + 1 < power.size() ? crossing(power, s.last, s.last + 1, level_db)
                                                  : static_cast<double>(s.last);
    return {low, high};
}

/// Mean power of the bins four to eight away on both sides: what a line must stand out from.
double surroundings(const Buffer<float>& power, std::size_t peak)
{
    double sum = 0;
    int count = 0;
    for (std::size_t d = 4; d <= 8; ++d) {
        if (peak >= d)
            sum += static_cast<double>(power[peak - d]), ++count;
        if (peak + d < power.size())
            sum += static_cast<double>(power[peak + d]), ++count;
    }
    return sum / count;
}

bool is_narrow(const Buffer<float>& mean, std::size_t peak, std::uint64_t frames)
{
    const double rise = std::max(4.0, 1.0 + 12.0 / std::sqrt(static_cast<double>(frames)));
    return static_cast<double>(mean[peak]) >= rise * surroundings(mean, peak);
}

/// A parabola through the peak's three bins, in dB.
Line narrow_line(const Buffer<float>& mean, Segment s, std::size_t peak)
{
    double at = static_cast<double>(peak);
    double level = db(mean[peak]);
    if (peak > 0 && peak + 1 < mean.size()) {
        const double left = db(mean[peak - 1]);
        const double right = db(mean[peak + 1]);
        const double bend = left - 2 * level + right;
        const double shift = bend < 0 ? std::clamp(0.5 * (left - right) / bend, -0.5, 0.5) : 0.0;
        at += shift;
        level -= 0.25 * (left - right) * shift;
    }
    // Only what hangs together with the peak: other lines of the segment are not this one's.
    const double half = level - db(2.0);
    Segment own{peak, peak};
    while (own.first > s.first && db(mean[own.first - 1]) >= half)
        --own.first;
    while (own.last < s.last && db(mean[own.last + 1]) >= half)
        ++own.last;
    const auto [low, high] = band(mean, own, half);
    return {at, level, 0, level, high - low, low, high};
}

Line wide_line(const Buffer<float>& mean, const Buffer<float>& smooth, Segment s, std::size_t peak,
               double noise_bins)
{
    const double level = db(smooth[peak]);
    const auto [low, high] = band(smooth, s, level - db(2.0));
    double sum = 0;
    for (auto bin = static_cast<std::size_t>(low); bin <= static_cast<std::size_t>(high); ++bin)
        sum += static_cast<double>(mean[bin]);
    return {(low + high) / 2, level, 0, db(sum / noise_bins), high - low, low, high};
}

std::size_t highest(const Buffer<float>& power, Segment s)
{
    const float* const first = power.data() + s.first;
    const float* const last = power.data() + s.last + 1;
    return static_cast<std::size_t>(std::max_element(first, last) - power.data());
}

/// From bins to frequencies.
Line placed(Line line, const LineSearch& search)
{
    for (double* const at : {&line.frequency, &line.low, &line.high})
        *at = search.first_hz + *at * search.bin_hz;
    line.bandwidth *= search.bin_hz;
    line.above_db = line.level_db - db(static_cast<double>(search.floor));
    return line;
}

} // namespace

std::vector<Line> find_lines(const Buffer<float>& mean, const Buffer<float>& smooth,
                             const LineSearch& search)
{
    const double rise = least_rise(search.frames);
    std::vector<Line> lines;
    for (const Segment& s : Watershed(smooth, rise).segments()) {
        const std::size_t top = highest(smooth, s);
        if (static_cast<double>(smooth[top]) <= rise * static_cast<double>(search.floor))
            continue;
        const std::size_t peak = highest(mean, s);
        lines.push_back(placed(is_narrow(mean, peak, search.frames)
                                   ? narrow_line(mean, s, peak)
                                   : wide_line(mean, smooth, s, top, search.noise_bins),
                               search));
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const Line& a, const Line& b) { return a.power_db > b.power_db; });
    lines.resize(std::min(lines.size(), search.most));
    return lines;
}

} // namespace waterfall
