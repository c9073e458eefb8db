#include "waterfall/channel.h"

#include "libsimd.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <utility>

namespace waterfall {

namespace {

using std::numbers::pi;

constexpr double window_slope = 5.5;  // of a Blackman window's low pass, from pass to stop: / taps
constexpr std::size_t last_taps = 64; // of the last stage, for each step of its decimation

/// The last stage's slope ends at the new band's edge; shares of the new rate.
constexpr double band_edge = 0.5;
constexpr double flat_edge = band_edge - window_slope / static_cast<double>(last_taps);

double sinc(double x) { return x == 0 ? 1.0 : std::sin(pi * x) / (pi * x); }

/// e to the power of 2 pi j times the fraction of turns: exact after any number of samples.
std::complex<double> turned(double turns)
{
    return std::polar(1.0, 2 * pi * std::fmod(turns, 1.0));
}

/// Windowed sinc; the cutoff as a share of the rate.
std::vector<double> low_pass(std::size_t taps, double cutoff)
{
    std::vector<double> out(taps);
    const std::size_t half = taps / 2;
    const auto middle = static_cast<double>(half);
    for (std::size_t i = 0; i < taps; ++i) {
        const double at = static_cast<double>(i) - middle;
        const double phase = pi * at / (middle + 1);
        out[i] =
            sinc(2 * cutoff * at) * (0.42 + 0.5 * std::cos(phase) + 0.08 * std::cos(2 * phase));
    }
    const double sum = std::accumulate(out.begin(), out.end(), 0.0);
    for (double& tap : out)
        tap /= sum;
    return out;
}

/// A stage that decimates by `step` where `left` is still to be done, itself included.
struct Shape {
    std::size_t taps;
    double cutoff;
};
Shape shape(unsigned step, unsigned left)
{
    if (step == left) {
        const std::size_t taps = last_taps * step + 1;
        return {taps, band_edge / step - window_slope / 2 / static_cast<double>(taps)};
    }
    const double pass = flat_edge / left;
    const double stop = 1.0 / step - band_edge / left; // folds onto the final band's edge
    const auto half = static_cast<std::size_t>(std::ceil(window_slope / (stop - pass) / 2));
    return {2 * half + 1, (pass + stop) / 2};
}

struct Chosen {
    double cost; // products per input sample
    std::vector<unsigned> steps;
};
Chosen cheapest(unsigned left)
{
    Chosen best{0, {}};
    for (unsigned step = 2; step <= left; ++step) {
        if (left % step != 0)
            continue;
        Chosen rest = cheapest(left / step);
        const double cost = (static_cast<double>(shape(step, left).taps) + rest.cost) / step;
        if (best.steps.empty() || cost < best.cost) {
            rest.steps.insert(rest.steps.begin(), step);
            best = {cost, rest.steps};
        }
    }
    return best;
}

} // namespace

std::vector<StagePlan> plan_stages(unsigned decimate)
{
    std::vector<StagePlan> plans;
    unsigned left = decimate;
    for (const unsigned step : cheapest(decimate).steps) {
        const auto [taps, cutoff] = shape(step, left);
        plans.push_back({step, low_pass(taps, cutoff)});
        left /= step;
    }
    return plans;
}

double flat_share(unsigned decimate) { return decimate == 1 ? 1.0 : 2 * flat_edge; }

// Before the first sample lie as many zeros as the first output reaches back.
Stage::Stage(StagePlan plan, std::size_t most)
    : decimate_(plan.decimate), most_(most), taps_(plan.taps.size()),
      in_(most + plan.taps.size() + decimate_), out_(most / decimate_ + 1),
      filled_(plan.taps.size() / 2)
{
    std::copy(plan.taps.begin(), plan.taps.end(), taps_.begin());
}

std::size_t Stage::added(std::size_t samples)
{
    filled_ += samples;
    std::size_t n = 0;
    for (; next_ + taps_.size() <= filled_; next_ += decimate_, ++n)
        fir_step_c64(in_.re.data() + next_, in_.im.data() + next_, taps_.data(), taps_.size(),
                     out_.re.data() + n, out_.im.data() + n);
    const std::size_t done = std::min(next_, filled_);
    for (Buffer<double>* const plane : {&in_.re, &in_.im})
        std::copy(plane->begin() + done, plane->begin() + filled_, plane->begin());
    filled_ -= done;
    next_ -= done;
    return n;
}

Channel::Channel(bool complex, double turns, unsigned decimate, std::size_t most)
    : complex_(complex), turns_(-turns), mixed_(most), turned_(most)
{
    for (std::size_t i = 0; i < most; ++i) {
        const std::complex<double> at = turned(turns_ * static_cast<double>(i));
        turned_.re[i] = at.real();
        turned_.im[i] = at.imag();
    }
    for (StagePlan& plan : plan_stages(decimate)) {
        const unsigned step = plan.decimate;
        stages_.emplace_back(std::move(plan), most);
        most = most / step + 1;
    }
}

// Twice the real part: a sine has half of its amplitude at the positive frequency.
void Channel::mix(const double* block, std::size_t samples)
{
    double* const re = mixed_.re.data();
    double* const im = mixed_.im.data();
    if (complex_)
        for (std::size_t i = 0; i < samples; ++i) {
            re[i] = block[2 * i];
            im[i] = block[2 * i + 1];
        }
    else
        for (std::size_t i = 0; i < samples; ++i) {
            re[i] = 2 * block[i];
            im[i] = 0;
        }
    if (turns_ == 0)
        return;
    const std::complex<double> start = turned(turns_ * static_cast<double>(count_));
    const double start_re = start.real();
    const double start_im = start.imag();
    for (std::size_t i = 0; i < samples; ++i) {
        const double c = turned_.re[i] * start_re - turned_.im[i] * start_im;
        const double s = turned_.re[i] * start_im + turned_.im[i] * start_re;
        const double x = re[i];
        re[i] = x * c - im[i] * s;
        im[i] = x * s + im[i] * c;
    }
}

std::size_t Channel::run(const double* block, std::size_t samples, double* out, Timings& timings)
{
    mix(block, samples);
    count_ += samples;
    return decimated(samples, out, timings);
}

/// What has been mixed, through the stages that are not flushed.
std::size_t Channel::decimated(std::size_t samples, double* out, Timings& timings)
{
    const Planes* from = &mixed_;
    {
        const Timed timed(timings.kernels);
        for (std::size_t s = flushed_; s < stages_.size(); ++s) {
            std::copy_n(from->re.begin(), samples, stages_[s].re());
            std::copy_n(from->im.begin(), samples, stages_[s].im());
            samples = stages_[s].added(samples);
            from = &stages_[s].out();
        }
    }
    for (std::size_t i = 0; i < samples; ++i) {
        out[2 * i] = from->re[i];
        out[2 * i + 1] = from->im[i];
    }
    return samples;
}

std::size_t Channel::finish(double* out, Timings& timings)
{
    std::fill(mixed_.re.begin(), mixed_.re.end(), 0.0);
    std::fill(mixed_.im.begin(), mixed_.im.end(), 0.0);
    for (; flushed_ < stages_.size(); ++flushed_, zeros_ = 0)
        while (zeros_ < stages_[flushed_].delay()) {
            const Stage& stage = stages_[flushed_];
            const std::size_t n = std::min(stage.most(), stage.delay() - zeros_);
            zeros_ += n;
            if (const std::size_t kept = decimated(n, out, timings); kept != 0)
                return kept;
        }
    return 0;
}

} // namespace waterfall
