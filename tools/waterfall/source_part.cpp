// The part of a recording that is asked for: from a start, for a while, of one tuning of the receiver.
#include "waterfall/source_parts.h"
#include "waterfall/units.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <utility>

namespace waterfall {
namespace {

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

// Nothing where that is beyond the clock.
std::optional<std::int64_t> later(std::int64_t time, double seconds)
{
    const double nanoseconds = seconds * 1e9;
    if (!(std::abs(static_cast<double>(time) + nanoseconds) < 9e18))
        return std::nullopt;
    return time + static_cast<std::int64_t>(std::llround(nanoseconds));
}

class PartSource : public Source {
public:
    PartSource(Opened whole, const Request& request)
        : whole_(std::move(whole)), recording_(whole_->recording())
    {
        const double rate = recording_.rate;
        const std::uint64_t first = request.start ? request.start->at(rate) : 0;
        if (request.duration)
            left_ = std::max<std::uint64_t>(1, request.duration->at(rate));
        check_start(first);
        check_end(first);
        tune(first, request);
        if (recording_.samples)
            recording_.samples = left_ = std::min(left_, *recording_.samples - first);
        if (!request.annotations)
            recording_.annotations.clear();
        move_annotations(first);
        recording_.part = request.start || request.duration ? describe(first) : "";
        skipped_ = first == 0 || whole_->skip(first) == first;
        started_ = first == 0;
    }

    const Recording& recording() const override { return recording_; }

    std::size_t read(void* block, std::size_t most) override
    {
        most = static_cast<std::size_t>(std::min<std::uint64_t>(most, left_));
        const std::size_t got = most == 0 || !skipped_ ? 0 : whole_->read(block, most);
        started_ = started_ || got != 0 || most == 0;
        if (!started_)
            throw Error(recording_.input + ": ends before --start");
        const std::size_t parts = got * (is_complex(recording_.format) ? 2 : 1);
        switch (recording_.format) {
        case Format::f32:
        case Format::cf32:
            make_finite(static_cast<float*>(block), parts);
            break;
        case Format::f64:
        case Format::cf64:
            make_finite(static_cast<double*>(block), parts);
            break;
        default:
            break;
        }
        left_ -= got;
        done_ += got;
        return got;
    }

private:
    void check_start(std::uint64_t first) const
    {
        if (recording_.samples && first >= *recording_.samples)
            throw Error(fmt::format("{}: --start: sample {} is beyond its {} samples",
                                    recording_.input, first, *recording_.samples));
    }

    // The end that was asked for lies within the recording, or this is said.
    void check_end(std::uint64_t first) const
    {
        if (left_ != endless && recording_.samples && left_ > *recording_.samples - first)
            recording_.warnings->add(fmt::format(
                "{}: --duration: {} samples from sample {} on are asked for, {} are there",
                recording_.input, left_, first, *recording_.samples - first));
    }

    // Frequencies are those of the tuning that the start lies in; where the next begins, the part ends.
    void tune(std::uint64_t first, const Request& request)
    {
        const std::vector<Capture>& captures = whole_->captures();
        std::optional<double> center;
        for (const Capture& c : captures) {
            if (c.start > first && c.center && center && *c.center != *center) {
                if (left_ <= c.start - first)
                    break;
                left_ = c.start - first;
                recording_.assumed.push_back(
                    fmt::format("the {} samples before {}, which is at {}: --start "
                                "{}S shows it",
                                left_, c.where, with_unit(*c.center, "Hz"), c.start));
                break;
            }
            center = c.center ? c.center : center;
            if (c.time && (c.start <= first || !recording_.time))
                recording_.time =
                    later(*c.time, (static_cast<double>(first) - static_cast<double>(c.start)) /
                                       recording_.rate);
        }
        if (!request.center && center)
            recording_.center = *center;
        moved_ = recording_.center - center.value_or(0.0);
    }

    // From samples to seconds, from the whole recording to the part.
    void move_annotations(std::uint64_t first)
    {
        const double rate = recording_.rate;
        const auto from = static_cast<double>(first);
        const double size = left_ == endless ? HUGE_VAL : static_cast<double>(left_);
        std::vector<Annotation> kept;
        for (Annotation& a : recording_.annotations) {
            const double start = std::max(a.start - from, 0.0);
            const double end = std::min(a.start - from + a.length, size);
            if (end < start || start >= size || (end == 0.0 && a.length != 0.0))
                continue;
            a.start = start / rate;
            a.length = std::isfinite(end) ? (end - start) / rate : HUGE_VAL;
            a.low = std::isfinite(a.low) ? a.low + moved_ : recording_.center - rate / 2;
            a.high = std::isfinite(a.high) ? a.high + moved_ : recording_.center + rate / 2;
            kept.push_back(std::move(a));
        }
        recording_.annotations = std::move(kept);
    }

    std::string describe(std::uint64_t first) const
    {
        const double rate = recording_.rate;
        std::string text = fmt::format("from {} on (sample {})",
                                       duration_text(static_cast<double>(first) / rate), first);
        if (left_ != endless)
            text += fmt::format(", {} ({} samples)",
                                duration_text(static_cast<double>(left_) / rate), left_);
        return text;
    }

    // Beyond the range of floats a power is infinite.
    template <typename T>
    void make_finite(T* values, std::size_t n)
    {
        const std::size_t parts = is_complex(recording_.format) ? 2 : 1;
        for (std::size_t i = 0; i != n; ++i)
            if (!(std::abs(values[i]) <= static_cast<T>(FLT_MAX))) {
                recording_.warnings->not_finite(recording_.input, done_ + i / parts);
                values[i] = 0;
            }
    }

    Opened whole_;
    Recording recording_;
    std::uint64_t left_ = endless, done_ = 0;
    double moved_ = 0;
    bool skipped_ = true, started_ = true; // as far as the start; with a sample from there on
};

} // namespace

std::unique_ptr<Source> part_of(Opened whole, const Request& request)
{
    return std::make_unique<PartSource>(std::move(whole), request);
}

} // namespace waterfall
