#include "waterfall/bursts.h"

#include "libsimd.h"
#include "waterfall/floor.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace waterfall {

namespace {

constexpr double least_db = 15.0;       // above the floor and above what is usual
constexpr double stands_out = 8.0;      // times the floor: what is joined to a burst
constexpr std::size_t gap_bins = 2;     // that do not part an interval
constexpr std::uint64_t gap_frames = 1; // that do not end a burst
constexpr std::size_t kept_levels = 4096;
constexpr std::size_t most_closed = 100000;

double db(double power) { return 10.0 * std::log10(power); }

} // namespace

BurstFinder::BurstFinder(const Cut& cut, std::size_t margin) : margin_(margin), usual_db_(cut.bins)
{
}

void BurstFinder::add(const Block& block, const Buffer<double>& mean, Timings& timings)
{
    if (block.frames() == 0)
        return;
    const std::size_t bins = mean.size();
    ++blocks_;
    if (block.whole != 0) {
        const Timed timed(timings.kernels);
        iir1_f32(block.mean_db.data(), bins, usual_db_.data(), 1.0F / static_cast<float>(blocks_));
    }
    // The floor is sought anew while it may still move.
    if (std::has_single_bit(blocks_) || blocks_ % 256 == 0) {
        std::vector<float> power(bins - 2 * margin_);
        std::transform(mean.begin() + margin_, mean.end() - margin_, power.begin(), narrow);
        floor_ = static_cast<double>(estimate_floor(power, block.first + block.frames(), timings));
    }
    if (floor_ <= 0)
        return;
    candidates_.clear();
    for (std::size_t i = margin_; i < bins - margin_; ++i)
        if (block.peak[i] > stands_out * floor_)
            candidates_.push_back(i);
    for (std::size_t k = 0; k < block.frames(); ++k)
        add_frame(block.first + k, block.power.data() + k * bins);
}

void BurstFinder::add_frame(std::uint64_t frame, const double* power)
{
    std::vector<Interval> seen;
    for (const std::size_t bin : candidates_) {
        if (power[bin] <= stands_out * floor_)
            continue;
        if (!seen.empty() && bin - seen.back().last <= gap_bins + 1)
            seen.back().last = bin;
        else
            seen.push_back({bin, bin});
    }
    for (const Interval& interval : seen) {
        Track* found = nullptr;
        for (Track& track : open_) {
            const auto near = [&](Interval at) {
                return interval.first <= at.last + gap_bins && at.first <= interval.last + gap_bins;
            };
            if (!near(track.now) && !(track.last == frame && near(track.before)))
                continue;
            if (found == nullptr)
                found = &track;
            else
                join(*found, track);
        }
        if (found == nullptr) {
            open_.push_back({frame, frame, interval, interval, interval.first, {}, {}});
            found = &open_.back();
        }
        extend(*found, frame, interval, power);
        std::erase_if(open_, [](const Track& t) { return t.power.empty(); });
    }
    for (Track& track : open_)
        if (track.last + gap_frames < frame)
            close(track);
    std::erase_if(open_, [&](const Track& t) { return t.last + gap_frames < frame; });
}

void BurstFinder::extend(Track& track, std::uint64_t frame, Interval interval,
                         const double* power) const
{
    if (track.last == frame) { // several intervals of a frame are one place
        track.now = {std::min(track.now.first, interval.first),
                     std::max(track.now.last, interval.last)};
    } else {
        track.before = track.now;
        track.now = interval;
    }
    const auto at = static_cast<std::size_t>(frame - track.first);
    if (at < kept_levels)
        track.levels.resize(std::max(track.levels.size(), at + 1));
    if (interval.first < track.low) {
        track.power.insert(track.power.begin(), track.low - interval.first, 0.0);
        track.low = interval.first;
    }
    track.power.resize(std::max(track.power.size(), interval.last - track.low + 1));
    for (std::size_t bin = interval.first; bin <= interval.last; ++bin) {
        track.power[bin - track.low] += power[bin];
        if (at < kept_levels)
            track.levels[at] = std::max(track.levels[at], narrow(power[bin]));
        if (power[bin] > track.peak) {
            track.peak = power[bin];
            track.peak_bin = bin;
        }
    }
    track.last = frame;
}

