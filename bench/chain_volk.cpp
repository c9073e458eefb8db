// The chains by VOLK, in single precision: it has no double filters.
#include "bench/chain_volk.h"

#include <cstring>
#include <memory>

namespace bench {
namespace {

/// The newest samples of the last block stand before the next one.
struct VolkFir {
    VolkFir(std::size_t samples, std::size_t count)
        : in(complex_samples(samples)), taps(low_pass<float>(count)), line(samples + count - 1),
          out(samples)
    {
    }
    void block()
    {
        const std::size_t old = taps.size() - 1;
        std::copy(in.begin(), in.end(), line.data() + old);
        for (std::size_t k = 0; k < in.size(); ++k)
            volk_32fc_32f_dot_prod_32fc(out.data() + k, line.data() + k, taps.data(),
                                        count(taps.size()));
        std::memmove(static_cast<void*>(line.data()), line.data() + in.size(),
                     old * sizeof(Complex));
    }
    std::vector<Complex> in;
    Volk<float> taps; // symmetric: the order does not matter
    Volk<Complex> line, out;
};

struct VolkSmoothing {
    VolkSmoothing(std::size_t samples, const std::vector<float>& list)
        : taps(list), line(samples + list.size() - 1), out(samples)
    {
    }
    void block(const float* in)
    {
        const std::size_t half = taps.size() / 2;
        std::fill(line.data(), line.data() + half, in[0]);
        std::copy(in, in + out.size(), line.data() + half);
        std::fill(line.data() + half + out.size(), line.data() + line.size(), in[out.size() - 1]);
        for (std::size_t k = 0; k < out.size(); ++k)
            volk_32f_x2_dot_prod_32f(out.data() + k, line.data() + k, taps.data(),
                                     count(taps.size()));
    }
    Volk<float> taps, line, out;
};

struct VolkQuantising {
    explicit VolkQuantising(std::size_t n) : moved(n), out(n), codes(n) {}
    void block(const float* in)
    {
        const unsigned n = count(out.size());
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        volk_32f_index_min_32u(&low, in, n);
        volk_32f_index_max_32u(&high, in, n);
        const float step = (in[high] - in[low]) / 65535.0F;
        const float mid = ((in[low] + in[high]) + step) * 0.5F;
        volk_32f_s32f_add_32f(moved.data(), in, -mid, n);
        volk_32f_s32f_convert_16i(codes.data(), moved.data(), 1.0F / step, n);
        volk_16i_s32f_convert_32f(out.data(), codes.data(), 1.0F / step, n);
        volk_32f_s32f_add_32f(out.data(), out.data(), mid, n);
    }
    Volk<float> moved, out;
    Volk<std::int16_t> codes;
};

struct VolkChain {
    explicit VolkChain(std::size_t n)
        : fir(n, fixed_taps), quantising(2 * n), power(n), smoothing(n, bell<float>(31)),
          decibels(n)
    {
    }
    void block()
    {
        const std::size_t n = power.size();
        fir.block();
        quantising.block(reinterpret_cast<const float*>(fir.out.data()));
        const auto* restored = reinterpret_cast<const lv_32fc_t*>(quantising.out.data());
        volk_32fc_magnitude_squared_32f(power.data() + n / 2, restored, count(n / 2));
        volk_32fc_magnitude_squared_32f(power.data(), restored + n / 2, count(n / 2));
        smoothing.block(power.data());
        volk_32f_log2_32f(decibels.data(), smoothing.out.data(), count(n));
        volk_32f_s32f_multiply_32f(decibels.data(), decibels.data(), 3.0103F, count(n));
    }
    VolkFir fir;
    VolkQuantising quantising;
    Volk<float> power;
    VolkSmoothing smoothing;
    Volk<float> decibels;
};

std::vector<double> values(const Volk<float>& v)
{
    return std::vector<double>(v.data(), v.data() + v.size());
}

} // namespace

Work volk_fir(std::size_t samples, std::size_t taps)
{
    const auto volk = std::make_shared<VolkFir>(samples, taps);
    return {"VOLK", filter_apart, [volk] { volk->block(); },
            [volk] { return parts(volk->out.data(), volk->out.size()); }};
}

Work volk_smoothing(std::size_t samples, std::size_t taps)
{
    const auto in = std::make_shared<Volk<float>>(real_samples(samples));
    const auto volk = std::make_shared<VolkSmoothing>(samples, low_pass<float>(taps));
    return {"VOLK", filter_apart, [volk, in] { volk->block(in->data()); },
            [volk] { return values(volk->out); }};
}

Work volk_quantising(std::size_t samples)
{
    const auto in = std::make_shared<Volk<float>>(real_samples(samples));
    const auto volk = std::make_shared<VolkQuantising>(samples);
    return {"VOLK", 2.1 / 65535, [volk, in] { volk->block(in->data()); },
            [volk] { return values(volk->out); }};
}

Work volk_whole(std::size_t samples)
{
    const auto volk = std::make_shared<VolkChain>(samples);
    return {"VOLK", 0.05, [volk] { volk->block(); }, [volk] { return values(volk->decibels); }};
}

} // namespace bench
