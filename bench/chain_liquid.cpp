// The filters by liquid-dsp, in single precision: it has no double ones.
#include "bench/chain_others.h"

#include <algorithm>
#include <memory>

#include <liquid/liquid.h> // after <complex>, whose numbers it takes then

namespace bench {
namespace {

struct LiquidFir {
    LiquidFir(std::size_t n, std::size_t count) : in(complex_samples(n)), out(n)
    {
        auto h = low_pass<float>(count);
        filter = firfilt_crcf_create(h.data(), static_cast<unsigned>(count));
    }
    ~LiquidFir() { firfilt_crcf_destroy(filter); }
    LiquidFir(const LiquidFir&) = delete;
    LiquidFir& operator=(const LiquidFir&) = delete;
    void block()
    {
        firfilt_crcf_execute_block(filter, in.data(), static_cast<unsigned>(in.size()), out.data());
    }
    std::vector<Complex> in, out;
    firfilt_crcf filter;
};

struct LiquidSmoothing {
    LiquidSmoothing(std::size_t n, std::size_t count)
        : in(real_samples(n)), half(count / 2), line(n + half), out(n + half)
    {
        auto h = low_pass<float>(count);
        filter = firfilt_rrrf_create(h.data(), static_cast<unsigned>(count));
    }
    ~LiquidSmoothing() { firfilt_rrrf_destroy(filter); }
    LiquidSmoothing(const LiquidSmoothing&) = delete;
    LiquidSmoothing& operator=(const LiquidSmoothing&) = delete;
    void block()
    {
        for (std::size_t i = 0; i < 2 * half; ++i) // its history: what precedes the block
            firfilt_rrrf_push(filter, in.front());
        const auto rest = std::copy(in.begin(), in.end(), line.begin());
        std::fill(rest, line.end(), in.back());
        firfilt_rrrf_execute_block(filter, line.data(), static_cast<unsigned>(line.size()),
                                   out.data());
    }
    std::vector<float> in;
    std::size_t half; // outputs come so much later
    std::vector<float> line, out;
    firfilt_rrrf filter;
};

} // namespace

Work liquid_fir(std::size_t samples, std::size_t taps)
{
    const auto liquid = std::make_shared<LiquidFir>(samples, taps);
    return {"liquid-dsp", filter_apart, [liquid] { liquid->block(); },
            [liquid] { return parts(liquid->out.data(), liquid->out.size()); }};
}

Work liquid_smoothing(std::size_t samples, std::size_t taps)
{
    const auto liquid = std::make_shared<LiquidSmoothing>(samples, taps);
    return {"liquid-dsp", filter_apart, [liquid] { liquid->block(); },
            [liquid] {
                return std::vector<double>(liquid->out.begin() +
                                               static_cast<std::ptrdiff_t>(liquid->half),
                                           liquid->out.end());
            }};
}

} // namespace bench