/// `from` is left empty.
void BurstFinder::join(Track& into, Track& from)
{
    const std::uint64_t first = std::min(into.first, from.first);
    std::vector<float> levels;
    for (const Track* const t : {&into, &from})
        for (std::size_t i = 0; i < t->levels.size(); ++i) {
            const std::size_t at = static_cast<std::size_t>(t->first - first) + i;
            if (at >= kept_levels)
                break;
            levels.resize(std::max(levels.size(), at + 1));
            levels[at] = std::max(levels[at], t->levels[i]);
        }
    const std::size_t low = std::min(into.low, from.low);
    const std::size_t end = std::max(into.low + into.power.size(), from.low + from.power.size());
    std::vector<double> power(end - low);
    for (const Track* const t : {&into, &from})
        for (std::size_t i = 0; i < t->power.size(); ++i)
            power[t->low - low + i] += t->power[i];
    if (from.peak > into.peak) {
        into.peak = from.peak;
        into.peak_bin = from.peak_bin;
    }
    into.now = {std::min(into.now.first, from.now.first), std::max(into.now.last, from.now.last)};
    into.before = {std::min(into.before.first, from.before.first),
                   std::max(into.before.last, from.before.last)};
    into.first = first;
    into.last = std::max(into.last, from.last);
    into.low = low;
    into.levels = std::move(levels);
    into.power = std::move(power);
    from.power.clear();
}

void BurstFinder::close(Track& track)
{
    if (db(track.peak / floor_) < least_db)
        return;
    if (closed_.size() < most_closed)
        closed_.push_back(std::move(track));
    else
        ++count_;
}

bool BurstFinder::is_burst(const Track& track) const
{
    const double usual = static_cast<double>(usual_db_[track.peak_bin]);
    return db(track.peak) >= least_db + std::max(usual, db(floor_));
}

/// A frame whose middle is at a burst's edge sees half its amplitude: from the first to the last that
/// is within 6 dB of the strongest.
Burst BurstFinder::placed(const Track& track, const BurstPlaces& places) const
{
    const auto high = [&](float level) { return static_cast<double>(level) >= track.peak / 4; };
    const auto& levels = track.levels;
    const auto begin = std::find_if(levels.begin(), levels.end(), high);
    const auto end = std::find_if(levels.rbegin(), levels.rend(), high);
    const std::uint64_t first =
        track.first +
        (begin == levels.end() ? 0 : static_cast<std::uint64_t>(begin - levels.begin()));
    const std::uint64_t last =
        levels.size() == kept_levels || end == levels.rend()
            ? track.last
            : track.first + static_cast<std::uint64_t>(levels.rend() - end) - 1;
    const auto middle = [&](std::uint64_t frame) {
        return places.first_s + static_cast<double>(frame) * places.frame_s;
    };
    const double start = first == 0 ? 0 : middle(first) - places.frame_s / 2;
    const double stop =
        last + 1 >= places.frames ? places.end_s : middle(last) + places.frame_s / 2;

    const double all = std::accumulate(track.power.begin(), track.power.end(), 0.0);
    double below = 0;
    std::size_t low = 0;
    while (below + track.power[low] < 0.005 * all)
        below += track.power[low++];
    double above = 0;
    std::size_t top = track.power.size() - 1;
    while (above + track.power[top] < 0.005 * all)
        above += track.power[top--];
    double weighted = 0;
    for (std::size_t i = low; i <= top; ++i)
        weighted += track.power[i] * static_cast<double>(track.low + i);
    const double center = weighted / (all - below - above);
    return {start,
            stop - start,
            places.first_hz + center * places.bin_hz,
            static_cast<double>(top - low + 1) * places.bin_hz,
            db(track.peak),
            db(track.peak / floor_)};
}

std::vector<Burst> BurstFinder::finish(const BurstPlaces& places, std::size_t most)
{
    for (Track& track : open_)
        close(track);
    open_.clear();
    std::vector<Burst> bursts;
    for (const Track& track : closed_)
        if (is_burst(track))
            bursts.push_back(placed(track, places));
    // What is there half of the time, in a recording long enough to tell, is no burst.
    if (places.frames > 8)
        std::erase_if(bursts, [&](const Burst& b) { return b.duration > places.end_s / 2; });
    count_ += bursts.size();
    std::stable_sort(bursts.begin(), bursts.end(),
                     [](const Burst& a, const Burst& b) { return a.level_db > b.level_db; });
    bursts.resize(std::min(bursts.size(), most));
    std::stable_sort(bursts.begin(), bursts.end(),
                     [](const Burst& a, const Burst& b) { return a.start < b.start; });
    return bursts;
}

} // namespace waterfall
